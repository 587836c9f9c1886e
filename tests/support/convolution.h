// Time-domain convolution in double precision, and how far the engine may be from it.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/at.h"

namespace ulmar::test {

/// Sample n of the convolution of signal and response.
template <typename Signal, typename Response>
double convolved(const std::vector<Signal>& signal,
                 const std::vector<Response>& response, int n) {
  double sum = 0.0;
  const int first = std::max(n - static_cast<int>(signal.size()) + 1, 0);
  const int end = std::min(n + 1, static_cast<int>(response.size()));
  for (int d = first; d < end; ++d) {
    sum += double{at(signal, n - d)} * double{at(response, d)};
  }
  return sum;
}

/// The 2-norms of a response's partitions, added up.
template <typename Response>
double partitionNorms(const std::vector<Response>& response, int blockLen) {
  double norms = 0.0;
  const int length = static_cast<int>(response.size());
  for (int start = 0; start < length; start += blockLen) {
    double energy = 0.0;
    for (int n = start; n < std::min(start + blockLen, length); ++n) {
      energy += double{at(response, n)} * double{at(response, n)};
    }
    norms += std::sqrt(energy);
  }
  return norms;
}

/// The largest error of one output sample. blockNorm: no smaller than the 2-norm of any
/// input block; norms: partitionNorms over all responses of the output.
///
/// Each of the two spectra is stored with a relative error of u = 2^-24, and a product
/// x h then meets at most numTerms + 6 roundings on its way into the output spectrum:
/// its own, the sum's, of real and imaginary part, of slot and output. Hence the error
/// of a bin is within sqrt(2) (numTerms + 8) u sum |x_v| |h_v|, and by the
/// Cauchy-Schwarz inequality and Parseval's theorem that of a sample of a block's
/// inverse transform within sqrt(2) (numTerms + 8) u sum ||x_v|| ||h_v||. Two blocks
/// overlap in a sample.
inline double errorBound(int numTerms, double blockNorm, double norms) {
  return 2.0 * std::sqrt(2.0) * (numTerms + 8) * 0x1p-24 * blockNorm * norms;
}

}  // namespace ulmar::test
