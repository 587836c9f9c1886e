#include "ulmar/decoder/five_speaker.h"

#include <algorithm>

#include "ulmar/base/constants.h"
#include "ulmar/decoder/band_kernels.h"

namespace ulmar {
namespace {

// Output order.
enum Feed { kLeft, kCentre, kRight, kLeftSurround, kRightSurround };

/// Gains of W, X and Y in a pair of feeds that mirror each other in the sign of Y.
struct PairGains {
  double w, x, y;
};

struct Matrix {
  PairGains front;
  PairGains surround;
  double centreW, centreX;
};

constexpr Matrix kLowBand = {
    .front = {0.26813, 0.38191, 0.50527},
    .surround = {0.56092, -0.49852, 0.45666},
    .centreW = 0.3419,
    .centreX = 0.23322,
};
constexpr Matrix kHighBand = {
    .front = {0.44022, 0.23386, 0.54094},
    .surround = {0.78238, -0.55322, 0.42374},
    .centreW = 0.38324,
    .centreX = 0.37228,
};

void passChannels(double const* const* channels, HostLong pos, int count,
                  double* const* feeds, double centreGain) noexcept {
  std::copy_n(channels[0] + pos, count, feeds[kLeft]);
  std::copy_n(channels[1] + pos, count, feeds[kRight]);
  std::copy_n(channels[2] + pos, count, feeds[kLeftSurround]);
  std::copy_n(channels[3] + pos, count, feeds[kRightSurround]);
  for (int i = 0; i < count; ++i) feeds[kCentre][i] = centreGain * channels[4][pos + i];
}

void takeSignals(double const* const* channels, HostLong pos, int count, bool plainXY,
                 double yGain, SignalRun& signals) noexcept {
  std::copy_n(channels[0] + pos, count, signals.w);
  for (int i = 0; i < count; ++i) {
    const double x = channels[1][pos + i];
    const double y = yGain * channels[2][pos + i];
    signals.x[i] = plainXY ? x : (x + y) * kOverSqrt2;
    signals.y[i] = plainXY ? y : (x - y) * kOverSqrt2;
  }
}

// One frame of a mirrored pair: the feeds with + and - Y.
struct PairValue {
  double plus, minus;
};

PairValue decodePair(const PairGains& gains, const SignalRun& band, int i) noexcept {
  const double shared = gains.w * band.w[i] + gains.x * band.x[i];
  const double side = gains.y * band.y[i];
  return {shared + side, shared - side};
}

void decodeBands(const SignalRun& low, const SignalRun& high, int count,
                 double* const* feeds) noexcept {
  const auto decodeTo = [&](double* plus, double* minus, const PairGains& lowGains,
                            const PairGains& highGains) {
    for (int i = 0; i < count; ++i) {
      const PairValue below = decodePair(lowGains, low, i);
      const PairValue above = decodePair(highGains, high, i);
      plus[i] = below.plus + above.plus;
      minus[i] = below.minus + above.minus;
    }
  };
  decodeTo(feeds[kLeft], feeds[kRight], kLowBand.front, kHighBand.front);
  decodeTo(feeds[kLeftSurround], feeds[kRightSurround], kLowBand.surround,
           kHighBand.surround);
  for (int i = 0; i < count; ++i) {
    feeds[kCentre][i] = (kLowBand.centreW * low.w[i] + kLowBand.centreX * low.x[i]) +
                        (kHighBand.centreW * high.w[i] + kHighBand.centreX * high.x[i]);
  }
}

}  // namespace

void decodeFiveSpeakers(const SpeakerDecoding& decoding, double const* const* channels,
                        HostLong pos, int count, double* const* feeds) noexcept {
  if (decoding.passThrough) {
    passChannels(channels, pos, count, feeds, double{decoding.centreGain});
    return;
  }
  SignalRun signals;
  SignalRun high;
  takeSignals(channels, pos, count, decoding.plainXY, double{decoding.yGain}, signals);
  splitBands(signals, high, count, decoding.xoverCfs, decoding.xoverSts);
  decodeBands(signals, high, count, feeds);
}

}  // namespace ulmar
