// One stream whose records and areas lie at exactly their sizes between inaccessible
// pages, and on read-only ones where the library only reads.
#pragma once

#include <memory>

#include "tests/support/bare_host.h"
#include "tests/support/guarded.h"
#include "tests/support/random.h"
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

class GuardedStream {
 public:
  static constexpr int kFrames = 40 * 32 + 5;

  /// Every area's size is a multiple of 32, hence every bound exact.
  explicit GuardedStream(bool five, Placement placement = {Flush::atEnd, 0})
      : channels_(five ? 5 : 2),
        params_(sizeof(ParamStruct)),
        state_(sizeof(StateStruct)),
        ext_(sizeof(ExternStruct)) {
    ParamStruct params{};
    host::setGeometry(params, {32, 32 * 11 + 7, 4, 2, false});
    params.numInputs = five ? 3 : 2;
    params.numOutputs = channels_;
    params.perOutputIR = params.passThrough = five ? 1 : 0;
    params.dryRingLen = 16;
    params.dryDelay = 5;
    params.rearDelay = 30;
    params.dryGain = 0.5F;
    for (float& gain : params.wetGain) gain = 0.01F;

    Random random(61);
    host::Responses responses{params.numInputs, params.numOutputs, five, {}};
    const int numSets = five ? 5 : 4;
    for (int set = 0; set < numSets; ++set) {
      responses.samples.push_back(random.signal(params.irLen));
    }
    host::Stream reference(channels_, channels_, params, responses);
    for (int k = 0; k < channels_; ++k) {
      inputs_.push_back(std::make_unique<ReadOnly<float>>(random.signal(kFrames)));
      outputs_.push_back(std::make_unique<Guarded>(kFrames * sizeof(float)));
      expected_.emplace_back(static_cast<std::size_t>(kFrames));
    }
    BareHost host(params, channels_, channels_);
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
    UlmarProc(inRecords_->as<OstinSoundBuf>(), channels_, kFrames,
              outRecords_->as<OstinSoundBuf>(), channels_, &done, params_.as<char>(),
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
      areas_.push_back(std::make_unique<Guarded>(size + slack, placement.flush));
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
    for (std::size_t k = 0; k < inputs_.size(); ++k) {
      in.push_back(inputs_[k]->data());
      out.push_back(expected_[k].data());
    }
    reference.process(in.data(), out.data(), kFrames);
    expectedState_ = reference.state();
  }

  void placeRecords() {
    const std::size_t size = inputs_.size() * sizeof(OstinSoundBuf);
    inRecords_ = std::make_unique<Guarded>(size);
    outRecords_ = std::make_unique<Guarded>(size);
    for (std::size_t k = 0; k < inputs_.size(); ++k) {
      OstinSoundBuf& in = inRecords_->as<OstinSoundBuf>()[k];
      OstinSoundBuf& out = outRecords_->as<OstinSoundBuf>()[k];
      in.data = inputs_[k]->data();
      out.data = outputs_[k]->as<float>();
      in.step = out.step = 1;
    }
    inRecords_->as<OstinSoundBuf>()[0].format = kFormatFloat;
    inRecords_->makeReadOnly();
    outRecords_->makeReadOnly();
  }

  int channels_;
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
