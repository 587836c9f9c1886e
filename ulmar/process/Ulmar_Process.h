// The processing entry and the driver behind it.
#pragma once

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"
#include "ulmar/decoder/crossover.h"
#include "ulmar/process/host_records.h"

/// The driver of one channel configuration. Objects hold no data; a call works on the
/// host's records only, in the caller's thread, without allocation, lock or system
/// call.
template <typename Sample, int In, int Out>
class ULMAR_EXPORT ProcessType {
 public:
  /// Processes numSamples frames of In input and Out output channels. params, state: a
  /// ParamStruct and a StateStruct. Outputs may be the inputs' own samples in the same
  /// layout: every frame's inputs are read before its outputs are written.
  void UlmarProcess(OstinSoundBuf* inBufs, OstinSoundBuf* outBufs,
                    ulmar::HostLong numSamples, char* params, char* state,
                    ExternStruct* ext);

  /// Maps the engine's outputs at `pos` to outFrame[0 ... Out - 1]. chanBufs: five
  /// engine output blocks. One or two outputs: a copy, the other arguments unused.
  /// Five: the surround decoder over three crossover states, or the channels passed
  /// through.
  void Decoder(double** chanBufs, ulmar::HostLong pos, double* outFrame,
               float centreGain, cApXOverCfs<float>* xoverCfs,
               sApXOverSts<float>* xoverSts, bool plainXY, bool passThrough,
               float yGain);
};

extern const ULMAR_EXPORT ProcessType<float, 1, 1> FloatMono;
extern const ULMAR_EXPORT ProcessType<float, 1, 2> FloatMono2Stereo;
extern const ULMAR_EXPORT ProcessType<float, 2, 2> FloatStereo;
extern const ULMAR_EXPORT ProcessType<float, 1, 5> FloatMono2Five;
extern const ULMAR_EXPORT ProcessType<float, 2, 5> FloatStereo2Five;
extern const ULMAR_EXPORT ProcessType<float, 5, 5> FloatFive2Five;

/// Processes one buffer of numSamples frames: 1 > 1, 1 > 2, 2 > 2, 1 > 5, 2 > 5, 5 > 5,
/// or 6 > 6 as 5 > 5 with the sixth channel copied as consecutive samples. Any other
/// pair of counts, or a format other than kFormatFloat, leaves everything but
/// *samplesDone untouched. *samplesDone receives numSamples in every case. Five
/// channels are ordered left, centre, right, left surround, right surround.
///
/// The wet signal lags the input by params.blockLen frames; a call that crosses a block
/// boundary does the block's whole work. Calls of different streams may run
/// concurrently, calls of one stream must not overlap. Real-time safe.
extern "C" ULMAR_EXPORT void UlmarProc(
    OstinSoundBuf* inBufs, ulmar::HostLong inChannels, ulmar::HostLong numSamples,
    OstinSoundBuf* outBufs, ulmar::HostLong outChannels, ulmar::HostLong* samplesDone,
    char* params, char* state, ExternStruct* ext);
