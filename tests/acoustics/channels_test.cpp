// How alike two channels are, and the regression that all slopes rest on.
#include "tests/acoustics/signals.h"
#include "ulmar/acoustics/correlation.h"
#include "ulmar/acoustics/line_fit.h"

namespace ulmar::acoustics {
namespace {

Signal mixed(const Signal& a, float gainA, const Signal& b, float gainB) {
  return sum(delayed(a, 0, gainA), delayed(b, 0, gainB));
}

TEST(Correlation, HasTheValueAndLagOfTheMix) {
  for (const double rate : kRates) {
    const Signal x = noise(framesIn(0.5, rate), 4);
    const Signal y = noise(x.size(), 5);
    const std::size_t late = framesIn(0.0005, rate);
    const double lag = static_cast<double>(late) / rate;
    const struct {
      const char* name;
      Signal first, second;
      double value;
      std::optional<double> lag;
    } cases[] = {
        {"identical", x, x, 1.0, 0.0},
        {"inverted", x, mixed(x, -0.5F, y, 0.0F), -1.0, 0.0},
        {"second late", x, delayed(x, late), 1.0, lag},
        {"first late", delayed(x, late, 3.0F), x, 1.0, -lag},
        {"inverted and late", x, delayed(x, late, -1.0F), -1.0, lag},
        {"a mix", x, mixed(x, 0.6F, y, 0.8F), 0.6, 0.0},
        {"independent", x, y, 0.0, std::nullopt},
        {"2 ms late", x, delayed(x, 4 * late), 0.0, std::nullopt},
    };
    for (const auto& [name, first, second, value, expectedLag] : cases) {
      SCOPED_TRACE(testing::Message() << name << " at " << rate);
      const auto correlation = correlate(first, second, 0, 0.0, 0.4, rate);
      ASSERT_TRUE(correlation);
      EXPECT_NEAR(correlation->value, value, value == 0.0 ? 0.04 : 0.02);
      ASSERT_EQ(correlation->lag.has_value(), expectedLag.has_value());
      if (expectedLag) {
        EXPECT_NEAR(*correlation->lag, *expectedLag, 1e-9);
      }
    }
  }
}

// Alike from 0.1 s on after the onset, and of opposite sign before.
TEST(Correlation, IsThatOfThePartAfterTheOnset) {
  const double rate = 48000.0;
  const Signal x = noise(48000, 4);
  Signal y = x;
  for (std::size_t n = 0; n < 12000; ++n) y[n] = -x[n];
  const std::size_t onset = 7200;  // 0.15 s
  EXPECT_NEAR(correlate(x, y, onset, 0.0, 0.1, rate)->value, -1.0, 1e-6);
  EXPECT_NEAR(correlate(x, y, onset, 0.1, 0.2, rate)->value, 1.0, 1e-6);
  EXPECT_FALSE(correlate(x, y, onset, 2.0, 3.0, rate));
  EXPECT_FALSE(correlate(x, Signal(x.size()), onset, 0.0, 0.1, rate));
  // The shorter channel goes on in silence.
  const Signal half(x.begin(), x.begin() + 4800);
  EXPECT_NEAR(correlate(x, half, 0, 0.0, 0.2, rate)->value, std::sqrt(0.5), 0.02);
  EXPECT_NEAR(correlate(half, x, 0, 0.0, 0.2, rate)->value, std::sqrt(0.5), 0.02);
}

TEST(LineFit, ErrsLeast) {
  // By hand: mean x 2, mean y 3; sums of squares 10, 8, of products 8.
  const PointXY points[] = {{0, 1}, {1, 3}, {2, 3}, {3, 3}, {4, 5}};
  const LineFit line = fitLine(points);
  EXPECT_NEAR(line.slope, 0.8, 1e-12);
  EXPECT_NEAR(line.intercept, 1.4, 1e-12);
  EXPECT_NEAR(line.correlation, 8.0 / std::sqrt(80.0), 1e-12);
  const PointXY upright[] = {{2, 1}, {2, 5}};
  EXPECT_EQ(fitLine(upright).slope, 0.0);
}

}  // namespace
}  // namespace ulmar::acoustics
