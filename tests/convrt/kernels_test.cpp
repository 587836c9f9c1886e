// Every body of the row kernels against the formula, bit for bit, with inaccessible
// pages behind all operands.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/guarded.h"
#include "tests/support/isa.h"
#include "tests/support/random.h"
#include "tests/support/values.h"
#include "ulmar/convrt/row_kernels.h"

namespace ulmar::test {
namespace {

class RowBodies : public IsaTest {};

INSTANTIATE_TEST_SUITE_P(, RowBodies,
                         testing::Values(Isa::scalar, Isa::sse2, Isa::avx, Isa::avx512),
                         RowBodies::caseName);

// `count` elements, one end flush with an inaccessible page.
struct Elements : Guarded {
  Elements(int count, Values kind, Random& random, Flush flush = Flush::atEnd)
      : Guarded(static_cast<std::size_t>(count) * sizeof(VecComplex), flush) {
    for (std::size_t n = 0; n < size() / sizeof(float); ++n) {
      as<float>()[n] = valueOf<float>(kind, random);
    }
  }

  VecComplex* begin() const { return as<VecComplex>(); }

  // In the memory of `expected`'s elements.
  template <typename T>
  bool hold(const std::vector<T>& expected) const {
    return sameValues(as<float>(), reinterpret_cast<float const*>(expected.data()),
                      size() / sizeof(float));
  }
};

// One product, lane by lane.
void addPlainly(RowSums& sums, const VecComplex& a, const VecComplex& b) {
  for (int lane = 0; lane < 4; ++lane) {
    sums.direct.re[lane] += a.re[lane] * b.re[lane];
    sums.direct.im[lane] += a.im[lane] * b.im[lane];
    sums.cross.re[lane] += a.re[lane] * b.im[lane];
    sums.cross.im[lane] += a.im[lane] * b.re[lane];
  }
}

struct Run {
  int len, numSlots, lead;
};

void expectFormula(Isa isa, const Run& run, Values kind, Random& random) {
  const auto [len, numSlots, lead] = run;
  SCOPED_TRACE(testing::Message()
               << "length " << len << ", " << numSlots << " slots, lead " << lead
               << ", values " << static_cast<int>(kind) << ", seed 32");
  const int before = std::min(numSlots - 1, lead);
  const Elements fixed(len, kind, random);
  // Either end: the slots reach back to the first element and on to the last.
  const Flush flush = len % 2 == 0 ? Flush::atEnd : Flush::atStart;
  const Elements memory(before + len, kind, random, flush);
  const Elements sums(2 * numSlots, kind, random);
  VecComplex const* const sliding = memory.begin() + before;

  std::vector<RowSums> expected(sums.as<RowSums>(), sums.as<RowSums>() + numSlots);
  for (int k = 0; k < numSlots; ++k) {
    for (int i = std::max(0, k - lead); i < len; ++i) {
      addPlainly(expected[static_cast<std::size_t>(k)], sliding[i - k],
                 fixed.begin()[i]);
    }
  }
  rowKernelsFor(isa).slideSums(sums.as<RowSums>(), numSlots, fixed.begin(), sliding,
                               len, lead);
  ASSERT_TRUE(sums.hold(expected));
}

// Lengths on both sides of what the bodies hold in registers or in a tile, and leads
// that stagger all slots, some or none.
TEST_P(RowBodies, SlideAlongTheRow) {
  Random random(32);
  for (const int len : {0, 1, 2, 3, 5, 6, 7, 8, 16, 31, 63, 64, 65, 187, 256, 270}) {
    for (int numSlots = 1; numSlots <= kMaxSlots; ++numSlots) {
      for (const int lead : {0, 1, 4, 7, 14, 15, 40}) {
        for (const Values kind : kAllValues) {
          expectFormula(GetParam(), {len, numSlots, lead}, kind, random);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

void expectRows(Isa isa, int len, Values kind, Random& random) {
  constexpr int kNumRows = 9;
  SCOPED_TRACE(testing::Message() << "length " << len << ", values "
                                  << static_cast<int>(kind) << ", seed 33");
  const int pitch = len + 3;
  const Elements hist((kNumRows - 1) * pitch + len, kind, random);
  const Elements parts((kNumRows - 1) * pitch + len, kind, random);
  const Elements acc(kNumRows, kind, random);
  const Elements out(kNumRows, kind, random);

  std::vector<VecComplex> expected(out.begin(), out.begin() + kNumRows);
  for (int row = 0; row < kNumRows; ++row) {
    RowSums sums{};
    for (int i = 0; i < len; ++i) {
      addPlainly(sums, hist.begin()[row * pitch + i], parts.begin()[row * pitch + i]);
    }
    VecComplex& target = expected[static_cast<std::size_t>(row)];
    const VecComplex& slot = acc.begin()[row];
    for (int lane = 0; lane < 4; ++lane) {
      target.re[lane] += slot.re[lane] + (sums.direct.re[lane] - sums.direct.im[lane]);
      target.im[lane] += slot.im[lane] + (sums.cross.re[lane] + sums.cross.im[lane]);
    }
  }
  rowKernelsFor(isa).addRows(out.begin(), acc.begin(), hist.begin(), parts.begin(),
                             pitch, kNumRows, len);
  ASSERT_TRUE(out.hold(expected));
}

TEST_P(RowBodies, AddWholeRows) {
  Random random(33);
  for (int len = 0; len <= 17; ++len) {
    for (const Values kind : kAllValues) {
      expectRows(GetParam(), len, kind, random);
      if (HasFatalFailure()) return;
    }
  }
}

}  // namespace
}  // namespace ulmar::test
