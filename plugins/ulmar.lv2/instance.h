// One instance of a plug-in in a host.
#pragma once

#include <lv2/atom/forge.h>
#include <lv2/log/log.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "plugins/ulmar.lv2/loader.h"
#include "plugins/ulmar.lv2/ports.h"
#include "plugins/ulmar.lv2/uris.h"

namespace ulmar::lv2 {

/// What the host offers. Without the map there are no messages and no options.
struct Features {
  const LV2_URID_Map* map = nullptr;
  const LV2_Options_Option* options = nullptr;
  const LV2_Worker_Schedule* worker = nullptr;
  const LV2_Log_Log* log = nullptr;
};

/// connect(), run(), workResponse() and endRun() belong to the real-time thread and
/// neither allocate, lock, wait nor call the system. A new response is asked of the
/// worker, built there, and faded to. Freewheeling, run() loads by itself; so does the
/// first run() after activate() in a host without a worker, which may set the controls
/// only then, and which later changes reach with the next activate(). All other calls
/// may wait.
class Instance {
 public:
  /// sampleRate: 1 to 768 kHz. Throws Error for another.
  Instance(const Variant& variant, double sampleRate, const Features& features);

  void connect(std::uint32_t port, void* data);
  /// Loads what the controls say, and starts in silence.
  void activate();
  void run(std::uint32_t frames);

  LV2_Worker_Status work(LV2_Worker_Respond_Function respond,
                         LV2_Worker_Respond_Handle handle, std::uint32_t size,
                         const void* data);
  void workResponse(std::uint32_t size, const void* data);

  LV2_State_Status save(LV2_State_Store_Function store, LV2_State_Handle handle,
                        const LV2_Feature* const* features) const;
  LV2_State_Status restore(LV2_State_Retrieve_Function retrieve,
                           LV2_State_Handle handle, const LV2_Feature* const* features);

 private:
  // A message to the worker; of `path`, its characters follow.
  struct Task {
    enum class Kind : std::uint32_t { load, path, reload, collect };
    Kind kind;
    std::uint32_t pathLen;
    ResponseRequest request;
  };
  // And from it: the path that is now set follows.
  struct Report {
    Status status;
    std::uint32_t pathLen;
  };
  static constexpr std::size_t kMaxPath = 3072;  // bytes

  float control(Control which) const;
  ResponseRequest requested() const;
  Mix mix() const;
  bool offline() const { return control(Control::freeWheeling) > 0.0F; }

  void start();
  Outcome loadNow(const ResponseRequest& request);
  void reportTo(LV2_Worker_Respond_Function respond, LV2_Worker_Respond_Handle handle,
                const Outcome& outcome) const;
  void log(const std::string& message) const;

  void readEvents();
  void readEvent(const LV2_Atom_Object& object);
  void setPath(const char* path, std::size_t length);
  void takePath();
  void writePath();
  void followControls(std::uint32_t frames);
  bool schedule(const Task& task, const char* path = nullptr);
  void play(const float* const* in, float* const* out, int frames);
  void swapPlayers();
  void measure(const float* const* out, std::uint32_t frames);
  void tell();

  Variant variant_;
  PortIndex index_;
  Features features_;
  Uris uris_;
  Setting setting_;
  Loader loader_;
  std::vector<void*> ports_;
  LV2_Atom_Forge forge_{};

  std::atomic<Status> status_{Status::ready};
  std::atomic<bool> mustLoad_{false};  // as soon as run() or activate() can
  std::atomic<bool> active_{false};

  // Of the real-time thread.
  ResponseRequest asked_;      // the last that was asked for
  ResponseRequest candidate_;  // what the controls say since `steadyFrames_`
  std::int64_t steadyFrames_ = 0;
  bool fresh_ = true;  // since activate()
  bool wasFading_ = false;
  bool mustCollect_ = false;
  bool mustNotify_ = false;
  std::array<char, kMaxPath> taskPath_{};  // waits for room at the worker
  std::size_t taskPathLen_ = 0;
  std::array<char, kMaxPath> path_{};  // that is set, for the host
  std::size_t pathLen_ = 0;
  std::array<float, kMaxPorts> peaks_{};
};

}  // namespace ulmar::lv2
