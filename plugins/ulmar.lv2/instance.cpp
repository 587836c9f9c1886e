#include "plugins/ulmar.lv2/instance.h"

#include <lv2/atom/util.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "ulmar/host/decibels.h"
#include "ulmar/host/error.h"

namespace ulmar::lv2 {
namespace {

// Controls of the response rest so long before they are followed, so that turning a
// knob does not build a response for every step.
constexpr double kSteadyTime = 0.03;  // s
constexpr double kPeakFall = 20.0;    // dB/s
constexpr float kSilence = -90.0F;    // dB, and what lies below

int hostBlockOf(const LV2_Options_Option* options, const Uris& uris) {
  int nominal = 0;
  int most = 0;
  for (; options != nullptr && options->key != 0; ++options) {
    if (options->type != uris.atomInt || options->value == nullptr) continue;
    const auto value = *static_cast<const std::int32_t*>(options->value);
    if (options->key == uris.nominalBlockLength) nominal = value;
    if (options->key == uris.maxBlockLength) most = value;
  }
  constexpr int kUnknown = 512;
  return nominal > 0 ? nominal : most > 0 ? most : kUnknown;
}

/// Whole Hz. Throws Error beyond the rates that audio files have.
int rateOf(double sampleRate) {
  constexpr double kLeast = 1000.0;
  constexpr double kMost = 768000.0;
  if (!(sampleRate >= kLeast && sampleRate <= kMost)) {
    fail("the sample rate is ", sampleRate, " Hz, and the limits are ", kLeast, " and ",
         kMost, " Hz");
  }
  return static_cast<int>(std::lround(sampleRate));
}

float gainOf(float level) {
  return level <= kSilence ? 0.0F : static_cast<float>(gainOfDecibels(double{level}));
}

template <class Type>
const Type* featureOf(const LV2_Feature* const* features, const char* uri) {
  for (; features != nullptr && *features != nullptr; ++features) {
    if (std::strcmp((*features)->URI, uri) == 0) {
      return static_cast<const Type*>((*features)->data);
    }
  }
  return nullptr;
}

// A path that a host returns, given back to it as it wants.
class HostPath {
 public:
  HostPath(char* path, const LV2_State_Free_Path* freePath)
      : path_(path), freePath_(freePath) {}
  ~HostPath() {
    if (freePath_ != nullptr) {
      freePath_->free_path(freePath_->handle, path_);
    } else {
      std::free(path_);
    }
  }
  HostPath(const HostPath&) = delete;
  HostPath& operator=(const HostPath&) = delete;
  std::string text() const { return path_ != nullptr ? path_ : ""; }

