// How the host kit refuses: by exception, with a sentence for the user.
#pragma once

#include <locale>
#include <sstream>
#include <stdexcept>

namespace ulmar {

/// A refusal. what() is one plain sentence for the user that names the subject (such as
/// the file), the value found and the limit: "cannot read dry.wav: its sample rate is 0
/// Hz, and the limits are 1000 and 768000 Hz". It starts in lower case and has no full
/// stop, so that an application may put its own name in front.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws an Error whose sentence is the parts written one after another, numbers in
/// the same form in every locale.
template <class... Parts>
[[noreturn]] void fail(const Parts&... parts) {
  std::ostringstream sentence;
  sentence.imbue(std::locale::classic());
  (sentence << ... << parts);
  throw Error(sentence.str());
}

}  // namespace ulmar
