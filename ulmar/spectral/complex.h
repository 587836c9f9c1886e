// The complex types of the analysis toolkit. An array of 2n reals is also an array of n
// complex values: sample 2k is `re` of element k, sample 2k + 1 its `im`.
#pragma once

struct cmplx {
  float re;
  float im;
};
static_assert(sizeof(cmplx) == 8);

struct dcmplx {
  double re;
  double im;
};
static_assert(sizeof(dcmplx) == 16);
