// The bytes of a file that libsndfile writes.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <string_view>

namespace ulmar::audio {

/// Writes to a descriptor, at any position or, to a pipe, one byte after another. As
/// libsndfile does not tell of every write that fails, the first failure is remembered.
class ByteSink {
 public:
  enum class Kind { file, pipe };

  /// The descriptor stays the caller's. A file must be empty, and open for reading too.
  ByteSink(int fd, Kind kind) : fd_(fd), kind_(kind) {}
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  /// Puts bytes at a position, which of a pipe is its end.
  void write(std::int64_t pos, std::string_view bytes) noexcept;

  std::int64_t size() const { return size_; }

  /// The errno of the first failure, 0 without any.
  int error() const { return error_; }

  /// With SFM_WRITE, or with SFM_READ for what was written. Null if libsndfile refuses.
  /// This must stay where it is while the result is open, and one at a time can be.
  SNDFILE* open(int mode, SF_INFO& info);

 private:
  int fd_;
  Kind kind_;
  std::int64_t size_ = 0;
  std::int64_t pos_ = 0;  // of libsndfile
  int error_ = 0;
};

}  // namespace ulmar::audio
