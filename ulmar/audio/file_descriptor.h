// What everything that opens files has in common.
#pragma once

#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

namespace ulmar::audio {

static_assert(sizeof(off_t) == 8, "files of 2 GiB and more need 64-bit offsets");

/// Closes what it holds.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  /// As the system's close(), once.
  int close() { return ::close(std::exchange(fd_, -1)); }

 private:
  int fd_;
};

/// The system's words for an errno.
inline std::string systemMessage(int error) {
  return std::generic_category().message(error);
}

}  // namespace ulmar::audio