 private:
  char* path_;
  const LV2_State_Free_Path* freePath_;
};

}  // namespace

Instance::Instance(const Variant& variant, double sampleRate, const Features& features)
    : variant_(variant),
      index_(variant),
      features_(features),
      uris_(features.map),
      setting_{variant, rateOf(sampleRate), hostBlockOf(features.options, uris_)},
      loader_(setting_),
      ports_(index_.count) {
  if (features.map != nullptr) {
    lv2_atom_forge_init(&forge_, const_cast<LV2_URID_Map*>(features.map));
  }
}

void Instance::connect(std::uint32_t port, void* data) {
  if (port < ports_.size()) ports_[port] = data;
}

float Instance::control(Control which) const {
  const auto* const port = static_cast<const float*>(
      ports_[index_.controls + static_cast<std::uint32_t>(which)]);
  return port == nullptr ? portOf(which).initial : limited(which, *port);
}

ResponseRequest Instance::requested() const {
  using enum Control;
  constexpr double kMilli = 1e-3;
  ResponseRequest request;
  request.choice = static_cast<Choice>(std::lround(control(response)));
  request.predelay = kMilli * double{control(predelay)};
  request.start = double{control(start)};
  request.length = double{control(length)};
  request.fade = double{control(fade)};
  request.level = static_cast<Level>(std::lround(control(level)));
  request.bFormat = static_cast<BFormatChoice>(std::lround(control(bFormat)));
  request.lowCost = control(lowCost) > 0.0F;
  request.block = static_cast<int>(std::lround(control(block)));
  if (variant_.outputs == 5) {
    request.rearDelay = kMilli * double{control(rearDelay)};
    request.crossover = double{control(crossover)};
  }
  return request;
}

Mix Instance::mix() const {
  return {gainOf(control(Control::dry)), gainOf(control(Control::wet)),
          control(Control::crossfeed), control(Control::enabled) > 0.0F};
}

void Instance::activate() {
  takePath();
  const ResponseRequest request = requested();
  const bool mustLoad = mustLoad_.exchange(false);
  if (loader_.player() == nullptr || mustLoad || request != asked_) {
    status_ = loadNow(request).status;
  }
  start();
  const std::string path = loader_.path().substr(0, kMaxPath);
  pathLen_ = path.copy(path_.data(), path.size());
  peaks_.fill(0.0F);
  candidate_ = asked_ = request;
  fresh_ = true;
  active_ = true;
}

// What has been loaded last plays at once, from silence.
void Instance::start() {
  loader_.swapNow();
  loader_.player()->reset();
  loader_.collect();
}

// Where nobody waits for the real-time thread.
void Instance::takePath() {
  if (taskPathLen_ == 0) return;
  loader_.setPath(std::string(taskPath_.data(), taskPathLen_));
  taskPathLen_ = 0;
  mustLoad_ = true;
}

Outcome Instance::loadNow(const ResponseRequest& request) {
  Outcome outcome = loader_.load(request);
  if (!outcome.message.empty()) log(outcome.message);
  return outcome;
}

void Instance::log(const std::string& message) const {
  if (features_.log == nullptr) return;
  features_.log->printf(features_.log->handle, uris_.logError, "ulmar.lv2: %s\n",
                        message.c_str());
}

void Instance::run(std::uint32_t frames) {
  readEvents();
  followControls(frames);
  std::array<const float*, kMaxPorts> in{};
  std::array<float*, kMaxPorts> out{};
  for (int k = 0; k < variant_.inputs; ++k) {
    in[static_cast<std::size_t>(k)] =
        static_cast<const float*>(ports_[static_cast<std::size_t>(k)]);
  }
  for (int k = 0; k < variant_.outputs; ++k) {
    const std::size_t port = index_.outputs + static_cast<std::uint32_t>(k);
    out[static_cast<std::size_t>(k)] = static_cast<float*>(ports_[port]);
  }
  const bool connected =
      std::none_of(in.begin(), in.begin() + variant_.inputs,
                   [](const float* port) { return port == nullptr; }) &&
      std::none_of(out.begin(), out.begin() + variant_.outputs,
                   [](const float* port) { return port == nullptr; });
  if (loader_.player() == nullptr) {
    // Not even a room could be built, as for want of memory.
    for (int k = 0; connected && k < variant_.outputs; ++k) {
      std::fill_n(out[static_cast<std::size_t>(k)], frames, 0.0F);
    }
    return;
  }
  if (connected) {
    play(in.data(), out.data(), static_cast<int>(frames));
    measure(out.data(), frames);
  }
  tell();
}

void Instance::play(const float* const* in, float* const* out, int frames) {
  loader_.player()->process(in, out, frames, mix());
  swapPlayers();
  // What a fade has ended is freed by the worker, which has only so much room.
  const bool fading = loader_.player()->fading();
  if (std::exchange(wasFading_, fading) && !fading) mustCollect_ = true;
  if (!mustCollect_) return;
  if (offline()) {
    loader_.collect();
    mustCollect_ = false;
  } else if (schedule({Task::Kind::collect, 0, {}})) {
    mustCollect_ = false;
  }
}

// A player of another block length begins when the one before it is silent.
void Instance::swapPlayers() {
  if (!loader_.hasNextPlayer()) return;
  loader_.player()->fadeOut();
  if (!loader_.player()->silent() || !loader_.swap()) return;
  mustCollect_ = true;
  wasFading_ = false;
}

void Instance::measure(const float* const* out, std::uint32_t frames) {
  const double seconds = static_cast<double>(frames) / setting_.sampleRate;
  const auto fall = static_cast<float>(gainOfDecibels(-kPeakFall * seconds));
  for (std::size_t k = 0; k < static_cast<std::size_t>(variant_.outputs); ++k) {
    peaks_[k] *= fall;
    for (std::uint32_t i = 0; i < frames; ++i) {
      peaks_[k] = std::max(peaks_[k], std::fabs(out[k][i]));
    }
  }
}

void Instance::tell() {
  const auto set = [this](std::uint32_t index, float value) {
    if (auto* const port = static_cast<float*>(ports_[index])) *port = value;
  };
  const auto indexOf = [this](Control which) {
    return index_.controls + static_cast<std::uint32_t>(which);
  };
  set(indexOf(Control::latency), static_cast<float>(loader_.player()->latency()));
  set(indexOf(Control::status), static_cast<float>(status_.load()));
  for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(variant_.outputs); ++k) {
    const double level = decibelsOfGain(std::max(double{peaks_[k]}, 1e-9));
    set(index_.peaks + k, std::max(kSilence, static_cast<float>(level)));
  }
}

