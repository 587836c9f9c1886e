// The engine's real transforms in double precision, and FFTW's.
#pragma once

#include <memory>

namespace ulmar::bench {

class Transform {
 public:
  static constexpr int kRun = 64;

  virtual ~Transform() = default;

  /// Does kRun transforms: forward of the same samples; inverse, which destroy their
  /// input, each of the result of the one before.
  virtual void run() = 0;
};

std::unique_ptr<Transform> makeTransform(int size, bool inverse);

/// Planned patiently, from one array to another.
std::unique_ptr<Transform> makeFftwTransform(int size, bool inverse);

}  // namespace ulmar::bench
