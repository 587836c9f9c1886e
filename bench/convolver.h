// What is compared: ways to convolve the same signals with the same responses, block by
// block.
#pragma once

#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ulmar/host/responses.h"

namespace ulmar::bench {

inline constexpr int kSampleRate = 48000;

struct Workload {
  int numInputs;
  int numOutputs;
  double seconds;  // of each pair's response
  int blockLen;    // samples

  int irLen() const { return static_cast<int>(seconds * kSampleRate); }
  int numBlocks() const { return (irLen() - 1) / blockLen + 1; }
  /// As in "2x2/2/512".
  std::string name() const;
};

/// The workloads that streams are measured by, or those of them that are named.
std::vector<Workload> workloadTable(const std::set<std::string>& only);

/// `length` samples of noise in [-1, 1), which nothing but the seed decides.
std::vector<float> noise(int length, unsigned seed);

/// Noise that does not decay, so that every part of a response counts alike.
host::Responses noiseResponses(const Workload& workload);

class Convolver {
 public:
  virtual ~Convolver() = default;

  /// The next block of an input, and the last of an output.
  virtual void feed(int input, std::span<const float> block) = 0;
  virtual void fetch(int output, std::span<float> block) const = 0;

  /// Convolves the block that was fed. All that is timed.
  virtual void run() = 0;

  /// Blocks after which the cost repeats, and all memory has been passed.
  virtual int period() const = 0;
  /// Blocks by which the output lags: what fetch() gives is of so many blocks before.
  virtual int lag() const { return 0; }
};

/// A block of noise for every input, the same each time.
void feedNoise(Convolver& convolver, const Workload& workload);

/// A uniformly partitioned engine as one writes it plainly: FFTW in single precision,
/// overlap-save, a delay line of spectra, and one loop over its bins. Partitions from
/// keepBlocks on keep the lower half of the band only, where a number is given.
std::unique_ptr<Convolver> makePlain(const Workload& workload,
                                     const host::Responses& responses,
                                     int keepBlocks = 0);

/// zita-convolver, whose smallest partition is the block. Partitions up to maxPart
/// samples, in a thread of its own for each size beyond the block.
std::unique_ptr<Convolver> makeZita(const Workload& workload,
                                    const host::Responses& responses, int maxPart);
inline constexpr int kZitaMaxPart = 8192;  // its own limit, and the usual choice

}  // namespace ulmar::bench
