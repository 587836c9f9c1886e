#include "ulmar/host/surround_responses.h"

#include <algorithm>
#include <functional>
#include <numbers>

#include "ulmar/host/error.h"

namespace ulmar::host {
namespace {

constexpr double kHalfPower = 1.0 / std::numbers::sqrt2;
constexpr std::size_t kPerSource = 3;  // W, X, Y
constexpr std::size_t kNumFeeds = 5;
constexpr std::size_t kCentre = 4;

using Channel = std::vector<float>;

Channel scaled(const Channel& x, double gain) {
  Channel result(x.size());
  std::ranges::transform(x, result.begin(), [gain](float sample) {
    return static_cast<float>(gain * double{sample});
  });
  return result;
}

// gain (x + sign y), rounded once.
Channel combined(const Channel& x, double sign, const Channel& y, double gain) {
  Channel result(x.size());
  std::ranges::transform(x, y, result.begin(), [sign, gain](float a, float b) {
    return static_cast<float>(gain * (double{a} + sign * double{b}));
  });
  return result;
}

// The second half of the channels added to the first.
Planar bothSources(const Planar& channels) {
  Planar result;
  const std::size_t half = channels.size() / 2;
  for (std::size_t k = 0; k < half; ++k) {
    result.push_back(combined(channels[k], 1.0, channels[half + k], 1.0));
  }
  return result;
}

void refuseInput(int channels) {
  if (channels == 1 || channels == 2 || channels == 5 || channels == 6) return;
  fail("the input has ", channels, " channels, and 1, 2, 5 or 6 are supported");
}

}  // namespace

Planar horizontalBFormat(const Planar& channels, BFormat convention) {
  const std::size_t count = channels.size();
  const bool withHeight = count == 4 || count == 8 || count == 12;
  const bool horizontal = count == 3 || count == 6 || count == 9;
  if (convention == BFormat::ambix && !withHeight) {
    fail(
        "the impulse response has ", count,
        " channels, and AmbiX of first order has 4, 8 or 12: W, Y, Z and X per source");
  }
  if (!withHeight && !horizontal) {
    fail(
        "the impulse response has ", count,
        " channels, and FuMa B-format has 3, 6 or 9 (W, X, Y per source) or 4, 8 or 12 "
        "(W, X, Y, Z)");
  }
  Planar wxy;
  const std::size_t perSource = withHeight ? 4 : 3;
  for (std::size_t first = 0; first < count; first += perSource) {
    if (convention == BFormat::fuma) {
      wxy.insert(wxy.end(),
                 {channels[first], channels[first + 1], channels[first + 2]});
    } else {
      wxy.insert(wxy.end(), {scaled(channels[first], kHalfPower), channels[first + 3],
                             channels[first + 1]});
    }
  }
  return wxy;
}

Responses arrangeBFormat(const Planar& wxy) {
  return {static_cast<int>(wxy.size() / kPerSource), kPerSource, false, wxy};
}

Responses arrangeMidSide(const Planar& wxy) {
  const Channel& w = wxy[0];
  const Channel& x = wxy[1];
  const Channel& y = wxy[2];
  return {3, 3, true, {w, combined(x, 1.0, y, 1.0), combined(y, -1.0, x, 1.0)}};
}

Responses arrangeSides(const Planar& wxy) {
  const Channel w = scaled(wxy[0], kHalfPower);
  const Channel toLeft = combined(wxy[1], 1.0, wxy[2], kHalfPower);
  const Channel toRight = combined(wxy[1], -1.0, wxy[2], kHalfPower);
  return {2, 3, false, {w, toLeft, toLeft, w, toRight, scaled(toRight, -1.0)}};
}

Responses arrangeForDecoding(const Planar& wxy, int inputChannels) {
  refuseInput(inputChannels);
  const bool mono = inputChannels == 1;
  switch (wxy.size()) {
    case kPerSource:
      if (mono) return arrangeBFormat(wxy);
      return inputChannels == 2 ? arrangeMidSide(wxy) : arrangeSides(wxy);
    case 2 * kPerSource:
      return arrangeBFormat(mono ? bothSources(wxy) : wxy);
    default:
      fail("the impulse response has ", wxy.size(),
           " channels, and 3 or 6 can be decoded: W, X and Y of 1 or 2 sources");
  }
}

Responses arrangeFeeds(const Planar& feeds, int inputChannels) {
  refuseInput(inputChannels);
  const bool mono = inputChannels == 1;
  if (feeds.size() != kNumFeeds && feeds.size() != 2 * kNumFeeds) {
    fail("the impulse response has ", feeds.size(),
         " channels, and 5 or 10 are supported as speaker feeds");
  }
  if (feeds.size() == kNumFeeds && !mono) return {2, kNumFeeds, true, feeds};
  Planar perInput = feeds.size() == kNumFeeds || !mono ? feeds : bothSources(feeds);
  for (std::size_t k = kCentre; k < perInput.size(); k += kNumFeeds) {
    perInput[k] = scaled(perInput[k], std::numbers::sqrt2);
  }
  const int numInputs = static_cast<int>(perInput.size() / kNumFeeds);
  return {numInputs, kNumFeeds, false, perInput};
}

}  // namespace ulmar::host
