// Partition sets: impulse responses in the form that the engine convolves with, a
// spectrum for every partition, and the tables of its transforms. They are only read,
// so streams of one response share them.
#pragma once

#include <memory>

#include "ulmar/host/areas.h"
#include "ulmar/host/plan.h"
#include "ulmar/host/responses.h"

namespace ulmar::host {

/// What buildPartitionSets makes. Immutable; may be read from any thread.
class PartitionSets {
 public:
  /// The plan that they were made for; they serve every plan that sharesSetsWith() it.
  const StreamPlan& plan() const { return plan_; }
  /// FFT tables and sets: of the head at 0, of the tail at 1.
  const Areas& areas() const { return areas_; }

 private:
  friend std::shared_ptr<const PartitionSets> buildPartitionSets(
      const StreamPlan& plan, const Responses& responses);
  PartitionSets(const StreamPlan& plan, const Responses& responses);

  StreamPlan plan_;
  Areas areas_;
};

/// Throws Error unless the responses fit the plan in their numbers, arrangement and
/// lengths and all samples are finite, or if the memory is not to be had. Takes a
/// transform for every partition: not for a real-time thread.
std::shared_ptr<const PartitionSets> buildPartitionSets(const StreamPlan& plan,
                                                        const Responses& responses);

}  // namespace ulmar::host
