#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

#include "bench/body.h"
#include "bench/figures.h"
#include "bench/limit.h"
#include "bench/transforms.h"
#include "bench/ulmar.h"
#include "ulmar/convrt/row_kernels.h"
#include "ulmar/host/geometry.h"

namespace ulmar::bench {
namespace {

struct NamedIsa {
  const char* name;
  Isa isa;
};
constexpr NamedIsa kBodies[] = {{"scalar", Isa::scalar},
                                {"sse2", Isa::sse2},
                                {"avx", Isa::avx},
                                {"avx512", Isa::avx512}};

const Workload kWorkload{1, 1, 2.0, 512};

void limit(benchmark::State& state, void (*mulAdd)(int), int productsPerTurn) {
  constexpr int kTurns = 1000;
  settle();
  for ([[maybe_unused]] auto _ : state) mulAdd(kTurns);
  state.SetItemsProcessed(state.iterations() * kTurns * productsPerTurn);
}

// The rows of a history and a partition set, as an engine of the workload holds them.
struct Rows {
  int numRows = kWorkload.blockLen / kLanes;
  int numBlocks = kWorkload.numBlocks();
  std::ptrdiff_t pitch = numBlocks + 1;
  std::vector<VecComplex> hist = filled(1);
  std::vector<VecComplex> parts = filled(2);

  std::vector<VecComplex> filled(unsigned seed) const {
    std::vector<VecComplex> rows(static_cast<std::size_t>(numRows * pitch));
    const std::vector<float> values =
        noise(2 * kLanes * static_cast<int>(rows.size()), seed);
    std::memcpy(rows.data(), values.data(), rows.size() * sizeof(VecComplex));
    return rows;
  }
};

// The high tier over whole rows: 16 slots, each a partition less than the one before.
void slideSums(benchmark::State& state, Isa isa) {
  constexpr int kNumSlots = 16;
  const RowKernels& kernels = rowKernelsFor(isa);
  const Rows rows;
  const int len = rows.numBlocks - 1;
  settle();
  for ([[maybe_unused]] auto _ : state) {
    for (int row = 0; row < rows.numRows; ++row) {
      RowSums sums[kNumSlots] = {};
      kernels.slideSums(sums, kNumSlots, rows.hist.data() + row * rows.pitch + 1,
                        rows.parts.data() + row * rows.pitch, len, 0);
      benchmark::DoNotOptimize(sums);
    }
  }
  state.SetItemsProcessed(state.iterations() * rows.numRows *
                          (kNumSlots * len - kNumSlots * (kNumSlots - 1) / 2));
}

// The low tier of eight segments, which take one to eight partitions between them.
void addRows(benchmark::State& state, Isa isa) {
  constexpr int kNumSegments = 8;
  const RowKernels& kernels = rowKernelsFor(isa);
  const Rows rows;
  const int segmentRows = rows.numRows / kNumSegments;
  const std::vector<VecComplex> acc(static_cast<std::size_t>(rows.numRows));
  std::vector<VecComplex> out = acc;
  settle();
  for ([[maybe_unused]] auto _ : state) {
    std::ranges::copy(acc, out.begin());
    for (int segment = 0; segment < kNumSegments; ++segment) {
      const std::ptrdiff_t firstRow = segment * segmentRows;
      kernels.addRows(out.data() + firstRow, acc.data() + firstRow,
                      rows.hist.data() + firstRow * rows.pitch,
                      rows.parts.data() + firstRow * rows.pitch, rows.pitch,
                      segmentRows, segment + 1);
    }
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * rows.numRows * (kNumSegments + 1) / 2);
}

// runHighLatency, through all its phases.
void highTier(benchmark::State& state, Isa isa) {
  const host::Responses responses = noiseResponses(kWorkload);
  const ParamStruct params = paramsFor(kWorkload, responses, false);
  Engine engine(params, responses);
  feedNoise(engine, kWorkload);
  for (int k = 0; k < kWorkload.numBlocks(); ++k) engine.run();
  const UseBody body(isa);
  settle();
  for ([[maybe_unused]] auto _ : state) engine.highTier();
  const host::Geometry geometry = host::geometryOf(params);
  state.SetItemsProcessed(state.iterations() * host::blockCost(geometry).high *
                          geometry.numSegments * geometry.chunksPerSegment);
}

void transform(benchmark::State& state, Transform& transform, Isa isa) {
  const UseBody body(isa);
  settle();
  for ([[maybe_unused]] auto _ : state) transform.run();
  state.SetItemsProcessed(state.iterations() * Transform::kRun);
}

// Prints the nanoseconds of an item, the median of all repetitions.
class Figures final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name != "median") continue;
      print(run.run_name.function_name, 1e9 / run.counters.at("items_per_second"));
    }
  }
};

}  // namespace

void measureKernels(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char repetitions[] = "--benchmark_repetitions=15";
  char minTime[] = "--benchmark_min_time=0.02";
  arguments.insert(arguments.begin() + 1, {interleaved, repetitions, minTime});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());

  const auto add = [](const std::string& name, auto function, auto... rest) {
    benchmark::RegisterBenchmark(name.c_str(), function, rest...);
  };
  add("limit/128", limit, mulAdd128, kProducts128);
  if (bestIsa() >= Isa::avx) add("limit/256", limit, mulAdd256, kProducts256);
  if (bestIsa() >= Isa::avx512) add("limit/512", limit, mulAdd512, kProducts512);
  for (const auto& [name, isa] : kBodies) {
    if (isa > bestIsa()) continue;
    add(std::string("slideSums/") + name, slideSums, isa);
    add(std::string("addRows/") + name, addRows, isa);
    add(std::string("runHighLatency/") + name, highTier, isa);
  }

  std::vector<std::unique_ptr<Transform>> transforms;
  for (const int size : {1024, 2048}) {
    for (const bool inverse : {false, true}) {
      const std::string name =
          (inverse ? "inverse/" : "forward/") + std::to_string(size) + "/";
      transforms.push_back(makeTransform(size, inverse));
      for (const auto& [body, isa] : kBodies) {
        if (isa > bestIsa()) continue;
        add(name + body, transform, std::ref(*transforms.back()), isa);
      }
      transforms.push_back(makeFftwTransform(size, inverse));
      add(name + "fftw", transform, std::ref(*transforms.back()), bestIsa());
    }
  }

  Figures figures;
  benchmark::RunSpecifiedBenchmarks(&figures);
  benchmark::Shutdown();
}

}  // namespace ulmar::bench
