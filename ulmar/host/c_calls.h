// How the C interfaces call the kit: codes and sentences for exceptions, of which none
// may leave a C function.
#pragma once

#include <cstring>
#include <new>
#include <stdexcept>

#include "ulmar/host/error.h"
#include "ulmar/host/ulmar_host.h"

namespace ulmar::host {

/// Of a call that comes at the wrong time.
class WrongState : public Error {
 public:
  using Error::Error;
};

/// The sentence of this thread's last failure, in a buffer of fixed size, so that
/// storing it cannot fail. Each shared library has its own.
inline char* lastSentence() noexcept {
  thread_local char sentence[512] = "";
  return sentence;
}

inline UlmarCode failed(UlmarCode code, const char* sentence) noexcept {
  constexpr std::size_t kLongest = 511;
  std::strncpy(lastSentence(), sentence, kLongest);
  return code;
}

/// Calls, and returns the code of what the call throws.
template <class Call>
UlmarCode guarded(const Call& call) noexcept {
  try {
    call();
    return ULMAR_OK;
  } catch (const WrongState& error) {
    return failed(ULMAR_WRONG_STATE, error.what());
  } catch (const Error& error) {
    return failed(ULMAR_BAD_ARGUMENT, error.what());
  } catch (const std::bad_alloc&) {
    return failed(ULMAR_NO_MEMORY, "there is not enough memory");
  } catch (const std::length_error&) {
    return failed(ULMAR_NO_MEMORY, "there is not enough memory");
  } catch (const std::exception& error) {
    return failed(ULMAR_INTERNAL, error.what());
  } catch (...) {
    return failed(ULMAR_INTERNAL, "an unknown fault of the library");
  }
}

/// Throws Error for null.
inline void need(const void* pointer, const char* name) {
  if (pointer == nullptr) fail(name, " is null, and must not be");
}

/// pointers: [count], none of them null either.
inline void need(const void* const* pointers, int count, const char* name) {
  need(pointers, name);
  for (int k = 0; k < count; ++k) {
    if (pointers[k] == nullptr) fail(name, "[", k, "] is null, and must not be");
  }
}

/// Throws Error for a record of another version.
template <class Record>
void needSize(const Record& record, const char* name) {
  if (record.struct_size == sizeof(Record)) return;
  fail("the struct_size of ", name, " is ", record.struct_size,
       ", and this library's is ", sizeof(Record));
}

}  // namespace ulmar::host
