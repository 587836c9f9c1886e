// Threads that render stretches, each with a stream of its own over the same partition
// sets.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "apps/render/render_plan.h"
#include "apps/render/trace.h"
#include "ulmar/host/partition_sets.h"
#include "ulmar/host/planar.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {

/// A stretch to be rendered.
struct Work {
  Planar samples;          // what is fed to the streams, then a dry bed
  std::int64_t ahead = 0;  // frames of it that are only history
  bool continues = false;  // the stream goes on as the last stretch has left it
};

struct Rendered {
  /// Of the output channels that anything is rendered to, at the file's scale, from
  /// frame Work::ahead on.
  Planar samples;
  /// Of the library's meters, before any limit, at the file's scale: the largest sample
  /// of all streams.
  float peak = 0.0F;
};

class Workers {
 public:
  /// plan.jobs of them. trace: null, or where the only one records what blocks cost.
  explicit Workers(const RenderPlan& plan, Trace* trace);
  /// Ends when what was handed in is done.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Work is taken in its order, and done side by side.
  std::future<Rendered> render(Work work);

 private:
  using Streams = std::vector<host::Stream>;  // of the plan's parts
  using Task = std::packaged_task<Rendered(Streams&)>;
  void run(Streams& streams);

  const RenderPlan& plan_;
  Trace* trace_;
  std::vector<Streams> streams_;  // of every job
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  bool closing_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace ulmar::render
