// The bytes of a file that is read, as libsndfile is to see them.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ulmar/audio/file_descriptor.h"

namespace ulmar::audio {

/// A file, read at any position. A pipe is first read to its end into a file without a
/// name, in the folder that TMPDIR names or in /tmp. libsndfile reads through the
/// callbacks of this class alone, as it takes a failing read for the end of the file
/// and goes on with what it guesses: here every failure is remembered, and
/// refuseErrors() tells.
class ByteSource {
 public:
  /// path: "-" for standard input. Throws Error if there is nothing to be read: the
  /// file is missing, empty, a folder or a device.
  explicit ByteSource(const std::string& path);
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  std::int64_t size() const { return size_; }

  /// What follows is no longer there.
  void hideFrom(std::int64_t pos) { size_ = pos; }

  /// These bytes are there instead of the file's.
  void replace(std::int64_t pos, std::string_view bytes);

  /// Returns how many bytes there are, fewer than asked only at the end of the file or
  /// after a failure.
  std::int64_t read(std::int64_t pos, void* bytes, std::int64_t numBytes) noexcept;

  /// Throws Error if any read has failed so far.
  void refuseErrors() const;

  /// Null if libsndfile refuses. This must stay where it is while the result is open,
  /// and one at a time can be.
  SNDFILE* open(SF_INFO& info);

 private:
  struct Replacement {
    std::int64_t pos;
    std::string bytes;
  };

  std::string name_;
  FileDescriptor file_;
  std::int64_t size_ = 0;
  std::int64_t pos_ = 0;  // of libsndfile
  int error_ = 0;         // errno of the first failure
  std::vector<Replacement> replacements_;
};

}  // namespace ulmar::audio
