// Tests of a kernel's bodies, one case per instruction set. Where the processor lacks
// one, its case is skipped; with ULMAR_REQUIRE_ALL_ISAS set in the environment to
// anything but nothing it fails instead, so that a test machine can prove that no body
// went untested.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "ulmar/base/isa.h"

namespace ulmar::test {

inline std::string nameOf(Isa isa) {
  switch (isa) {
    case Isa::scalar:
      return "scalar";
    case Isa::sse2:
      return "sse2";
    case Isa::avx:
      return "avx";
    case Isa::avx512:
      return "avx512";
  }
  return "unknown";
}

class IsaTest : public testing::TestWithParam<Isa> {
 public:
  static std::string caseName(const testing::TestParamInfo<Isa>& info) {
    return nameOf(info.param);
  }

 protected:
  void SetUp() override {
    if (GetParam() <= bestIsa()) return;
    const char* const required = std::getenv("ULMAR_REQUIRE_ALL_ISAS");
    if (required != nullptr && *required != '\0') {
      FAIL() << "this processor does not run the body for " << nameOf(GetParam());
    }
    GTEST_SKIP() << "this processor does not run the body for " << nameOf(GetParam());
  }
};

}  // namespace ulmar::test
