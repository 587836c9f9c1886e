#include "ulmar/process/Ulmar_Process.h"

#include "ulmar/base/align.h"
#include "ulmar/decoder/five_speaker.h"
#include "ulmar/process/call_values.h"
#include "ulmar/process/engine_cycle.h"
#include "ulmar/process/input_stage.h"
#include "ulmar/process/output_stage.h"

namespace ulmar {
namespace {

// Added to each input block's first sample, so that the spectra of silence are no
// denormals, which are slow to compute with.
constexpr float kBoundaryOffset = 1e-14F;

// The offset is added once per channel. Where several entries of the table share one
// block, that block gets it several times.
template <int In, int Out>
void passBoundary(CallValues<In, Out>& call) noexcept {
  for (int k = 0; k < In; ++k) call.inBlk[k][0] += double{kBoundaryOffset};
  call.blockPos = 0;
  if (call.params.irLen > 0) {
    runEngineCycle(call.params, call.state, call.ext, call.inBlk, call.outBlk);
  }
}

// Takes a run of the engine's outputs through decoder and rear delay, mixes the dry
// signal in and stores it in the host's buffers.
template <int In, int Out>
void playRun(CallValues<In, Out>& call, int run) noexcept {
  if constexpr (Out == 5) {
    double feeds[5][kMaxRun];
    double* const rows[5] = {feeds[0], feeds[1], feeds[2], feeds[3], feeds[4]};
    const SpeakerDecoding decoding = {.xoverCfs = call.params.xoverCfs,
                                      .xoverSts = call.state.xoverSts,
                                      .centreGain = call.centreGain,
                                      .yGain = call.yGain,
                                      .plainXY = call.params.perOutputIR == 0,
                                      .passThrough = call.params.passThrough != 0};
    decodeFiveSpeakers(decoding, call.outBlk, call.blockPos, run, rows);
    delayRear(call, rows, run);
    emitOutput(call, rows, run);
  } else {
    double const* wet[Out];
    for (int j = 0; j < Out; ++j) wet[j] = call.outBlk[j] + call.blockPos;
    emitOutput(call, wet, run);
  }
}

// The sixth channel passes untouched, as consecutive samples whatever the step.
void copySixthChannel(const OstinSoundBuf& in, const OstinSoundBuf& out,
                      HostLong numSamples) noexcept {
  for (HostLong i = 0; i < numSamples; ++i) out.data[i] = in.data[i];
}

}  // namespace
}  // namespace ulmar

template <typename Sample, int In, int Out>
void ProcessType<Sample, In, Out>::UlmarProcess(OstinSoundBuf* inBufs,
                                                OstinSoundBuf* outBufs,
                                                ulmar::HostLong numSamples,
                                                char* params, char* state,
                                                ExternStruct* ext) {
  const auto& parameters = *ulmar::asRecords<ParamStruct>(params);
  auto& streamState = *ulmar::asRecords<StateStruct>(state);
  ulmar::CallValues<In, Out> call(inBufs, outBufs, parameters, streamState, *ext,
                                  numSamples);

  for (ulmar::HostLong left = numSamples; left > 0;) {
    const int run = call.runLength(left);
    ulmar::captureInput(call, run);
    ulmar::playRun(call, run);
    ulmar::conditionInput(call, run);
    call.blockPos += run;
    if (call.blockPos >= parameters.blockLen) ulmar::passBoundary(call);
    left -= run;
  }

  call.storePositions();
}

template <typename Sample, int In, int Out>
void ProcessType<Sample, In, Out>::Decoder(
    double** chanBufs, ulmar::HostLong pos, double* outFrame,
    [[maybe_unused]] float centreGain, [[maybe_unused]] cApXOverCfs<float>* xoverCfs,
    [[maybe_unused]] sApXOverSts<float>* xoverSts, [[maybe_unused]] bool plainXY,
    [[maybe_unused]] bool passThrough, [[maybe_unused]] float yGain) {
  if constexpr (Out == 5) {
    double* const feeds[5] = {outFrame, outFrame + 1, outFrame + 2, outFrame + 3,
                              outFrame + 4};
    const ulmar::SpeakerDecoding decoding = {.xoverCfs = *xoverCfs,
                                             .xoverSts = xoverSts,
                                             .centreGain = centreGain,
                                             .yGain = yGain,
                                             .plainXY = plainXY,
                                             .passThrough = passThrough};
    ulmar::decodeFiveSpeakers(decoding, chanBufs, pos, 1, feeds);
  } else {
    for (int j = 0; j < Out; ++j) outFrame[j] = chanBufs[j][pos];
  }
}

template class ProcessType<float, 1, 1>;
template class ProcessType<float, 1, 2>;
template class ProcessType<float, 2, 2>;
template class ProcessType<float, 1, 5>;
template class ProcessType<float, 2, 5>;
template class ProcessType<float, 5, 5>;

constinit const ProcessType<float, 1, 1> FloatMono{};
constinit const ProcessType<float, 1, 2> FloatMono2Stereo{};
constinit const ProcessType<float, 2, 2> FloatStereo{};
constinit const ProcessType<float, 1, 5> FloatMono2Five{};
constinit const ProcessType<float, 2, 5> FloatStereo2Five{};
constinit const ProcessType<float, 5, 5> FloatFive2Five{};

namespace {

// The published member function is not const, but the published objects are; it uses
// no data of theirs.
template <typename Sample, int In, int Out>
ProcessType<Sample, In, Out>& driver(
    const ProcessType<Sample, In, Out>& object) noexcept {
  return const_cast<ProcessType<Sample, In, Out>&>(object);
}

}  // namespace

void UlmarProc(OstinSoundBuf* inBufs, ulmar::HostLong inChannels,
               ulmar::HostLong numSamples, OstinSoundBuf* outBufs,
               ulmar::HostLong outChannels, ulmar::HostLong* samplesDone, char* params,
               char* state, ExternStruct* ext) {
  *samplesDone = numSamples;
  if (inBufs[0].format != ulmar::kFormatFloat) return;

  const auto run = [&](const auto& object) {
    driver(object).UlmarProcess(inBufs, outBufs, numSamples, params, state, ext);
  };
  const auto isPair = [&](int in, int out) {
    return inChannels == in && outChannels == out;
  };
  if (isPair(1, 1)) run(FloatMono);
  if (isPair(1, 2)) run(FloatMono2Stereo);
  if (isPair(2, 2)) run(FloatStereo);
  if (isPair(1, 5)) run(FloatMono2Five);
  if (isPair(2, 5)) run(FloatStereo2Five);
  if (isPair(5, 5)) run(FloatFive2Five);
  if (isPair(6, 6)) {
    run(FloatFive2Five);
    ulmar::copySixthChannel(inBufs[5], outBufs[5], numSamples);
  }
}
