// Preloaded into a program, makes one call of it fail: the n-th of the calls named in
// ULMAR_FAIL ("read", "write", "seek", "sync", "close", "rename", "open" or "alloc"), n
// from ULMAR_FAIL_AT, counted from the beginning of main(): before it, global objects
// of libraries have nobody who could catch what they throw. Then writes the names of
// the program and libraries on the stack, innermost first, to the file that
// ULMAR_FAIL_MARK names.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

const char* chosen = nullptr;
const char* mark = nullptr;
std::atomic<long> left{0};

using Main = int(int, char**, char**);
Main* mainOfProgram = nullptr;

int countingMain(int argc, char** argv, char** environment) {
  void* stack[1];
  backtrace(stack, 1);  // allocates when it is first called
  const char* at = std::getenv("ULMAR_FAIL_AT");
  mark = std::getenv("ULMAR_FAIL_MARK");
  left = at != nullptr ? std::atol(at) : 0;
  chosen = std::getenv("ULMAR_FAIL");
  return mainOfProgram(argc, argv, environment);
}

void writeMark() {
  void* stack[32];
  const int depth = backtrace(stack, 32);
  const int fd =
      static_cast<int>(syscall(SYS_open, mark, O_WRONLY | O_CREAT | O_TRUNC, 0600));
  for (int i = 0; i < depth; ++i) {
    Dl_info info;
    if (dladdr(stack[i], &info) == 0 || info.dli_fname == nullptr) continue;
    const char* slash = std::strrchr(info.dli_fname, '/');
    const char* name = slash != nullptr ? slash + 1 : info.dli_fname;
    syscall(SYS_write, fd, name, std::strlen(name));
    syscall(SYS_write, fd, "\n", 1);
  }
  syscall(SYS_close, fd);
}

bool fails(const char* call, int error) {
  if (chosen == nullptr || std::strcmp(chosen, call) != 0 || --left != 0) return false;
  chosen = nullptr;
  writeMark();
  errno = error;
  return true;
}

// The C library's function of this name.
template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stackEnd) {
  mainOfProgram = main;
  return real<decltype(__libc_start_main)>("__libc_start_main")(
      countingMain, argc, argv, init, fini, loaderFini, stackEnd);
}

ssize_t read(int fd, void* bytes, std::size_t size) {
  if (fails("read", EIO)) return -1;
  return real<decltype(read)>("read")(fd, bytes, size);
}

ssize_t pread64(int fd, void* bytes, std::size_t size, off64_t pos) {
  if (fails("read", EIO)) return -1;
  return real<decltype(pread64)>("pread64")(fd, bytes, size, pos);
}

ssize_t write(int fd, const void* bytes, std::size_t size) {
  if (fd > STDERR_FILENO && fails("write", ENOSPC)) return -1;
  return real<decltype(write)>("write")(fd, bytes, size);
}

ssize_t pwrite64(int fd, const void* bytes, std::size_t size, off64_t pos) {
  if (fails("write", ENOSPC)) return -1;
  return real<decltype(pwrite64)>("pwrite64")(fd, bytes, size, pos);
}

off64_t lseek64(int fd, off64_t offset, int from) noexcept {
  if (fails("seek", EIO)) return -1;
  return real<decltype(lseek64)>("lseek64")(fd, offset, from);
}

int fsync(int fd) {
  if (fails("sync", EIO)) return -1;
  return real<decltype(fsync)>("fsync")(fd);
}

int close(int fd) {
  const int result = real<decltype(close)>("close")(fd);
  return fails("close", EIO) ? -1 : result;
}

int rename(const char* from, const char* to) noexcept {
  if (fails("rename", EACCES)) return -1;
  return real<decltype(rename)>("rename")(from, to);
}

int open64(const char* path, int flags, ...) {
  if (fails("open", EMFILE)) return -1;
  std::va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  return real<decltype(open64)>("open64")(path, flags, mode);
}

int mkostemp64(char* path, int flags) {
  if (fails("open", ENOSPC)) return -1;
  return real<decltype(mkostemp64)>("mkostemp64")(path, flags);
}

void* malloc(std::size_t size) noexcept {
  return fails("alloc", ENOMEM) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) noexcept {
  return fails("alloc", ENOMEM) ? nullptr : __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
  return fails("alloc", ENOMEM) ? nullptr : __libc_realloc(memory, size);
}

#ifdef __x86_64__
// Where offsets have 64 bits anyway, programs call these by their plain names.
ssize_t pread(int fd, void* bytes, std::size_t size, off_t pos) {
  return pread64(fd, bytes, size, pos);
}

ssize_t pwrite(int fd, const void* bytes, std::size_t size, off_t pos) {
  return pwrite64(fd, bytes, size, pos);
}

off_t lseek(int fd, off_t offset, int from) noexcept {
  return lseek64(fd, offset, from);
}

int open(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  return open64(path, flags, mode);
}

int mkostemp(char* path, int flags) { return mkostemp64(path, flags); }
#endif
}
