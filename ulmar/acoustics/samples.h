// One channel of an impulse response, or a part of it. Full scale is 1.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace ulmar::acoustics {

using Samples = std::span<const float>;

/// The samples from index `from` to `to`, without the one at `to`; indices beyond the
/// end mean the end.
inline Samples part(Samples samples, std::size_t from, std::size_t to) {
  to = std::min(to, samples.size());
  from = std::min(from, to);
  return samples.subspan(from, to - from);
}

}  // namespace ulmar::acoustics
