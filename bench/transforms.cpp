#include "bench/transforms.h"

#include <fftw3.h>

#include <algorithm>
#include <vector>

#include "bench/convolver.h"
#include "ulmar/fft/fft.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::bench {
namespace {

std::vector<double> noiseFor(int size) {
  const std::vector<float> values = noise(size, 4);
  return {values.begin(), values.end()};
}

template <typename T>
char* bytes(std::vector<T>& values) {
  return reinterpret_cast<char*>(values.data());
}

class Own final : public Transform {
 public:
  Own(int size, bool inverse)
      : inverse_(inverse),
        source_(noiseFor(size)),
        spectrum_(static_cast<std::size_t>(size / 2)),
        twiddles_(static_cast<std::size_t>(size / 2)),
        bitRev_(static_cast<std::size_t>(size)),
        work_(3 * static_cast<std::size_t>(size)),
        fft_(size, bytes(twiddles_), bytes(bitRev_), bytes(work_)) {
    dUpdateFFTTables(bitRev_.data(), twiddles_.data(), size);
  }

  void run() override {
    if (!inverse_) {
      for (int k = 0; k < kRun; ++k) fft_.rcfft(source_.data(), spectrum_.data());
      return;
    }
    std::ranges::copy(source_, &spectrum_[0].re);
    for (int k = 0; k < kRun; ++k) fft_.crifft(spectrum_.data());
  }

 private:
  bool inverse_;
  std::vector<double> source_;
  std::vector<cmplxFFT> spectrum_;
  std::vector<dcmplx> twiddles_;
  std::vector<HostLong> bitRev_;
  std::vector<double> work_;
  FFT fft_;
};

class Fftw final : public Transform {
 public:
  Fftw(int size, bool inverse)
      : inverse_(inverse),
        source_(noiseFor(size)),
        from_(static_cast<std::size_t>(size + 2)),
        to_(from_),
        there_(plan(from_, to_)),
        back_(inverse ? plan(to_, from_) : nullptr) {
    std::ranges::copy(source_, from_.begin());
  }
  ~Fftw() override {
    fftw_destroy_plan(there_);
    if (inverse_) fftw_destroy_plan(back_);
  }

  void run() override {
    if (!inverse_) {
      for (int k = 0; k < kRun; ++k) fftw_execute(there_);
      return;
    }
    std::ranges::copy(source_, from_.begin());
    for (int k = 0; k < kRun; k += 2) {
      fftw_execute(there_);
      fftw_execute(back_);
    }
  }

 private:
  fftw_plan plan(std::vector<double>& in, std::vector<double>& out) const {
    const int size = static_cast<int>(source_.size());
    const auto bins = [](std::vector<double>& values) {
      return reinterpret_cast<fftw_complex*>(values.data());
    };
    return inverse_ ? fftw_plan_dft_c2r_1d(size, bins(in), out.data(), FFTW_PATIENT)
                    : fftw_plan_dft_r2c_1d(size, in.data(), bins(out), FFTW_PATIENT);
  }

  bool inverse_;
  std::vector<double> source_;
  std::vector<double> from_;
  std::vector<double> to_;
  fftw_plan there_;
  fftw_plan back_;
};

}  // namespace

std::unique_ptr<Transform> makeTransform(int size, bool inverse) {
  return std::make_unique<Own>(size, inverse);
}

std::unique_ptr<Transform> makeFftwTransform(int size, bool inverse) {
  return std::make_unique<Fftw>(size, inverse);
}

}  // namespace ulmar::bench
