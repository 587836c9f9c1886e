// What each stage of an engine's block takes, beside the cost model that plans are made
// by.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>

#include "bench/body.h"
#include "bench/convolver.h"
#include "bench/figures.h"
#include "bench/rounds.h"
#include "ulmar/base/align.h"
#include "ulmar/host/areas.h"
#include "ulmar/host/cost_model.h"
#include "ulmar/process/engine_cycle.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::bench {
namespace {

using host::Area;
using host::Geometry;
using host::StageCosts;

constexpr int kMostSamples = 600000;  // of a response
constexpr int kNumRounds = 3;

struct Stage {
  const char* name;
  std::int64_t StageCosts::*cost;
};
constexpr Stage kStages[] = {{"transform", &StageCosts::transform},
                             {"low", &StageCosts::low},
                             {"output", &StageCosts::output},
                             {"high", &StageCosts::high},
                             {"mid", &StageCosts::mid}};
constexpr std::size_t kNumStages = std::size(kStages);

using StageTimes = std::array<double, kNumStages>;  // nanoseconds

double nanoseconds() {
  return static_cast<double>(
      std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

// What reading the clock twice takes by itself.
double clockCost() {
  std::vector<double> costs;
  for (int k = 0; k < 1000; ++k) {
    const double start = nanoseconds();
    costs.push_back(nanoseconds() - start);
  }
  return median(std::move(costs));
}

ParamStruct paramsOf(const Geometry& geometry, int numInputs, int numOutputs) {
  ParamStruct params{};
  host::setGeometry(params, geometry);
  params.numInputs = numInputs;
  params.numOutputs = numOutputs;
  return params;
}

// An engine whose stages are called one by one, in the order of a block. Its partition
// sets are noise: only the time matters.
class TimedEngine {
 public:
  TimedEngine(const Geometry& geometry, int numInputs, int numOutputs)
      : params_(paramsOf(geometry, numInputs, numOutputs)),
        areas_({host::areaSizes(params_, numInputs, numOutputs)}),
        state_(engineStateOf(params_)) {
    attachAreas(areas_.table(), state_);
    dUpdateFFTTables(asRecords<HostLong>(areas_[Area::fftBitRev]),
                     asRecords<dcmplx>(areas_[Area::fftTwiddles]),
                     2 * geometry.blockLen);
    const auto bytes = static_cast<std::size_t>(areas_.sizes()[0][Area::irSets]);
    const std::vector<float> values = noise(4096, 5);
    std::byte* const sets = areas_[Area::irSets];
    for (std::size_t at = 0; at < bytes; at += 4096 * sizeof(float)) {
      std::memcpy(sets + at, values.data(),
                  std::min(bytes - at, values.size() * sizeof(float)));
    }
    const std::vector<float> block = noise(geometry.blockLen * numInputs, 6);
    std::ranges::copy(block, asRecords<double>(areas_[Area::inBlocks]));
  }

  // Medians over all phases of the nanoseconds of each stage.
  StageTimes times(double clockCost) {
    std::array<std::vector<double>, kNumStages> times;
    const int settled = state_.numChunks;
    const int numBlocks = std::max(3 * settled, 24);
    for (int block = 0; block < numBlocks; ++block) {
      runBlock([&](std::size_t stage, auto run) {
        const double start = nanoseconds();
        run();
        const double time = nanoseconds() - start - clockCost;
        if (block >= settled) times[stage].push_back(time);
      });
    }
    StageTimes medians;
    std::ranges::transform(times, medians.begin(), [](auto& of) { return median(of); });
    return medians;
  }

 private:
  // timed: called with the index of a stage and what to run.
  template <typename Timed>
  void runBlock(Timed timed) {
    ConvRT engine(&state_);
    registerSets(params_, state_, asRecords<VecComplex>(areas_[Area::irSets]), engine);
    double* const in = asRecords<double>(areas_[Area::inBlocks]);
    double* const out = asRecords<double>(areas_[Area::outBlocks]);
    const auto forPairs = [&](std::size_t stage, auto run) {
      for (int i = 0; i < params_.numInputs; ++i) {
        for (int j = 0; j < params_.numOutputs; ++j) timed(stage, [&] { run(i, j); });
      }
    };
    for (int i = 0; i < params_.numInputs; ++i) {
      timed(0, [&] {
        engine.updateInputHist(engine.inHist[i], in + i * state_.blockLen);
      });
    }
    forPairs(1, [&](int i, int j) {
      engine.runLowLatency(engine.inHist[i], engine.irParts[i][j], engine.pairAcc[i][j],
                           engine.outAcc[j]);
    });
    for (int j = 0; j < params_.numOutputs; ++j) {
      timed(2, [&] {
        engine.produceOutput(j, out + j * state_.blockLen);
        std::fill_n(engine.outAcc[j], state_.numRows, VecComplex{});
      });
    }
    state_.overlapSel = 1 - state_.overlapSel;
    if (--state_.segPhase < 0) {
      state_.segPhase += state_.numSegments;
      if (--state_.chunkPhase < 0) state_.chunkPhase += state_.chunksPerSegment;
    }
    forPairs(3, [&](int i, int j) {
      engine.runHighLatency(engine.inHist[i], engine.irParts[i][j],
                            engine.pairAcc[i][j]);
    });
    forPairs(4, [&](int i, int j) {
      engine.runMidLatency(engine.inHist[i], engine.irParts[i][j],
                           engine.pairAcc[i][j]);
    });
    if (++state_.ringPos == state_.ringLen) state_.ringPos = 0;
  }

  ParamStruct params_;
  host::Areas areas_;
  ConvRTState state_;
};

// Every division that a combination of block length and partitions admits.
std::vector<Geometry> geometriesOf(int blockLen, int numBlocks) {
  constexpr int kDivisions[][2] = {{2, 1}, {4, 1}, {8, 1}, {16, 1},
                                   {2, 2}, {4, 2}, {8, 2}, {4, 4}};
  std::vector<Geometry> geometries;
  for (const auto& [numSegments, perSegment] : kDivisions) {
    const int columns = (numBlocks + numSegments - 1) / numSegments;
    if (numSegments * perSegment > blockLen / 4 || columns < perSegment) continue;
    geometries.push_back(
        {blockLen, numBlocks * blockLen, numSegments, perSegment, false});
  }
  return geometries;
}

struct Combination {
  Geometry geometry;
  int numInputs;
  int numOutputs;

  // As in "2x2/512/188/8/1": pairs, block length, partitions, G, C.
  std::string name() const {
    std::ostringstream text;
    text << numInputs << 'x' << numOutputs << '/' << geometry.blockLen << '/'
         << geometry.irLen / geometry.blockLen << '/' << geometry.numSegments << '/'
         << geometry.chunksPerSegment;
    return text.str();
  }
};

std::vector<Combination> combinations() {
  std::vector<Combination> all;
  for (const int blockLen : {64, 128, 256, 512, 1024, 2048, 4096, 8192}) {
    for (const int numBlocks : {2, 4, 8, 15, 31, 63, 130, 300}) {
      if (blockLen * numBlocks > kMostSamples) continue;
      for (const Geometry& geometry : geometriesOf(blockLen, numBlocks)) {
        constexpr int kPairs[][2] = {{1, 1}, {2, 2}, {2, 5}};
        for (const auto& [inputs, outputs] : kPairs) {
          all.push_back({geometry, inputs, outputs});
        }
      }
    }
  }
  return all;
}

using Ratios = std::map<std::string, std::vector<double>>;

// Prints the times of a combination's stages beside the model's, and keeps their
// ratios.
void compare(const std::string& body, const Combination& combination,
             const StageTimes& times, Ratios& ratios) {
  const auto& [geometry, numInputs, numOutputs] = combination;
  const StageCosts model = host::stageCosts(geometry);
  const int numPairs = numInputs * numOutputs;
  const int counts[] = {numInputs, numPairs, numOutputs, numPairs, numPairs};
  const std::string name = "stage/" + body + "/" + combination.name() + "/";
  double block = 0.0;
  for (std::size_t stage = 0; stage < kNumStages; ++stage) {
    const auto& [stageName, cost] = kStages[stage];
    const double modelled = 1e-3 * static_cast<double>(model.*cost);
    block += counts[stage] * times[stage];
    if (modelled == 0.0) continue;
    print(name + stageName + "/ns", times[stage]);
    print(name + stageName + "/model", modelled);
    ratios[stageName].push_back(times[stage] / modelled);
  }
  const double ratio =
      1e3 * block / static_cast<double>(model.total(numInputs, numOutputs, numPairs));
  ratios["block"].push_back(ratio);
  ratios["block-" + std::to_string(geometry.blockLen)].push_back(ratio);
}

double quantile(const std::vector<double>& sorted, double part) {
  return sorted[static_cast<std::size_t>(part *
                                         static_cast<double>(sorted.size() - 1))];
}

void printQuantiles(const std::string& body, Ratios& ratios) {
  std::vector<double> all;
  for (const auto& [name, unused] : kStages) {
    all.insert(all.end(), ratios[name].begin(), ratios[name].end());
  }
  const double speed = median(all);
  ratios["all"] = std::move(all);
  for (auto& [name, of] : ratios) {
    std::ranges::sort(of);
    const std::string prefix = "model/" + body + "/" + name + "/";
    print(prefix + "count", static_cast<double>(of.size()));
    for (const int percent : {5, 25, 50, 75, 95}) {
      print(prefix + std::to_string(percent), quantile(of, percent / 100.0));
    }
    // How far half of them, and nine tenths, lie from the model at this machine's
    // speed.
    std::vector<double> errors;
    for (const double ratio : of) errors.push_back(std::abs(ratio / speed - 1.0));
    std::ranges::sort(errors);
    print(prefix + "off-50", quantile(errors, 0.5));
    print(prefix + "off-90", quantile(errors, 0.9));
  }
}

void measureBody(const std::string& body, Isa isa) {
  if (isa > bestIsa()) return;
  const UseBody use(isa);
  const double cost = clockCost();
  const std::vector<Combination> all = combinations();
  std::vector<std::array<std::vector<double>, kNumStages>> times(all.size());
  for (int round = 0; round < kNumRounds; ++round) {
    std::cerr << "stages " << body << ", round " << round + 1 << '\n';
    for (std::size_t k = 0; k < all.size(); ++k) {
      TimedEngine engine(all[k].geometry, all[k].numInputs, all[k].numOutputs);
      const StageTimes once = engine.times(cost);
      for (std::size_t stage = 0; stage < kNumStages; ++stage) {
        times[k][stage].push_back(once[stage]);
      }
    }
  }
  Ratios ratios;
  for (std::size_t k = 0; k < all.size(); ++k) {
    // What other work on the machine takes can only add to a time.
    StageTimes least;
    std::ranges::transform(times[k], least.begin(), [](const auto& of) {
      return *std::ranges::min_element(of);
    });
    compare(body, all[k], least, ratios);
  }
  printQuantiles(body, ratios);
}

}  // namespace

void measureStages() {
  measureBody("avx", Isa::avx);
  measureBody("avx512", Isa::avx512);
}

}  // namespace ulmar::bench
