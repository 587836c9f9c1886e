// The toolkit's transforms on memory of exactly the sizes that they may touch: what is
// only read is read-only, what is written starts as NaN, and a fault is a test that
// fails.
#pragma once

#include <bit>
#include <cstring>
#include <vector>

#include "tests/support/at.h"
#include "tests/support/guarded.h"
#include "ulmar/spectral/OstinFFT.h"
#include "ulmar/spectral/UpdateOstinFFT.h"

namespace ulmar::test {

enum class Place { apart, inPlace };

template <typename Value>
std::vector<Value> taken(const Guarded& memory) {
  std::vector<Value> values(memory.size() / sizeof(Value));
  std::memcpy(values.data(), memory.as(), memory.size());
  return values;
}

template <typename Value>
void put(const std::vector<Value>& values, const Guarded& memory) {
  std::memcpy(memory.as(), values.data(), values.size() * sizeof(Value));
}

template <typename Value>
bool sameBits(const std::vector<Value>& a, const std::vector<Value>& b) {
  return a.size() == b.size() &&
         std::memcmp(a.data(), b.data(), a.size() * sizeof(Value)) == 0;
}

/// One size and its tables.
class Toolkit {
 public:
  explicit Toolkit(int size_)
      : size(size_),
        log2Size(std::countr_zero(static_cast<unsigned>(size_))),
        bitRev_(bytes<HostLong>(size_)),
        twiddles_(bytes<cmplx>(size_ / 2)) {
    UpdateFFTTables(bitRev(), twiddles(), size);
    bitRev_.makeReadOnly();
    twiddles_.makeReadOnly();
  }

  /// In natural order. log2Points: log2Size, or one less for half the size.
  std::vector<cmplx> complex(const std::vector<cmplx>& input, Place place) const {
    const int points = static_cast<int>(input.size());
    const int log2Points = std::countr_zero(input.size());
    const bool halfSize = points != size;
    const Guarded out(bytes<cmplx>(points));
    if (place == Place::inPlace) {
      put(input, out);
      ::cmplxfft(out.as<cmplx>(), out.as<cmplx>(), twiddles(), log2Points, halfSize);
    } else {
      ::cmplxfft(ReadOnly(input).data(), out.as<cmplx>(), twiddles(), log2Points,
                 halfSize);
    }
    const std::vector<cmplx> reversed = taken<cmplx>(out);
    std::vector<cmplx> natural;
    for (int k = 0; k < points; ++k) {
      natural.push_back(at(reversed, bitRev()[k] >> (halfSize ? 1 : 0)));
    }
    return natural;
  }

  std::vector<cmplx> forward(float scale, const std::vector<float>& input,
                             Place place = Place::apart) const {
    const Guarded spectrum(bytes<cmplx>(size));
    analyse(input, place, [&](float* samples, cmplx* work) {
      ::realfft(scale, samples, spectrum.as<cmplx>(), work, splitBitRev(), twiddles(),
                log2Size, kIgnored);
    });
    return taken<cmplx>(spectrum);
  }

  std::vector<float> power(float scale, const std::vector<float>& input,
                           Place place = Place::apart) const {
    const Guarded power(bytes<float>(size));
    analyse(input, place, [&](float* samples, cmplx* work) {
      ::pwrfft(scale, samples, power.as<float>(), work, splitBitRev(), twiddles(),
               log2Size);
    });
    return taken<float>(power);
  }

  std::vector<float> inverse(float scale, const std::vector<cmplx>& input) const {
    const Guarded spectrum(bytes<cmplx>(size));
    const Guarded output(bytes<float>(size));
    put(input, spectrum);
    ::realifft(scale, spectrum.as<cmplx>(), output.as<float>(), nullptr, bitRev(),
               twiddles(), log2Size, kIgnored);
    return taken<float>(output);
  }

  struct Cepstrum {
    float level = 0.0F;
    std::vector<float> input;  // as it is left
    std::vector<float> values;
    std::vector<cmplx> work;  // as it is left
  };
  Cepstrum cepstrum(const std::vector<float>& input) const {
    const Guarded samples(bytes<float>(size));
    const Guarded values(bytes<float>(size));
    const Guarded spectrum(bytes<cmplx>(size));
    const Guarded work(bytes<cmplx>(size));
    put(input, samples);
    Cepstrum result;
    ::rceps(size, &result.level, samples.as<float>(), values.as<float>(),
            spectrum.as<cmplx>(), work.as<cmplx>(), bitRev(), twiddles(), kIgnored);
    result.input = taken<float>(samples);
    result.values = taken<float>(values);
    result.work = taken<cmplx>(work);
    return result;
  }

  int size;
  int log2Size;

 private:
  static constexpr HostLong kIgnored = -1;

  template <typename Value>
  static std::size_t bytes(int count) {
    return static_cast<std::size_t>(count) * sizeof(Value);
  }

  HostLong* bitRev() const { return bitRev_.as<HostLong>(); }
  cmplx* twiddles() const { return twiddles_.as<cmplx>(); }

  // The forward transforms read entries 1 to N/2 - 1 only; the others lead astray.
  HostLong* splitBitRev() const {
    if (split_.empty()) {
      split_.assign(bitRev(), bitRev() + size);
      for (int k = 0; k < size; ++k) {
        if (k == 0 || k >= size / 2) at(split_, k) = 1 << 30;
      }
    }
    return split_.data();
  }

  template <typename Transform>
  void analyse(const std::vector<float>& input, Place place,
               Transform transform) const {
    if (place == Place::inPlace) {
      const Guarded both(bytes<float>(size));
      put(input, both);
      transform(both.as<float>(), both.as<cmplx>());
    } else {
      const Guarded work(bytes<cmplx>(size / 2));
      transform(ReadOnly(input).data(), work.as<cmplx>());
    }
  }

  Guarded bitRev_;
  Guarded twiddles_;
  mutable std::vector<HostLong> split_;
};

}  // namespace ulmar::test