void Instance::followControls(std::uint32_t frames) {
  const ResponseRequest now = requested();
  if (now != candidate_) {
    candidate_ = now;
    steadyFrames_ = 0;
  }
  steadyFrames_ += frames;
  const bool mayLoad =
      offline() || (features_.worker == nullptr && std::exchange(fresh_, false));
  if (mayLoad) {
    takePath();
    if (mustLoad_.exchange(false) || now != asked_) {
      status_ = loadNow(now).status;
      asked_ = now;
      if (!offline()) start();
      mustCollect_ = true;
    }
    return;
  }
  if (taskPathLen_ > 0) {
    const Task task = {Task::Kind::path, static_cast<std::uint32_t>(taskPathLen_), now};
    if (!schedule(task, taskPath_.data())) return;
    taskPathLen_ = 0;
  } else {
    const bool steady = static_cast<double>(steadyFrames_) >=
                        kSteadyTime * static_cast<double>(setting_.sampleRate);
    if (now == asked_ || !steady) return;
    if (!schedule({Task::Kind::load, 0, now})) return;
  }
  asked_ = now;
  status_ = Status::loading;
}

bool Instance::schedule(const Task& task, const char* path) {
  if (features_.worker == nullptr) return false;
  std::array<char, sizeof(Task) + kMaxPath> message;
  std::memcpy(message.data(), &task, sizeof task);
  if (path != nullptr) std::memcpy(message.data() + sizeof task, path, task.pathLen);
  const auto size = static_cast<std::uint32_t>(sizeof task + task.pathLen);
  return features_.worker->schedule_work(features_.worker->handle, size,
                                         message.data()) == LV2_WORKER_SUCCESS;
}

void Instance::readEvents() {
  if (features_.map == nullptr) return;
  const auto* const events =
      static_cast<const LV2_Atom_Sequence*>(ports_[index_.events]);
  if (events != nullptr) {
    LV2_ATOM_SEQUENCE_FOREACH(events, event) {
      if (lv2_atom_forge_is_object_type(&forge_, event->body.type)) {
        readEvent(*reinterpret_cast<const LV2_Atom_Object*>(&event->body));
      }
    }
  }
  auto* const notify = static_cast<LV2_Atom_Sequence*>(ports_[index_.notify]);
  if (notify == nullptr) return;
  const std::uint32_t capacity = notify->atom.size;
  lv2_atom_forge_set_buffer(&forge_, reinterpret_cast<std::uint8_t*>(notify), capacity);
  LV2_Atom_Forge_Frame frame;
  lv2_atom_forge_sequence_head(&forge_, &frame, 0);
  // With room to spare for the message around the path.
  if (mustNotify_ && capacity > pathLen_ + 256) {
    writePath();
    mustNotify_ = false;
  }
  lv2_atom_forge_pop(&forge_, &frame);
}

void Instance::readEvent(const LV2_Atom_Object& object) {
  const LV2_Atom* property = nullptr;
  const LV2_Atom* value = nullptr;
  lv2_atom_object_get(&object, uris_.patchProperty, &property, uris_.patchValue, &value,
                      0);
  const bool isOurs =
      property != nullptr && property->type == uris_.atomUrid &&
      reinterpret_cast<const LV2_Atom_URID*>(property)->body == uris_.response;
  if (object.body.otype == uris_.patchGet) {
    if (isOurs || property == nullptr) mustNotify_ = true;
  } else if (object.body.otype == uris_.patchSet && isOurs && value != nullptr &&
             value->type == uris_.atomPath) {
    const auto* const path = static_cast<const char*>(LV2_ATOM_BODY_CONST(value));
    setPath(path, strnlen(path, value->size));
  }
}

void Instance::setPath(const char* path, std::size_t length) {
  if (length == 0 || length > kMaxPath) return;
  std::memcpy(taskPath_.data(), path, length);
  taskPathLen_ = length;
}

void Instance::writePath() {
  lv2_atom_forge_frame_time(&forge_, 0);
  LV2_Atom_Forge_Frame frame;
  lv2_atom_forge_object(&forge_, &frame, 0, uris_.patchSet);
  lv2_atom_forge_key(&forge_, uris_.patchProperty);
  lv2_atom_forge_urid(&forge_, uris_.response);
  lv2_atom_forge_key(&forge_, uris_.patchValue);
  lv2_atom_forge_path(&forge_, path_.data(), static_cast<std::uint32_t>(pathLen_));
  lv2_atom_forge_pop(&forge_, &frame);
}

