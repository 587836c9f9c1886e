// A WAV file whose writer never filled in the length of the audio.
#pragma once

#include <sndfile.h>

#include <cstdint>

namespace ulmar::audio {

/// Shows an open file to libsndfile with the largest possible number in place of a
/// 32-bit length of zero, so that the audio runs to the end of the file.
class UnfinishedWav {
 public:
  /// lengthPos: where the 4 bytes of the length are. The descriptor stays the caller's.
  UnfinishedWav(int fd, std::int64_t fileBytes, std::int64_t lengthPos)
      : fd_(fd), fileBytes_(fileBytes), lengthPos_(lengthPos) {}
  UnfinishedWav(const UnfinishedWav&) = delete;
  UnfinishedWav& operator=(const UnfinishedWav&) = delete;

  /// Null if libsndfile refuses. The object must stay where it is while the result is
  /// open.
  SNDFILE* open(SF_INFO& info);

 private:
  static sf_count_t fileLen(void* self);
  static sf_count_t seek(sf_count_t offset, int whence, void* self);
  static sf_count_t read(void* bytes, sf_count_t numBytes, void* self);
  static sf_count_t tell(void* self);

  int fd_;
  std::int64_t fileBytes_;
  std::int64_t lengthPos_;
  std::int64_t pos_ = 0;
};

}  // namespace ulmar::audio
