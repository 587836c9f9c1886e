#include "bench/contenders.h"

#include <utility>

#include "bench/check.h"
#include "ulmar/process/engine_state.h"

namespace ulmar::bench {
namespace {

// Partitions up to which the uniform peers take part. With more they take several times
// real time.
constexpr int kMostUniformBlocks = 2400;

}  // namespace

Contenders::Contenders(const Workload& workload, bool withRivals)
    : workload_(workload),
      withRivals_(withRivals),
      responses_(noiseResponses(workload)) {
  const host::ResponseShape shape = responses_.shape();
  const host::StreamPlan chosen = planFor(workload, shape, host::kTailAuto);
  addStream("ulmar", chosen);
  if (chosen.tail()) {
    addStream("one", planFor(workload, shape, host::kTailOff));
  } else {
    alias("one", "ulmar");
  }
  if (const auto best = bestTailPlan(workload, shape); best && withRivals) {
    const int tail = best->tail()->geometry.blockLen;
    addTail("two", tail);
    addTail("two-shorter", tail / 2);
    addTail("two-longer", 2 * tail);
  }
  if (workload.numBlocks() <= kMostUniformBlocks) {
    add("plain", makePlain(workload, responses_));
    add("zita-uniform", makeZita(workload, responses_, workload.blockLen));
  }
  add("zita-default", makeZita(workload, responses_, kZitaMaxPart));

  std::vector<Convolver*> checked;
  for (const auto& convolver : owned_) {
    if (dynamic_cast<WithBody*>(convolver.get()) == nullptr) {
      checked.push_back(convolver.get());
    }
  }
  checkOutputs(workload, responses_, checked, {});
}

void Contenders::addEngines() {
  const ParamStruct params = paramsFor(workload_, responses_, false);
  const ParamStruct truncated = paramsFor(workload_, responses_, true);
  Convolver& engine = add("engine", std::make_unique<Engine>(params, responses_));
  Convolver& engineHf =
      add("engine-hf", std::make_unique<Engine>(truncated, responses_));
  Convolver& plainHf =
      add("plain-hf",
          makePlain(workload_, responses_, engineStateOf(truncated).hfKeepBlocks));
  checkOutputs(workload_, responses_, std::vector{&engine},
               std::vector{&plainHf, &engineHf});
}

Convolver& Contenders::add(const std::string& name,
                           std::unique_ptr<Convolver> convolver) {
  indices_[name] = all_.size();
  all_.push_back(convolver.get());
  feedNoise(*convolver, workload_);
  owned_.push_back(std::move(convolver));
  return *owned_.back();
}

void Contenders::addStream(const std::string& name, const host::StreamPlan& plan) {
  plans_.emplace(name, plan);
  Convolver& stream = add(name, std::make_unique<PlanarStream>(plan, responses_));
  if (withRivals_ && bestIsa() > Isa::avx) {
    add(name + "-avx", std::make_unique<WithBody>(stream, Isa::avx));
  } else {
    alias(name + "-avx", name);
  }
}

void Contenders::addTail(const std::string& name, int tail) {
  if (tail < 2 * workload_.blockLen || tail > host::kMaxBlockLen) return;
  const host::StreamPlan plan = planFor(workload_, responses_.shape(), tail);
  if (!plan.tail()) return;
  const auto& chosen = plans_.at("ulmar").tail();
  if (chosen && chosen->geometry.blockLen == tail) {
    alias(name, "ulmar");
  } else {
    addStream(name, plan);
  }
}

void Contenders::alias(const std::string& name, const std::string& other) {
  indices_[name] = index(other);
  if (plans_.contains(other)) plans_.emplace(name, plan(other));
  if (has(other + "-avx")) indices_[name + "-avx"] = index(other + "-avx");
}

}  // namespace ulmar::bench
