// One stream whose records and areas lie at exactly their sizes between inaccessible
// pages, and on read-only ones where the library only reads.
#pragma once

#include <memory>

#include "tests/support/bare_host.h"
#include "tests/support/guarded.h"
#include "tests/support/random.h"
#include "ulmar/host/error.h"
#include "ulmar/host/stream.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::test {

/// How the areas lie: one end flush with an inaccessible page, and the address
/// `offset` bytes past a multiple of 32. With an offset the area goes on behind it up
/// to the page, by the slack that rounding up takes.
struct Placement {
  Flush flush;
  std::size_t offset;
};

/// Together they meet every path through the library.
struct Kind {
  const char* name;
  int in, out;
  int numInputs, numOutputs;
  bool perOutput, passThrough, fold, hfTruncate;
};
inline constexpr Kind kKinds[] = {
    {"stereo", 2, 2, 2, 2, false, false, false, false},
    {"stereo, truncated", 2, 2, 2, 2, false, false, false, true},
    {"stereo, decoded in mid/side", 2, 5, 3, 5, true, false, false, true},
    {"five, passed through", 5, 5, 3, 5, true, true, false, false},
    {"five, folded and decoded", 5, 5, 2, 3, false, false, true, false},
    {"six, folded, decoded and truncated", 6, 6, 2, 3, false, false, true, true},
};

/// What a stream of this kind is tried with unless it is a random one.
inline host::Geometry usualGeometry(const Kind& kind) {
  constexpr int kBlockLen = 64;
  return {kBlockLen, kBlockLen * (kind.hfTruncate ? 34 : 11) + 7, 4, 2,
          kind.hfTruncate};
}

/// Any geometry that the engine can run, of up to 40 partitions.
inline host::Geometry randomGeometry(Random& random, bool hfTruncate) {
  for (;;) {
    host::Geometry geometry;
    geometry.blockLen = 8 << random.below(6);
    geometry.irLen = 1 + random.below(40 * geometry.blockLen);
    geometry.numSegments = 1 << random.below(5);
    geometry.chunksPerSegment = 1 << random.below(4);
    geometry.hfTruncate = hfTruncate;
    try {
      host::checkGeometry(geometry);
      return geometry;
    } catch (const Error&) {
    }
  }
}

class GuardedStream {
 public:
  explicit GuardedStream(const Kind& kind, Placement placement = {Flush::atEnd, 0})
      : GuardedStream(kind, placement, usualGeometry(kind), Random(61)) {}

  /// Areas start on multiples of 32 and end within 31 bytes of a page; those of the
  /// usual geometry are multiples of 32 long, hence every bound exact.
  GuardedStream(const Kind& kind, Placement placement, const host::Geometry& geometry,
                Random random)
      : kind_(kind),
        numFrames_(40 * geometry.blockLen + 5),
        params_(sizeof(ParamStruct)),
        state_(sizeof(StateStruct)),
        ext_(sizeof(ExternStruct)) {
    ParamStruct params{};
    host::setGeometry(params, geometry);
    params.numInputs = kind.numInputs;
    params.numOutputs = kind.numOutputs;
    params.perOutputIR = kind.perOutput ? 1 : 0;
    params.passThrough = kind.passThrough ? 1 : 0;
    params.foldToStereo = kind.fold ? 1 : 0;
    params.xoverCfs = {-0.375F, 0.25F, -0.5F};
    params.crossfeed = random.sample();
    params.dryRingLen = 16 << random.below(3);
    params.dryDelay = random.below(params.dryRingLen);
    params.rearDelay = random.below(31);
    params.dryGain = random.sample();
    for (float& gain : params.wetGain) gain = 0.01F * random.sample();

    host::Responses responses{params.numInputs, params.numOutputs, kind.perOutput, {}};
    const int numSets = params.numOutputs * (kind.perOutput ? 1 : params.numInputs);
    for (int set = 0; set < numSets; ++set) {
      responses.samples.push_back(random.signal(params.irLen));
    }
    host::Stream reference(kind.in, kind.out, params, responses);
    for (int k = 0; k < kind.in; ++k) {
      inputs_.push_back(std::make_unique<ReadOnly<float>>(random.signal(numFrames_)));
    }
    for (int j = 0; j < kind.out; ++j) {
      outputs_.push_back(std::make_unique<Guarded>(
          static_cast<std::size_t>(numFrames_) * sizeof(float)));
      expected_.emplace_back(static_cast<std::size_t>(numFrames_));
    }
    BareHost host(params, kind.in, kind.out);
    host.buildSets(responses);
    placeAreas(host.areas, placement);
    runReference(reference);

    // What belongs to the host is left at 0xFF: the reserved words, those behind each
    // address and those behind the first record's format.
    std::memcpy(&params_.as<ParamStruct>()->blockLen, &params.blockLen,
                sizeof params - offsetof(ParamStruct, blockLen));
    params_.makeReadOnly();
    ext_.makeReadOnly();
    std::memset(state_.as(), 0, state_.size());
    placeRecords();
  }

