// Constants that more than one floor uses.
#pragma once

namespace ulmar {

/// The double nearest sqrt(1/2).
inline constexpr double kOverSqrt2 = 0.7071067811865476;

}  // namespace ulmar
