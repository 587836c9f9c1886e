#include "ulmar/audio/unfinished_wav.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace ulmar::audio {

SNDFILE* UnfinishedWav::open(SF_INFO& info) {
  SF_VIRTUAL_IO io = {};
  io.get_filelen = fileLen;
  io.seek = seek;
  io.read = read;
  io.tell = tell;
  return sf_open_virtual(&io, SFM_READ, &info, this);
}

sf_count_t UnfinishedWav::fileLen(void* self) {
  return static_cast<UnfinishedWav*>(self)->fileBytes_;
}

sf_count_t UnfinishedWav::seek(sf_count_t offset, int whence, void* self) {
  auto& file = *static_cast<UnfinishedWav*>(self);
  if (whence == SEEK_CUR) offset += file.pos_;
  if (whence == SEEK_END) offset += file.fileBytes_;
  return file.pos_ = std::max<sf_count_t>(offset, 0);
}

sf_count_t UnfinishedWav::read(void* bytes, sf_count_t numBytes, void* self) {
  constexpr std::int64_t kLengthBytes = 4;
  auto& file = *static_cast<UnfinishedWav*>(self);
  const ssize_t given =
      pread(file.fd_, bytes, static_cast<std::size_t>(numBytes), file.pos_);
  if (given <= 0) return 0;
  const std::int64_t begin = std::max(file.lengthPos_, file.pos_);
  const std::int64_t end = std::min(file.lengthPos_ + kLengthBytes, file.pos_ + given);
  auto* const first = static_cast<unsigned char*>(bytes);
  for (std::int64_t pos = begin; pos < end; ++pos) first[pos - file.pos_] = 0xFF;
  file.pos_ += given;
  return given;
}

sf_count_t UnfinishedWav::tell(void* self) {
  return static_cast<UnfinishedWav*>(self)->pos_;
}

}  // namespace ulmar::audio
