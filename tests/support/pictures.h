// Whether the programs under test draw: without cairo they refuse every picture.
#pragma once

namespace ulmar::test {

inline constexpr bool kDrawsPictures = ULMAR_DRAWS_PICTURES != 0;

}  // namespace ulmar::test

/// For a test whose subject is a picture.
#define ULMAR_NEEDS_PICTURES() \
  if (!ulmar::test::kDrawsPictures) GTEST_SKIP() << "built without cairo"
