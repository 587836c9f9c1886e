#include "ulmar/audio/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ulmar/audio/audio_file.h"
#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

constexpr std::int64_t kMaxPos = std::int64_t{1} << 62;

bool isPipe(const struct stat& status) {
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
}

void refuseUnlessReadable(const struct stat& status, const std::string& name) {
  if (S_ISDIR(status.st_mode)) fail("cannot read ", name, ": it is a folder");
  if (!S_ISREG(status.st_mode) && !isPipe(status)) {
    fail("cannot read ", name, ": it is neither a regular file nor a pipe");
  }
}

// Examines the file before it is opened, as opening a device may do something. Without
// a descriptor, and with errno set, if it cannot be opened.
FileDescriptor openInput(const std::string& path) {
  if (path == "-") return FileDescriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) refuseUnlessReadable(status, path);
  return FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

// A new file that vanishes when it is closed.
FileDescriptor openNameless() {
  const char* const folder = std::getenv("TMPDIR");
  std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
  path += "/ulmar-XXXXXX";
  FileDescriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (file.get() >= 0) unlink(path.c_str());
  return file;
}

bool writeAll(int fd, const char* bytes, ssize_t numBytes) {
  while (numBytes > 0) {
    const ssize_t taken = write(fd, bytes, static_cast<std::size_t>(numBytes));
    if (taken < 0 && errno == EINTR) continue;
    if (taken <= 0) return false;
    bytes += taken;
    numBytes -= taken;
  }
  return true;
}

// All that comes out of the pipe.
FileDescriptor spooled(const FileDescriptor& pipe, const std::string& name) {
  FileDescriptor file = openNameless();
  std::vector<char> buffer(1 << 16);
  for (;;) {
    const ssize_t given = read(pipe.get(), buffer.data(), buffer.size());
    if (given < 0 && errno == EINTR) continue;
    if (given < 0) fail("cannot read ", name, ": ", systemMessage(errno));
    if (given == 0) return file;
    if (file.get() < 0 || !writeAll(file.get(), buffer.data(), given)) {
      fail("cannot read ", name, ": it is a pipe, and no temporary file can hold it (",
           systemMessage(errno), "; TMPDIR names another folder)");
    }
  }
}

}  // namespace

std::string inputName(const std::string& path) {
  return path == "-" ? kStandardInput : path;
}

ByteSource::ByteSource(const std::string& path)
    : name_(inputName(path)), file_(openInput(path)) {
  const auto examine = [this] {
    struct stat status = {};
    if (file_.get() < 0 || fstat(file_.get(), &status) != 0) {
      fail("cannot read ", name_, ": ", systemMessage(errno));
    }
    return status;
  };
  struct stat status = examine();
  refuseUnlessReadable(status, name_);
  if (isPipe(status)) {
    file_ = spooled(file_, name_);
    status = examine();
  }
  if (status.st_size == 0) fail("cannot read ", name_, ": the file is empty (0 bytes)");
  size_ = status.st_size;
}

void ByteSource::replace(std::int64_t pos, std::string_view bytes) {
  replacements_.push_back({pos, std::string(bytes)});
}

std::int64_t ByteSource::read(std::int64_t pos, void* bytes,
                              std::int64_t numBytes) noexcept {
  auto* const first = static_cast<char*>(bytes);
  const std::int64_t end = pos + std::clamp<std::int64_t>(size_ - pos, 0, numBytes);
  std::int64_t done = pos;
  while (done < end) {
    const ssize_t given = pread(file_.get(), first + (done - pos),
                                static_cast<std::size_t>(end - done), done);
    if (given < 0 && errno == EINTR) continue;
    if (given < 0 && error_ == 0) error_ = errno;
    if (given <= 0) break;
    done += given;
  }
  for (const Replacement& there : replacements_) {
    const std::int64_t from = std::max(there.pos, pos);
    const std::int64_t to = std::min(there.pos + std::ssize(there.bytes), done);
    if (from < to) {
      std::memcpy(first + (from - pos), there.bytes.data() + (from - there.pos),
                  static_cast<std::size_t>(to - from));
    }
  }
  return done - pos;
}

void ByteSource::refuseErrors() const {
  if (error_ != 0) fail("cannot read ", name_, ": ", systemMessage(error_));
}

SNDFILE* ByteSource::open(SF_INFO& info) {
  SF_VIRTUAL_IO io = {};
  io.get_filelen = [](void* self) -> sf_count_t {
    return static_cast<ByteSource*>(self)->size_;
  };
  io.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
    auto& source = *static_cast<ByteSource*>(self);
    const sf_count_t start = whence == SEEK_SET   ? 0
                             : whence == SEEK_CUR ? source.pos_
                                                  : source.size_;
    return source.pos_ =
               std::clamp<sf_count_t>(offset, -start, kMaxPos - start) + start;
  };
  io.read = [](void* bytes, sf_count_t numBytes, void* self) -> sf_count_t {
    auto& source = *static_cast<ByteSource*>(self);
    const sf_count_t given = source.read(source.pos_, bytes, numBytes);
    source.pos_ += given;
    return given;
  };
  io.tell = [](void* self) -> sf_count_t {
    return static_cast<ByteSource*>(self)->pos_;
  };
  pos_ = 0;
  return sf_open_virtual(&io, SFM_READ, &info, this);
}

}  // namespace ulmar::audio
