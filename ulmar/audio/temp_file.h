// A new file that takes its final name only when it is complete.
#pragma once

#include <string>

namespace ulmar::audio {

/// A file written under a temporary name in the folder of its final name. commit()
/// makes it durable and renames it, replacing an older file of that name in one step;
/// without commit() the destructor removes it and leaves an older file as it was. What
/// a run that was killed has left is removed when the next one writes the same file. A
/// symbolic link is followed, so that the file it points to, there or not, is the one
/// written. Permissions are those of the file that is replaced, and follow the umask
/// where there is none.
class TempFile {
 public:
  /// Creates the temporary file. Throws Error as checkReplaceable() does, and if no
  /// file can be created.
  explicit TempFile(const std::string& finalPath);
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  /// Open for reading and writing until commit().
  int fd() const { return fd_; }

  /// Throws Error, with the final name untouched, if the data cannot be made durable or
  /// the file cannot be renamed. Call it once.
  void commit();

 private:
  void createBeside(const std::string& target);

  std::string finalPath_;  // as the caller wrote it, for messages
  std::string target_;     // where finalPath_ leads to through symbolic links
  std::string tempPath_;   // empty once the file has its final name
  int fd_ = -1;
};

/// Throws Error if the name is of a folder, a device or a write-protected file, or if
/// its folder is missing or write-protected, or if symbolic links lead in a circle.
/// Touches nothing.
void checkReplaceable(const std::string& path);

/// Removes the temporary files that exist at this moment (16 at most).
/// Async-signal-safe: for the handler of a signal that ends the process.
void unlinkTempFiles() noexcept;

}  // namespace ulmar::audio
