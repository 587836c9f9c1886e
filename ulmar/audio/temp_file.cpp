#include "ulmar/audio/temp_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <tuple>
#include <utility>

#include "ulmar/audio/file_descriptor.h"
#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

// Paths that unlinkTempFiles() removes. Each points into a living TempFile; a free slot
// holds null. Lock-free atomics are all that a signal handler may read.
std::array<std::atomic<const char*>, 16> registeredPaths{};
static_assert(std::atomic<const char*>::is_always_lock_free);

void registerPath(const char* path) {
  for (auto& slot : registeredPaths) {
    const char* expected = nullptr;
    if (slot.compare_exchange_strong(expected, path)) return;
  }
}

void unregisterPath(const char* path) {
  for (auto& slot : registeredPaths) {
    const char* expected = path;
    if (slot.compare_exchange_strong(expected, nullptr)) return;
  }
}

// Holds all signals back, so that no handler ever finds a file that was created and is
// not registered yet.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &previous_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t previous_;
};

// The path that symbolic links lead to, whether or not there is a file; for links in a
// circle, one of the links.
std::string withLinksResolved(std::string path) {
  constexpr int kMaxLinks = 40;  // as many as the kernel follows
  for (int i = 0; i < kMaxLinks; ++i) {
    std::error_code noLink;
    const auto pointee = std::filesystem::read_symlink(path, noLink);
    if (noLink) break;
    path = std::filesystem::path(path).parent_path() / pointee;
  }
  return path;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// Nothing if the file is not there.
std::optional<mode_t> permissionsOf(const std::string& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
}

// As long as a temporary file is open it is locked, so that what nobody has locked was
// left by a run that was killed. Not all file systems have locks: files then stay.
bool isLocked(int fd) { return flock(fd, LOCK_EX | LOCK_NB) != 0; }

// Whether the rest of a file's name is that of a temporary file: "12345-0".
bool endsAsTemporary(std::string_view rest) {
  const std::size_t dash = rest.find('-');
  return dash != 0 && dash + 1 < rest.size() &&
         rest.find_first_not_of("0123456789-") == std::string_view::npos &&
         rest.rfind('-') == dash;
}

struct CloseFolder {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// stem: of all temporary files of a target. The C library lists the folder, as the
// directory iterators of libstdc++ end the program where they get no memory.
void removeAbandoned(const std::string& stem) {
  const std::string folder = folderOf(stem);
  const std::string_view name = std::string_view(stem).substr(stem.rfind('/') + 1);
  const std::unique_ptr<DIR, CloseFolder> listing(opendir(folder.c_str()));
  if (!listing) return;
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view found = entry->d_name;
    if (!found.starts_with(name) || !endsAsTemporary(found.substr(name.size()))) {
      continue;
    }
    const std::string path = folder + "/" + entry->d_name;
    const FileDescriptor file(
        open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.get() >= 0 && !isLocked(file.get())) unlink(path.c_str());
  }
}

}  // namespace

void checkReplaceable(const std::string& path) {
  if (access(folderOf(withLinksResolved(path)).c_str(), W_OK | X_OK) != 0) {
    fail("cannot write ", path, ": no file can be created in its folder (",
         systemMessage(errno), ")");
  }
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return;  // nothing there yet
    fail("cannot write ", path, ": ", systemMessage(errno));
  }
  if (S_ISDIR(status.st_mode)) fail("cannot write ", path, ": it is a folder");
  if (!S_ISREG(status.st_mode))
    fail("cannot write ", path, ": it is not a regular file");
  if (access(path.c_str(), W_OK) != 0) {
    fail("cannot write ", path, ": the file of that name is write-protected");
  }
}

TempFile::TempFile(const std::string& finalPath)
    : finalPath_(finalPath), target_(withLinksResolved(finalPath)) {
  checkReplaceable(finalPath_);
  createBeside(target_);
}

TempFile::~TempFile() {
  if (fd_ >= 0) close(fd_);
  if (tempPath_.empty()) return;
  unlink(tempPath_.c_str());
  unregisterPath(tempPath_.c_str());
}

void TempFile::createBeside(const std::string& target) {
  // A name may have 255 bytes; the rest is for the suffix.
  constexpr std::size_t kMaxStemLen = 200;
  constexpr int kMaxAttempts = 1000;
  const std::size_t slash = target.rfind('/');
  const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
  const std::string allStem =
      target.substr(0, nameStart) + target.substr(nameStart, kMaxStemLen) + ".part-";
  const std::string stem = allStem + std::to_string(getpid()) + "-";
  removeAbandoned(allStem);
  // From the start no more permissions than the file that it will replace.
  const mode_t mode = permissionsOf(target).value_or(0666);
  const SignalsHeld held;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    tempPath_ = stem + std::to_string(attempt);
    fd_ = open(tempPath_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd_ < 0 && errno != EEXIST) break;
    if (fd_ < 0) continue;
    std::ignore = isLocked(fd_);
    struct stat status;
    if (fstat(fd_, &status) == 0 && status.st_nlink > 0) {
      registerPath(tempPath_.c_str());
      return;
    }
    // Another run has taken it for abandoned before it was locked.
    close(std::exchange(fd_, -1));
  }
  fail("cannot write ", finalPath_, ": no file can be created in its folder (",
       systemMessage(errno), ")");
}

void TempFile::commit() {
  // The umask may have taken some away. File systems without permissions refuse, and
  // nothing is lost by it.
  if (const auto permissions = permissionsOf(target_)) fchmod(fd_, *permissions);
  // Some file systems cannot synchronise and say EINVAL; there is nothing more to be
  // done.
  if (fsync(fd_) != 0 && errno != EINVAL) {
    fail("cannot write ", finalPath_, ": ", systemMessage(errno));
  }
  const FileDescriptor lock(dup(fd_));  // until it has its name
  const int closed = close(std::exchange(fd_, -1));
  if (closed != 0) fail("cannot write ", finalPath_, ": ", systemMessage(errno));
  if (std::rename(tempPath_.c_str(), target_.c_str()) != 0) {
    fail("cannot write ", finalPath_, ": the finished file cannot be given its name (",
         systemMessage(errno), ")");
  }
  unregisterPath(tempPath_.c_str());
  tempPath_.clear();
}

void unlinkTempFiles() noexcept {
  for (const auto& slot : registeredPaths) {
    if (const char* path = slot.load()) unlink(path);
  }
}

}  // namespace ulmar::audio
