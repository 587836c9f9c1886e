// Addresses of the host's memory areas. Every area is used from the next multiple of
// 32 bytes on, the width of one VecComplex and of one 256-bit vector.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ulmar {

inline constexpr std::size_t kAreaAlign = 32;

/// The host's bytes from `address` on, as elements of type T. All conversions from
/// untyped host memory go through here.
template <typename T>
T* asRecords(void* address) noexcept {
  return static_cast<T*>(address);
}

/// The same from the first multiple of 32 bytes at or after `address`: an area of n
/// bytes needs up to 31 bytes of slack behind it.
template <typename T>
T* alignedArea(void* address) noexcept {
  const auto past = reinterpret_cast<std::uintptr_t>(address) % kAreaAlign;
  const std::size_t slack = past == 0 ? 0 : kAreaAlign - past;
  return asRecords<T>(static_cast<char*>(address) + slack);
}

}  // namespace ulmar
