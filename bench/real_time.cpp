// Plays streams in real time, as a host's audio threads do: on each processor as many
// true-stereo streams of 2 s in blocks of 128 frames as take 70 % of it, woken every
// 128 frames at 48 kHz, under SCHED_FIFO where that is allowed.
//   ulmar_real_time SECONDS
// Counts blocks that took longer than they last: of the streams' own processor time,
// which is ours to keep, and by the clock, to which everybody else on the machine adds.
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "bench/convolver.h"
#include "ulmar/host/stream.h"

namespace {

using ulmar::Planar;
using ulmar::host::Stream;

constexpr int kBlockLen = 128;
constexpr double kSampleRate = 48000.0;
constexpr double kPeriod = kBlockLen / kSampleRate;  // seconds
constexpr double kLoad = 0.7;

double now(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

struct Figures {
  std::atomic<long> blocks{0};
  std::atomic<long> ownMicroseconds{0};
  std::atomic<long> ownLate{0};
  std::atomic<long> clockLate{0};
  std::atomic<int> notRealTime{0};
};

class Voices {
 public:
  Voices(const ulmar::host::StreamPlan& plan,
         std::shared_ptr<const ulmar::host::PartitionSets> sets)
      : plan_(plan), sets_(std::move(sets)) {
    for (auto& channel : in_) channel = ulmar::bench::noise(kBlockLen, 3);
  }

  void setSize(std::size_t size) {
    if (size < streams_.size()) streams_.resize(size);
    while (streams_.size() < size) {
      streams_.push_back(std::make_unique<Stream>(plan_, sets_));
      // Else all streams would reach their longer blocks together.
      for (std::size_t k = 0; k < streams_.size(); ++k) play(*streams_.back());
    }
  }

  std::size_t size() const { return streams_.size(); }

  void playBlock() {
    for (auto& stream : streams_) play(*stream);
  }

 private:
  void play(Stream& stream) {
    const float* const in[] = {in_[0].data(), in_[1].data()};
    float* const out[] = {out_[0].data(), out_[1].data()};
    stream.process(in, out, kBlockLen);
  }

  const ulmar::host::StreamPlan& plan_;
  std::shared_ptr<const ulmar::host::PartitionSets> sets_;
  std::vector<std::unique_ptr<Stream>> streams_;
  Planar in_{2};
  Planar out_{2, std::vector<float>(kBlockLen)};
};

void play(Voices& voices, double seconds, Figures& figures) {
  const sched_param priority{.sched_priority = 50};
  if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0) {
    ++figures.notRealTime;
  }
  const double start = now(CLOCK_MONOTONIC);
  for (double due = start; due < start + seconds; due += kPeriod) {
    const timespec until{
        static_cast<time_t>(due),
        static_cast<long>((due - static_cast<double>(static_cast<time_t>(due))) * 1e9)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    const double before = now(CLOCK_THREAD_CPUTIME_ID);
    voices.playBlock();
    const double own = now(CLOCK_THREAD_CPUTIME_ID) - before;
    ++figures.blocks;
    figures.ownMicroseconds += static_cast<long>(1e6 * own);
    if (own > kPeriod) ++figures.ownLate;
    if (now(CLOCK_MONOTONIC) > due + kPeriod) ++figures.clockLate;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc > 1 ? std::atof(argv[1]) : 600.0;
  Planar samples(4);
  for (auto& channel : samples) channel = ulmar::bench::noise(96000, 11);
  const ulmar::host::Responses responses = ulmar::host::arrangeResponses(samples, 2);
  ulmar::host::StreamOptions options;
  options.blockLen = kBlockLen;
  const ulmar::host::StreamPlan plan(2, 2, responses.shape(), options);
  const auto sets = ulmar::host::buildPartitionSets(plan, responses);

  const unsigned numThreads = std::max(1U, std::thread::hardware_concurrency());
  std::deque<Voices> voices;
  for (unsigned i = 0; i < numThreads; ++i) voices.emplace_back(plan, sets);
  // Returns the load of a processor.
  const auto run = [&voices](std::size_t numStreams, double length, Figures& figures) {
    for (Voices& own : voices) own.setSize(numStreams);
    mlockall(MCL_CURRENT | MCL_FUTURE);
    std::vector<std::thread> threads;
    for (Voices& own : voices) {
      threads.emplace_back([&own, length, &figures] { play(own, length, figures); });
    }
    for (std::thread& thread : threads) thread.join();
    return 1e-6 * static_cast<double>(figures.ownMicroseconds) /
           (static_cast<double>(figures.blocks) * kPeriod);
  };
  std::size_t numStreams = 10;
  for (int trial = 0; trial < 4; ++trial) {
    Figures figures;
    const double load = run(numStreams, 2.0, figures);
    numStreams = static_cast<std::size_t>(
        std::max(1.0, static_cast<double>(numStreams) * kLoad / load));
  }
  Figures figures;
  const double load = run(numStreams, seconds, figures);
  std::printf(
      "%zu streams on each of %u processors, load %.0f %%, %.0f s, %ld blocks: "
      "%ld over their time, %ld late by the clock%s\n",
      numStreams, numThreads, 100.0 * load, seconds, figures.blocks.load(),
      figures.ownLate.load(), figures.clockLate.load(),
      figures.notRealTime > 0 ? ", without real-time priority" : "");
  return 100 * figures.ownLate > figures.blocks ? 1 : 0;
}
