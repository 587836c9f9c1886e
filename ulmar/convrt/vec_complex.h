// The unit of every stored spectrum: four single-precision complex values, their real
// parts first. One 256-bit load brings in re|im.
#pragma once

#include <cstddef>

/// Lane i is the complex value (re[i], im[i]). Arrays start on 32-byte boundaries.
struct alignas(32) VecComplex {
  float re[4];
  float im[4];
};
static_assert(sizeof(VecComplex) == 32 && offsetof(VecComplex, im) == 16);

namespace ulmar {

inline constexpr int kLanes = 4;

}  // namespace ulmar
