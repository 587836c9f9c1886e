#include "apps/common/files.h"

#include <filesystem>
#include <system_error>

#include "ulmar/host/error.h"

namespace ulmar::apps {

void refuseToReplace(const std::string& output, const std::string& read) {
  std::error_code missing;  // then they differ, or reading says more
  if (!std::filesystem::equivalent(read, output, missing) || missing) return;
  fail("cannot write ", output, ": it is ", read,
       ", which is an input and would be replaced; give it another name");
}

}  // namespace ulmar::apps
