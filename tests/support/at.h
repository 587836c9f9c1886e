// Elements by signed index.
#pragma once

#include <cstddef>

namespace ulmar::test {

template <typename Values>
auto& at(Values& values, int index) {
  return values[static_cast<std::size_t>(index)];
}

}  // namespace ulmar::test
