#include "ulmar/host/partition_sets.h"

#include <algorithm>
#include <cmath>

#include "ulmar/base/align.h"
#include "ulmar/convrt/convrt.h"
#include "ulmar/host/arithmetic_mode.h"
#include "ulmar/host/error.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::host {
namespace {

void checkResponses(const StreamPlan& plan, const Responses& responses) {
  const ParamStruct& params = plan.params();
  if (params.irLen <= 0 && responses.samples.empty()) return;
  if (responses.numInputs != params.numInputs ||
      responses.numOutputs != params.numOutputs) {
    fail("the impulse responses are for ", responses.numInputs, " > ",
         responses.numOutputs, " channels, and the stream's engine has ",
         params.numInputs, " > ", params.numOutputs);
  }
  if (responses.perOutput != (params.perOutputIR != 0)) {
    fail("the impulse responses are one per ", responses.perOutput ? "output" : "pair",
         ", and the stream's engine takes one per ",
         params.perOutputIR != 0 ? "output" : "pair");
  }
  const ResponseShape shape = responses.shape();
  checkShape(shape);
  const std::vector<int>& room = plan.shape().lengths;
  for (std::size_t k = 0; k < shape.lengths.size(); ++k) {
    const int most = k < room.size() ? room[k] : 0;  // a dry plan has room for none
    if (shape.lengths[k] > most) {
      fail("impulse response ", k + 1, " has ", shape.lengths[k],
           " samples, and the geometry holds ", most);
    }
  }
  for (const auto& response : responses.samples) {
    const auto bad =
        std::find_if_not(response.begin(), response.end(),
                         [](float sample) { return std::isfinite(sample); });
    if (bad != response.end()) {
      fail("an impulse response is ", *bad, " at sample ", bad - response.begin(),
           ", and must be finite");
    }
  }
}

// The sets of one engine, which convolves the samples from `start` on, params.irLen of
// them at most.
void buildEngineSets(const ParamStruct& params, const Responses& responses, int start,
                     const Areas& areas, std::size_t engine) {
  const HostLong fftSize = 2 * params.blockLen;
  std::byte* const twiddles = areas.at(engine, Area::fftTwiddles);
  std::byte* const bitRev = areas.at(engine, Area::fftBitRev);
  dUpdateFFTTables(asRecords<HostLong>(bitRev), asRecords<dcmplx>(twiddles), fftSize);

  AreaSizes workSizes;
  const AreaSizes all = areaSizes(params, params.numInputs, params.numOutputs);
  workSizes[Area::fftWork] = all[Area::fftWork];
  workSizes[Area::fwdSpectrum] = all[Area::fwdSpectrum];
  const Areas work({workSizes});
  FFT fft(static_cast<int>(fftSize), asRecords<char>(twiddles), asRecords<char>(bitRev),
          asRecords<char>(work[Area::fftWork]));

  ConvRTState state = engineStateOf(params);
  for (std::size_t index = 0; index < responses.samples.size(); ++index) {
    const auto& samples = responses.samples[index];
    const int first = std::min(start, static_cast<int>(samples.size()));
    const int count = std::min(static_cast<int>(samples.size()) - first, params.irLen);
    std::byte* const set =
        areas.at(engine, Area::irSets) + setOffset(params, static_cast<int>(index));
    ConvRTimpResp(state, fft, asRecords<cmplxFFT>(work[Area::fwdSpectrum]),
                  samples.data() + first, asRecords<VecComplex>(set), count);
  }
}

}  // namespace

PartitionSets::PartitionSets(const StreamPlan& plan, const Responses& responses)
    : plan_((checkResponses(plan, responses), plan)), areas_(plan.setAreas()) {
  if (plan.params().irLen <= 0) return;
  const DefaultArithmetic arithmetic;
  buildEngineSets(plan.params(), responses, 0, areas_, 0);
  if (const auto& tail = plan.tail()) {
    buildEngineSets(tail->params, responses, tail->start, areas_, 1);
  }
}

std::shared_ptr<const PartitionSets> buildPartitionSets(const StreamPlan& plan,
                                                        const Responses& responses) {
  return std::shared_ptr<const PartitionSets>(new PartitionSets(plan, responses));
}

}  // namespace ulmar::host
