// Command lines, a word to a line of the input: understood, or refused with an Error.
#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fuzz/choices.h"
#include "ulmar/host/error.h"

#ifdef ULMAR_FUZZ_INSPECT
#include "apps/inspect/options.h"
namespace tool = ulmar::inspect;
#else
#include "apps/render/options.h"
namespace tool = ulmar::render;
#endif

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Helps and versions go nowhere.
  static const int nowhere = dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
  if (nowhere < 0) return 0;
  std::vector<std::string> words = {"tool", ""};
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n' || data[i] == 0) {
      words.emplace_back();
    } else {
      words.back() += static_cast<char>(data[i]);
    }
  }
  std::vector<const char*> arguments;
  for (const std::string& word : words) arguments.push_back(word.c_str());
  try {
    tool::parseOptions(static_cast<int>(arguments.size()), arguments.data());
  } catch (const ulmar::Error&) {
  }
  return 0;
}
