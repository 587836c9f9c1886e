// All that convolve one workload, by name:
//   ulmar         a stream as the plan chooses
//   one           one engine
//   two           two engines, with the tail that the cost model finds cheapest;
//                 "two-shorter", "two-longer": with tail blocks of half, twice its
//                 length
//   plain         the plain uniformly partitioned engine
//   zita-uniform  zita-convolver, partitions of a block
//   zita-default  zita-convolver, partitions up to its own limit
// and all but the peers with "-avx": with AVX bodies, where the processor has wider
// ones.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/convolver.h"
#include "bench/ulmar.h"

namespace ulmar::bench {

class Contenders {
 public:
  /// Fed with noise, and checked: throws if one gives a wrong output. withRivals: also
  /// the streams that the plan could have chosen but for "one", and all with "-avx".
  Contenders(const Workload& workload, bool withRivals);

  /// The engine alone, without UlmarProc around it, and with the upper band truncated:
  /// "engine", "engine-hf", "plain-hf". Checked likewise.
  void addEngines();

  bool has(const std::string& name) const { return indices_.contains(name); }
  /// Two names may mean the same contender.
  std::size_t index(const std::string& name) const { return indices_.at(name); }
  Convolver& at(const std::string& name) const { return *all_[index(name)]; }
  const std::vector<Convolver*>& all() const { return all_; }
  /// Of a stream.
  const host::StreamPlan& plan(const std::string& name) const {
    return plans_.at(name);
  }

 private:
  Convolver& add(const std::string& name, std::unique_ptr<Convolver> convolver);
  void addStream(const std::string& name, const host::StreamPlan& plan);
  void addTail(const std::string& name, int tail);
  void alias(const std::string& name, const std::string& other);

  Workload workload_;
  bool withRivals_;
  host::Responses responses_;
  std::map<std::string, host::StreamPlan> plans_;
  std::vector<std::unique_ptr<Convolver>> owned_;
  std::vector<Convolver*> all_;
  std::map<std::string, std::size_t> indices_;
};

}  // namespace ulmar::bench
