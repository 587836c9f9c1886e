// The scalar butterflies of a radix-2 transform, decimation in frequency, for a complex
// type with parts `re` and `im` in either precision. Every operation is rounded as it
// is written; nothing is contracted.
#pragma once

namespace ulmar {

template <typename Complex>
Complex sum(Complex a, Complex b) noexcept {
  return {a.re + b.re, a.im + b.im};
}

template <typename Complex>
Complex difference(Complex a, Complex b) noexcept {
  return {a.re - b.re, a.im - b.im};
}

/// d w, the forward twiddle product.
template <typename Complex>
Complex times(Complex d, Complex w) noexcept {
  return {w.re * d.re - w.im * d.im, w.im * d.re + w.re * d.im};
}

/// d conj(w), the inverse one.
template <typename Complex>
Complex timesConjugate(Complex d, Complex w) noexcept {
  return {w.re * d.re + w.im * d.im, w.re * d.im - w.im * d.re};
}

/// One pass over numPoints values: butterflies a + b, product(a - b, w) between
/// elements `span` apart, in groups of 2 span. Butterfly i of a group takes twiddle
/// i stride. in and out may be one array.
template <typename Complex, typename Product>
void butterflyPass(Complex const* in, Complex* out, Complex const* twiddles,
                   int numPoints, int span, int stride, Product product) noexcept {
  for (int group = 0; group < numPoints; group += 2 * span) {
    for (int i = 0; i < span; ++i) {
      const Complex a = in[group + i];
      const Complex b = in[group + i + span];
      out[group + i] = sum(a, b);
      out[group + i + span] = product(difference(a, b), twiddles[i * stride]);
    }
  }
}

/// The pass of span 1, whose twiddle is 1, in place.
template <typename Complex>
void lastPass(Complex* data, int numPoints) noexcept {
  for (int k = 0; k < numPoints; k += 2) {
    const Complex a = data[k];
    const Complex b = data[k + 1];
    data[k] = sum(a, b);
    data[k + 1] = difference(a, b);
  }
}

}  // namespace ulmar
