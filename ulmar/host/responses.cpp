#include "ulmar/host/responses.h"

#include <algorithm>
#include <utility>

#include "ulmar/host/error.h"
#include "ulmar/host/raised_cosine.h"

namespace ulmar::host {
namespace {

std::vector<float> sum(const std::vector<float>& a, const std::vector<float>& b) {
  std::vector<float> result(a.size());
  std::transform(a.begin(), a.end(), b.begin(), result.begin(),
                 [](float x, float y) { return x + y; });
  return result;
}

}  // namespace

int ResponseShape::length() const {
  return lengths.empty() ? 0 : *std::max_element(lengths.begin(), lengths.end());
}

int ResponseShape::lengthBetween(int input, int output) const {
  const int index = table().indexOf(input, output);
  return index == SetTable::kNone ? 0 : lengths[static_cast<std::size_t>(index)];
}

int ResponseShape::numPairs() const {
  int count = 0;
  for (int input = 0; input < numInputs; ++input) {
    for (int output = 0; output < numOutputs; ++output) {
      if (table().indexOf(input, output) != SetTable::kNone) ++count;
    }
  }
  return count;
}

ResponseShape shapeOf(const ParamStruct& params) {
  const SetTable table = setTableOf(params);
  const auto numSets = static_cast<std::size_t>(table.numSets());
  return {table.numInputs, table.numOutputs, table.perOutput,
          std::vector<int>(numSets, params.irLen)};
}

void checkShape(const ResponseShape& shape) {
  const int needed = shape.table().numSets();
  if (std::cmp_not_equal(shape.lengths.size(), needed)) {
    fail("the stream has ", shape.lengths.size(), " impulse responses, and needs ",
         needed);
  }
  const int least = *std::min_element(shape.lengths.begin(), shape.lengths.end());
  if (least < 0) {
    fail("an impulse response has ", least, " samples, and the least is 0");
  }
}

ResponseShape Responses::shape() const {
  ResponseShape result{numInputs, numOutputs, perOutput, {}};
  for (const auto& response : samples) {
    result.lengths.push_back(static_cast<int>(response.size()));
  }
  return result;
}

const std::vector<float>* Responses::between(int input, int output) const {
  const int index = SetTable{numInputs, numOutputs, perOutput}.indexOf(input, output);
  return index == SetTable::kNone ? nullptr : &samples[static_cast<std::size_t>(index)];
}

Responses arrangeResponses(const Planar& channels, int inputChannels) {
  if (inputChannels != 1 && inputChannels != 2) {
    fail("the input has ", inputChannels, " channels, and 1 or 2 are supported");
  }
  const bool mono = inputChannels == 1;
  switch (channels.size()) {
    case 1:
      if (mono) return {1, 1, true, channels};
      return {2, 2, true, {channels[0], channels[0]}};
    case 2:
      return {inputChannels, 2, true, channels};
    case 4:
      if (mono) {
        return {
            1, 2, true, {sum(channels[0], channels[2]), sum(channels[1], channels[3])}};
      }
      return {2, 2, false, channels};
    default:
      fail("the impulse response has ", channels.size(),
           " channels, and 1, 2 or 4 are supported");
  }
}

Responses monoSum(const Responses& pair) {
  std::vector<float> mono(static_cast<std::size_t>(pair.length()));
  for (int input = 0; input < pair.numInputs; ++input) {
    for (int output = 0; output < pair.numOutputs; ++output) {
      const auto* const response = pair.between(input, output);
      if (response == nullptr) continue;
      for (std::size_t n = 0; n < response->size(); ++n) {
        mono[n] += 0.5F * (*response)[n];
      }
    }
  }
  return {1, 1, false, {std::move(mono)}};
}

void delay(Responses& responses, int samples) {
  for (auto& response : responses.samples) {
    response.insert(response.begin(), static_cast<std::size_t>(samples), 0.0F);
  }
}

void fadeOut(std::vector<float>& response, std::int64_t samples) {
  const std::int64_t start = std::ssize(response) - samples;
  for (std::int64_t k = 0; k < samples; ++k) {
    const double part = (static_cast<double>(k) + 0.5) / static_cast<double>(samples);
    float& sample = response[static_cast<std::size_t>(start + k)];
    sample = static_cast<float>(sample * raisedCosine(part));
  }
}

}  // namespace ulmar::host
