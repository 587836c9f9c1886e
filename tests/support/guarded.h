// Memory between inaccessible pages: what reads or writes beyond it faults.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace ulmar::test {

/// Which end of the memory touches an inaccessible page.
enum class Flush { atEnd, atStart };

/// `size` bytes of every value 0xFF (NaN in either precision), one end flush with an
/// inaccessible page. The other end is padded to a whole page.
class Guarded {
 public:
  explicit Guarded(std::size_t size, Flush flush = Flush::atEnd) : size_(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    inner_ = (size + page - 1) / page * page;
    mappedSize_ = inner_ + 2 * page;
    void* const mapped =
        mmap(nullptr, mappedSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::runtime_error("mmap");
    mapped_ = static_cast<std::byte*>(mapped);
    protect(PROT_READ | PROT_WRITE);
    std::memset(mapped_ + page, 0xFF, inner_);
    data_ = mapped_ + page + (flush == Flush::atEnd ? inner_ - size : 0);
  }
  ~Guarded() { munmap(mapped_, mappedSize_); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  template <typename T = std::byte>
  T* as() const {
    return static_cast<T*>(static_cast<void*>(data_));
  }
  std::size_t size() const { return size_; }

  /// From here on a write faults.
  void makeReadOnly() { protect(PROT_READ); }

 private:
  void protect(int access) {
    const std::size_t page = (mappedSize_ - inner_) / 2;
    if (inner_ > 0 && mprotect(mapped_ + page, inner_, access) != 0) {
      throw std::runtime_error("mprotect");
    }
  }

  std::size_t size_;
  std::size_t inner_;
  std::size_t mappedSize_;
  std::byte* mapped_;
  std::byte* data_;
};

/// Read-only memory that holds exactly `values`; reading behind them faults.
template <typename T>
class ReadOnly {
 public:
  explicit ReadOnly(const std::vector<T>& values) : memory_(values.size() * sizeof(T)) {
    if (!values.empty()) std::memcpy(memory_.as(), values.data(), memory_.size());
    memory_.makeReadOnly();
  }
  T* data() const { return memory_.template as<T>(); }

 private:
  Guarded memory_;
};

}  // namespace ulmar::test
