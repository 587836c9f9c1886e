// One channel of a response, or a part of it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace ulmar::acoustics {

using Samples = std::span<const float>;

/// What [from, to) has of the samples.
inline Samples part(Samples samples, std::size_t from, std::size_t to) {
  to = std::min(to, samples.size());
  from = std::min(from, to);
  return samples.subspan(from, to - from);
}

}  // namespace ulmar::acoustics
