#include "ulmar/spectral/UpdateOstinFFT.h"

#include <cmath>

namespace {

using ulmar::HostLong;

constexpr double kTwoPi = 6.283185307179586;
constexpr double kPi = 3.141592653589793;
constexpr double kHalfPi = 1.5707963267948966;

enum WinType : HostLong {
  kEqualPowerCubic = 1,
  kEqualPowerQuintic = 2,
  kRaisedCosine = 3,
  kCubic = 4,
  kQuintic = 5,
  kConstant = 6,
  kHamming = 7,
};

// log2 of `size`, rounded to the nearest integer.
int sizeExponent(HostLong size) {
  return static_cast<int>(std::log(static_cast<double>(size)) / std::log(2.0) + 0.5);
}

void fillBitReversal(HostLong* table, HostLong size) {
  const int numBits = sizeExponent(size);
  for (HostLong i = 0; i < size; ++i) {
    HostLong reversed = 0;
    HostLong rest = i;
    for (int bit = 0; bit < numBits; ++bit) {
      reversed = 2 * reversed + (rest & 1);
      rest >>= 1;
    }
    table[i] = reversed;
  }
}

template <typename Complex>
void fillTables(HostLong* bitRevTab, Complex* twiddleTab, HostLong size) {
  if (size <= 0) return;
  fillBitReversal(bitRevTab, size);
  using Real = decltype(Complex::re);
  for (HostLong k = 0; k < size / 2; ++k) {
    const double angle = (static_cast<double>(k) * kTwoPi) / static_cast<double>(size);
    twiddleTab[k].re = static_cast<Real>(std::cos(angle));
    twiddleTab[k].im = static_cast<Real>(-std::sin(angle));
  }
}

// Fills the table with curve(p) at p = first, first + step, ... The position is
// advanced by addition, as the published tables are.
template <typename Curve>
void fillCurve(float* table, HostLong size, double first, double step, Curve curve) {
  double position = first;
  for (HostLong i = 0; i < size; ++i) {
    table[i] = static_cast<float>(curve(position));
    position += step;
  }
}

// 6h^5 - 15h^4 + 10h^3 = h^3 quinticFactor(h).
double quinticFactor(double h) { return 6.0 * (h * h) - 15.0 * h + 10.0; }

}  // namespace

void UpdateFFTTables(HostLong* bitRevTab, cmplx* twiddleTab, HostLong fftSize) {
  fillTables(bitRevTab, twiddleTab, fftSize);
}

void dUpdateFFTTables(HostLong* bitRevTab, dcmplx* twiddleTab, HostLong fftSize) {
  fillTables(bitRevTab, twiddleTab, fftSize);
}

void FillSinCosTabDSP(HostLong n, float* sinTab, float* cosTab) {
  const double step = kTwoPi / static_cast<double>(n + n);
  for (HostLong i = 0; i < n; ++i) {
    cosTab[i] = static_cast<float>(-std::cos(static_cast<double>(i) * step));
  }
  for (HostLong i = 0; i < n; ++i) {
    sinTab[i] = static_cast<float>(-std::sin(static_cast<double>(i) * step));
  }
}

void FillWinTab(HostLong size, HostLong winType, HostLong normLength, bool normalize,
                float* winTab) {
  const double scale = normalize ? 2.0 / static_cast<double>(normLength) : 1.0;
  const double steps = static_cast<double>(static_cast<float>(size));

  const double angleStep = kPi / steps;
  const auto fillByAngle = [&](auto curve) {
    fillCurve(winTab, size, 0.5 * angleStep, angleStep, curve);
  };
  // Positions from -1/2 to 1/2.
  const double step = 1.0 / steps;
  const auto fillByPosition = [&](auto curve) {
    fillCurve(winTab, size, 0.5 * step - 0.5, step, curve);
  };

  switch (winType) {
    case kEqualPowerCubic:
      return fillByPosition([=](double x) {
        const double c = std::cos((x - 0.5) * kPi);
        return ((1.0 + c) * 0.5) * std::sqrt((2.0 - c) * scale);
      });
    case kEqualPowerQuintic:
      return fillByPosition([=](double x) {
        const double c = std::cos((x - 0.5) * kHalfPi);
        const double h = c * c;
        return c * h * std::sqrt(quinticFactor(h) * scale);
      });
    case kRaisedCosine:
      return fillByAngle(
          [=](double angle) { return (1.0 - std::cos(angle)) * (scale * 0.5); });
    case kCubic:
      return fillByPosition([=](double x) {
        const double c = std::cos((x - 0.5) * kPi);
        return (2.0 - c) * ((1.0 + c) * (1.0 + c)) * (scale * 0.25);
      });
    case kQuintic:
      return fillByPosition([=](double x) {
        const double c = std::cos((x - 0.5) * kHalfPi);
        const double h = c * c;
        return quinticFactor(h) * (h * h * h) * scale;
      });
    case kConstant:
      return fillByPosition([=](double /*x*/) {
        return normalize ? 1.0 / static_cast<double>(normLength) : 1.0;
      });
    case kHamming:
      return fillByAngle(
          [=](double angle) { return (std::cos(angle) * -0.46 + 0.54) * scale; });
    default:
      return fillByAngle([=](double angle) {
        return std::sqrt((1.0 - std::cos(angle)) * (scale * 0.5));
      });
  }
}