  void process() const {
    HostLong done = 0;
    UlmarProc(inRecords_->as<OstinSoundBuf>(), kind_.in, numFrames_,
              outRecords_->as<OstinSoundBuf>(), kind_.out, &done, params_.as<char>(),
              state_.as<char>(), ext_.as<ExternStruct>());
  }

  /// Whether the first call gave the bits that it gives over the host kit's memory.
  bool gaveTheExpectedBits() const {
    bool same = std::memcmp(state_.as(), &expectedState_, sizeof expectedState_) == 0;
    for (std::size_t j = 0; j < outputs_.size(); ++j) {
      same = same && std::memcmp(outputs_[j]->as(), expected_[j].data(),
                                 outputs_[j]->size()) == 0;
    }
    return same;
  }

 private:
  void placeAreas(const host::Areas& from, Placement placement) {
    for (const host::Area area : host::kAllAreas) {
      const auto size = static_cast<std::size_t>(from.sizes()[0][area]);
      if (size == 0) {
        host::entry(*ext_.as<ExternStruct>(), area).address = nullptr;
        continue;
      }
      const std::size_t slack = placement.offset > 0 ? 32 - placement.offset : 0;
      const std::size_t rounded = (size + 31) / 32 * 32;
      areas_.push_back(std::make_unique<Guarded>(rounded + slack, placement.flush));
      Guarded& memory = *areas_.back();
      host::entry(*ext_.as<ExternStruct>(), area).address = memory.as();
      // The work area may hold anything.
      if (area != host::Area::fftWork)
        std::memcpy(memory.as() + slack, from[area], size);
      if (area == host::Area::fftTwiddles || area == host::Area::fftBitRev ||
          area == host::Area::irSets) {
        memory.makeReadOnly();
      }
    }
  }

  void runReference(host::Stream& reference) {
    std::vector<const float*> in;
    std::vector<float*> out;
    for (const auto& input : inputs_) in.push_back(input->data());
    for (auto& output : expected_) out.push_back(output.data());
    reference.process(in.data(), out.data(), numFrames_);
    expectedState_ = reference.state();
  }

  void placeRecords() {
    inRecords_ = std::make_unique<Guarded>(inputs_.size() * sizeof(OstinSoundBuf));
    outRecords_ = std::make_unique<Guarded>(outputs_.size() * sizeof(OstinSoundBuf));
    auto* const in = inRecords_->as<OstinSoundBuf>();
    auto* const out = outRecords_->as<OstinSoundBuf>();
    for (std::size_t k = 0; k < inputs_.size(); ++k) {
      in[k].data = inputs_[k]->data();
      in[k].step = 1;
    }
    for (std::size_t j = 0; j < outputs_.size(); ++j) {
      out[j].data = outputs_[j]->as<float>();
      out[j].step = 1;
    }
    in[0].format = kFormatFloat;
    inRecords_->makeReadOnly();
    outRecords_->makeReadOnly();
  }

  Kind kind_;
  HostLong numFrames_;
  Guarded params_;
  Guarded state_;
  Guarded ext_;
  std::vector<std::unique_ptr<Guarded>> areas_;
  std::vector<std::unique_ptr<ReadOnly<float>>> inputs_;
  std::vector<std::unique_ptr<Guarded>> outputs_;
  std::unique_ptr<Guarded> inRecords_;
  std::unique_ptr<Guarded> outRecords_;
  Planar expected_;
  StateStruct expectedState_{};
};

}  // namespace ulmar::test
