#include "ulmar/audio/byte_sink.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>

namespace ulmar::audio {

void ByteSink::write(std::int64_t pos, std::string_view bytes) noexcept {
  if (kind_ == Kind::pipe && pos != size_ && error_ == 0) error_ = ESPIPE;
  if (kind_ == Kind::memory) {
    const auto start = static_cast<std::size_t>(pos);
    memory_.resize(std::max(memory_.size(), start + bytes.size()));
    memory_.replace(start, bytes.size(), bytes);
    size_ = std::ssize(memory_);
    return;
  }
  while (!bytes.empty() && error_ == 0) {
    const ssize_t taken = kind_ == Kind::file
                              ? pwrite(fd_, bytes.data(), bytes.size(), pos)
                              : ::write(fd_, bytes.data(), bytes.size());
    if (taken < 0 && errno == EINTR) continue;
    if (taken <= 0) {
      error_ = taken < 0 ? errno : ENOSPC;
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(taken));
    pos += taken;
    size_ = std::max(size_, pos);
  }
}

std::int64_t ByteSink::read(std::int64_t pos, char* bytes,
                            std::int64_t numBytes) noexcept {
  if (kind_ == Kind::memory) {
    const auto start = std::min(static_cast<std::size_t>(pos), memory_.size());
    return static_cast<std::int64_t>(
        memory_.copy(bytes, static_cast<std::size_t>(numBytes), start));
  }
  const ssize_t given = pread(fd_, bytes, static_cast<std::size_t>(numBytes), pos);
  if (given < 0 && error_ == 0) error_ = errno;
  return std::max<ssize_t>(given, 0);
}

std::string ByteSink::head(std::size_t numBytes) {
  std::string bytes(numBytes, '\0');
  bytes.resize(static_cast<std::size_t>(
      read(0, bytes.data(), static_cast<std::int64_t>(numBytes))));
  return bytes;
}

SNDFILE* ByteSink::open(int mode, SF_INFO& info) {
  SF_VIRTUAL_IO io = {};
  io.get_filelen = [](void* self) -> sf_count_t {
    return static_cast<ByteSink*>(self)->size_;
  };
  io.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
    auto& sink = *static_cast<ByteSink*>(self);
    if (whence == SEEK_CUR) offset += sink.pos_;
    if (whence == SEEK_END) offset += sink.size_;
    return sink.pos_ = std::max<sf_count_t>(offset, 0);
  };
  io.read = [](void* bytes, sf_count_t numBytes, void* self) -> sf_count_t {
    auto& sink = *static_cast<ByteSink*>(self);
    const std::int64_t given =
        sink.read(sink.pos_, static_cast<char*>(bytes), numBytes);
    sink.pos_ += given;
    return given;
  };
  io.write = [](const void* bytes, sf_count_t numBytes, void* self) -> sf_count_t {
    auto& sink = *static_cast<ByteSink*>(self);
    sink.write(sink.pos_,
               {static_cast<const char*>(bytes), static_cast<std::size_t>(numBytes)});
    if (sink.error_ != 0) return 0;
    sink.pos_ += numBytes;
    return numBytes;
  };
  io.tell = [](void* self) -> sf_count_t { return static_cast<ByteSink*>(self)->pos_; };
  pos_ = 0;
  return sf_open_virtual(&io, mode, &info, this);
}

}  // namespace ulmar::audio