LV2_Worker_Status Instance::work(LV2_Worker_Respond_Function respond,
                                 LV2_Worker_Respond_Handle handle, std::uint32_t size,
                                 const void* data) {
  Task task;
  if (size < sizeof task) return LV2_WORKER_ERR_UNKNOWN;
  std::memcpy(&task, data, sizeof task);
  if (size < sizeof task + task.pathLen) return LV2_WORKER_ERR_UNKNOWN;
  loader_.collect();
  if (task.kind == Task::Kind::collect) return LV2_WORKER_SUCCESS;
  if (task.kind == Task::Kind::path) {
    loader_.setPath(
        std::string(static_cast<const char*>(data) + sizeof task, task.pathLen));
  }
  const Outcome outcome =
      task.kind == Task::Kind::reload ? loader_.reload() : loader_.load(task.request);
  if (!outcome.message.empty()) log(outcome.message);
  reportTo(respond, handle, outcome);
  return LV2_WORKER_SUCCESS;
}

void Instance::reportTo(LV2_Worker_Respond_Function respond,
                        LV2_Worker_Respond_Handle handle,
                        const Outcome& outcome) const {
  const std::string path = loader_.path().substr(0, kMaxPath);
  const Report report = {outcome.status, static_cast<std::uint32_t>(path.size())};
  std::vector<char> message(sizeof report + path.size());
  std::memcpy(message.data(), &report, sizeof report);
  std::memcpy(message.data() + sizeof report, path.data(), path.size());
  respond(handle, static_cast<std::uint32_t>(message.size()), message.data());
}

void Instance::workResponse(std::uint32_t size, const void* data) {
  Report report;
  if (size < sizeof report) return;
  std::memcpy(&report, data, sizeof report);
  if (report.pathLen > kMaxPath || size < sizeof report + report.pathLen) return;
  status_ = report.status;
  std::memcpy(path_.data(), static_cast<const char*>(data) + sizeof report,
              report.pathLen);
  pathLen_ = report.pathLen;
  mustNotify_ = true;
}

LV2_State_Status Instance::save(LV2_State_Store_Function store, LV2_State_Handle handle,
                                const LV2_Feature* const* features) const {
  const std::string path = loader_.path();
  if (path.empty()) return LV2_STATE_SUCCESS;
  const auto* const map = featureOf<LV2_State_Map_Path>(features, LV2_STATE__mapPath);
  const auto* const freePath =
      featureOf<LV2_State_Free_Path>(features, LV2_STATE__freePath);
  std::string stored = path;
  if (map != nullptr) {
    const HostPath abstract(map->abstract_path(map->handle, path.c_str()), freePath);
    if (!abstract.text().empty()) stored = abstract.text();
  }
  return store(handle, uris_.response, stored.c_str(), stored.size() + 1,
               uris_.atomPath, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
}

LV2_State_Status Instance::restore(LV2_State_Retrieve_Function retrieve,
                                   LV2_State_Handle handle,
                                   const LV2_Feature* const* features) {
  std::size_t size = 0;
  std::uint32_t type = 0;
  std::uint32_t flags = 0;
  const void* const value = retrieve(handle, uris_.response, &size, &type, &flags);
  if (value == nullptr) return LV2_STATE_SUCCESS;
  if (type != uris_.atomPath) return LV2_STATE_ERR_BAD_TYPE;
  const auto* const text = static_cast<const char*>(value);
  std::string path(text, strnlen(text, size));
  const auto* const map = featureOf<LV2_State_Map_Path>(features, LV2_STATE__mapPath);
  if (map != nullptr) {
    const HostPath absolute(
        map->absolute_path(map->handle, path.c_str()),
        featureOf<LV2_State_Free_Path>(features, LV2_STATE__freePath));
    if (!absolute.text().empty()) path = absolute.text();
  }
  loader_.setPath(path);
  if (!active_) {
    mustLoad_ = true;  // in activate()
    return LV2_STATE_SUCCESS;
  }
  const auto* const worker =
      featureOf<LV2_Worker_Schedule>(features, LV2_WORKER__schedule);
  const Task task = {Task::Kind::reload, 0, {}};
  if (worker == nullptr ||
      worker->schedule_work(worker->handle, sizeof task, &task) != LV2_WORKER_SUCCESS) {
    const Outcome outcome = loader_.reload();
    if (!outcome.message.empty()) log(outcome.message);
    status_ = outcome.status;
  }
  return LV2_STATE_SUCCESS;
}

}  // namespace ulmar::lv2
