// The interface's `long`: a 32-bit signed integer in both builds. Where addresses are
// 32 bits wide it is `long` itself, so that mangled names carry it as such.
#pragma once

#include <cstdint>
#include <type_traits>

namespace ulmar {

using HostLong = std::conditional_t<sizeof(void*) == 4, long, std::int32_t>;
static_assert(sizeof(HostLong) == 4);

/// True where the published records have their 32-bit layout, whose offsets the
/// declarations assert.
inline constexpr bool k32BitAddresses = sizeof(void*) == 4;

}  // namespace ulmar
