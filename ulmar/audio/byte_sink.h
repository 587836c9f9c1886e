// The bytes of a file that libsndfile writes.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace ulmar::audio {

/// Writes to a file, at any position, to a pipe, one byte after another, or to memory.
/// As libsndfile does not tell of every write that fails, the first failure is
/// remembered.
class ByteSink {
 public:
  enum class Kind { file, pipe, memory };

  /// The descriptor stays the caller's. A file must be empty, and open for reading too.
  ByteSink(int fd, Kind kind) : fd_(fd), kind_(kind) {}
  ByteSink() : ByteSink(-1, Kind::memory) {}
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;

  /// Puts bytes at a position, which of a pipe is its end.
  void write(std::int64_t pos, std::string_view bytes) noexcept;

  std::int64_t size() const { return size_; }

  /// The first bytes, as many as there are but no more than asked for.
  std::string head(std::size_t numBytes);

  /// The errno of the first failure, 0 without any.
  int error() const { return error_; }

  /// With SFM_WRITE, or with SFM_READ for what was written. Null if libsndfile refuses.
  /// This must stay where it is while the result is open, and one at a time can be.
  SNDFILE* open(int mode, SF_INFO& info);

 private:
  int fd_;
  Kind kind_;
  std::string memory_;
  std::int64_t read(std::int64_t pos, char* bytes, std::int64_t numBytes) noexcept;

  std::int64_t size_ = 0;
  std::int64_t pos_ = 0;  // of libsndfile
  int error_ = 0;
};

}  // namespace ulmar::audio
