// What bounds a row product sum: how fast the processor multiplies and adds.
#pragma once

namespace ulmar::bench {

/// Row products in one turn of each loop.
inline constexpr int kProducts128 = 12;
inline constexpr int kProducts256 = 24;
inline constexpr int kProducts512 = 48;

/// `turns` times 48 multiplications and 48 additions of four, eight or sixteen floats,
/// in six independent sums: two additions per cycle of three cycles' latency take as
/// many. A row product is four of each at 128 bits, two at 256 and one at 512. Eight
/// registers are enough. At 128 bits, where a multiplication overwrites an operand,
/// that comes from memory: not every processor moves registers for nothing.
void mulAdd128(int turns) noexcept;
void mulAdd256(int turns) noexcept;
void mulAdd512(int turns) noexcept;

}  // namespace ulmar::bench
