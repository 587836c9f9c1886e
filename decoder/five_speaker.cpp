#include "decoder/five_speaker.h"

#include "base/constants.h"

namespace ulmar {
namespace {

// Output order.
enum Feed { kLeft, kCentre, kRight, kLeftSurround, kRightSurround };

/// One band's signals.
struct Band {
  double w, x, y;
};

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

/// One band's contribution to the five feeds, in output order.
struct Feeds {
  double feed[5];
};

Feeds decodeBand(const Matrix& matrix, const Band& band) noexcept {
  const auto& [front, surround, centreW, centreX] = matrix;
  const double e = front.w * band.w + front.x * band.x;
  const double g = surround.w * band.w + surround.x * band.x;
  Feeds feeds;
  feeds.feed[kLeft] = e + front.y * band.y;
  feeds.feed[kRight] = e - front.y * band.y;
  feeds.feed[kLeftSurround] = g + surround.y * band.y;
  feeds.feed[kRightSurround] = g - surround.y * band.y;
  feeds.feed[kCentre] = centreW * band.w + centreX * band.x;
  return feeds;
}

}  // namespace

void decodeFiveSpeakers(double const* const* chanBufs, HostLong pos, double* outFrame,
                        float centreGain, cApXOverCfs<float>* xoverCfs,
                        sApXOverSts<float>* xoverSts, bool plainXY, bool passThrough,
                        float yGain) noexcept {
  if (passThrough) {
    outFrame[kLeft] = chanBufs[0][pos];
    outFrame[kRight] = chanBufs[1][pos];
    outFrame[kLeftSurround] = chanBufs[2][pos];
    outFrame[kRightSurround] = chanBufs[3][pos];
    outFrame[kCentre] = double{centreGain} * chanBufs[4][pos];
    return;
  }

  const double w = chanBufs[0][pos];
  double x = chanBufs[1][pos];
  double y = double{yGain} * chanBufs[2][pos];
  if (!plainXY) {
    const double sum = (x + y) * kOverSqrt2;
    y = (x - y) * kOverSqrt2;
    x = sum;
  }

  Band low;
  Band high;
  APSplit(w, &low.w, &high.w, xoverCfs, &xoverSts[0]);
  APSplit(x, &low.x, &high.x, xoverCfs, &xoverSts[1]);
  APSplit(y, &low.y, &high.y, xoverCfs, &xoverSts[2]);

  const Feeds lowFeeds = decodeBand(kLowBand, low);
  const Feeds highFeeds = decodeBand(kHighBand, high);
  for (int j = 0; j < 5; ++j) outFrame[j] = lowFeeds.feed[j] + highFeeds.feed[j];
}

}  // namespace ulmar
