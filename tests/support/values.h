// Operands that ordinary noise does not contain, and their comparison.
#pragma once

#include <cstddef>
#include <cstring>
#include <limits>

#include "tests/support/random.h"

namespace ulmar::test {

/// Noise; zeros of either sign and denormals; noise with a few infinities, largest
/// values and not-a-numbers.
enum class Values { ordinary, tiny, wild };
inline constexpr Values kAllValues[] = {Values::ordinary, Values::tiny, Values::wild};

template <typename T>
T valueOf(Values kind, Random& random) {
  using Limits = std::numeric_limits<T>;
  constexpr T kTiny[] = {T{0}, -T{0}, Limits::denorm_min(), -Limits::denorm_min()};
  constexpr T kWild[] = {Limits::infinity(), -Limits::infinity(), Limits::max(),
                         Limits::quiet_NaN()};
  const int choice = random.below(4);
  const T sample{random.sample()};
  if (kind == Values::tiny && random.below(2) == 0) return kTiny[choice];
  if (kind == Values::tiny) return sample * Limits::min();
  if (kind == Values::wild && random.below(32) == 0) return kWild[choice];
  return sample;
}

/// The same bits, or both not a number, whose payload may differ.
template <typename T>
bool sameValues(T const* a, T const* b, std::size_t count) {
  for (std::size_t n = 0; n < count; ++n) {
    if (std::memcmp(a + n, b + n, sizeof(T)) != 0 && (a[n] == a[n] || b[n] == b[n])) {
      return false;
    }
  }
  return true;
}

}  // namespace ulmar::test
