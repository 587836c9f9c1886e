// Every body of the row kernels against the formula, bit for bit, with inaccessible
// pages behind all operands.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "convrt/row_kernels.h"
#include "tests/support/guarded.h"
#include "tests/support/random.h"

namespace ulmar::test {
namespace {

constexpr Isa kBodies[] = {Isa::scalar, Isa::sse2, Isa::avx, Isa::avx512};

bool runsHere(Isa isa) { return isa <= bestIsa(); }

// `count` random elements, flush with an inaccessible page.
struct Elements : Guarded {
  Elements(int count, Random& random)
      : Guarded(static_cast<std::size_t>(count) * sizeof(VecComplex)) {
    for (std::size_t n = 0; n < size() / sizeof(float); ++n) {
      as<float>()[n] = random.sample();
    }
  }

  VecComplex* begin() const { return as<VecComplex>(); }
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

// Lengths on both sides of what the bodies hold in registers or in a tile, and leads
// that stagger all slots, some or none.
TEST(RowKernels, SlideAlongTheRow) {
  Random random(32);
  for (const Isa isa : kBodies) {
    if (!runsHere(isa)) continue;
    for (const int len :
         {0, 1, 2, 3, 5, 6, 7, 8, 16, 31, 63, 64, 65, 187, 255, 256, 257, 270}) {
      for (int numSlots = 1; numSlots <= kMaxSlots; ++numSlots) {
        for (const int lead : {0, 1, 4, 7, 14, 15, 40}) {
          SCOPED_TRACE(testing::Message()
                       << "body " << static_cast<int>(isa) << ", length " << len << ", "
                       << numSlots << " slots, lead " << lead << ", seed 32");
          const int before = std::min(numSlots - 1, lead);
          const Elements fixed(len, random);
          const Elements memory(before + len, random);
          const Elements sums(2 * numSlots, random);
          VecComplex const* const sliding = memory.begin() + before;

          std::vector<RowSums> expected(sums.as<RowSums>(),
                                        sums.as<RowSums>() + numSlots);
          for (int k = 0; k < numSlots; ++k) {
            for (int i = std::max(0, k - lead); i < len; ++i) {
              addPlainly(expected[static_cast<std::size_t>(k)], sliding[i - k],
                         fixed.begin()[i]);
            }
          }
          rowKernelsFor(isa).slideSums(sums.as<RowSums>(), numSlots, fixed.begin(),
                                       sliding, len, lead);
          ASSERT_EQ(std::memcmp(sums.as(), expected.data(), sums.size()), 0);
        }
      }
    }
  }
}

TEST(RowKernels, AddWholeRows) {
  constexpr int kNumRows = 9;
  Random random(33);
  for (const Isa isa : kBodies) {
    if (!runsHere(isa)) continue;
    for (int len = 0; len <= 17; ++len) {
      SCOPED_TRACE(testing::Message() << "body " << static_cast<int>(isa) << ", length "
                                      << len << ", seed 33");
      const int pitch = len + 3;
      const Elements hist((kNumRows - 1) * pitch + len, random);
      const Elements parts((kNumRows - 1) * pitch + len, random);
      const Elements acc(kNumRows, random);
      const Elements out(kNumRows, random);

      std::vector<VecComplex> expected(out.begin(), out.begin() + kNumRows);
      for (int row = 0; row < kNumRows; ++row) {
        RowSums sums{};
        for (int i = 0; i < len; ++i) {
          addPlainly(sums, hist.begin()[row * pitch + i],
                     parts.begin()[row * pitch + i]);
        }
        VecComplex& target = expected[static_cast<std::size_t>(row)];
        const VecComplex& slot = acc.begin()[row];
        for (int lane = 0; lane < 4; ++lane) {
          target.re[lane] +=
              slot.re[lane] + (sums.direct.re[lane] - sums.direct.im[lane]);
          target.im[lane] +=
              slot.im[lane] + (sums.cross.re[lane] + sums.cross.im[lane]);
        }
      }
      rowKernelsFor(isa).addRows(out.begin(), acc.begin(), hist.begin(), parts.begin(),
                                 pitch, kNumRows, len);
      ASSERT_EQ(std::memcmp(out.as(), expected.data(), out.size()), 0);
    }
  }
}

}  // namespace
}  // namespace ulmar::test
