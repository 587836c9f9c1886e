#include "apps/common/files.h"

#include <filesystem>
#include <system_error>

#include "ulmar/host/error.h"

namespace ulmar::apps {

void refuseToReplace(const std::string& output, const std::string& read) {
  // Where either cannot be examined they differ, or reading it gives the reason.
  std::error_code missing;
  if (!std::filesystem::equivalent(read, output, missing) || missing) return;
  fail("cannot write ", output, ": it is ", read,
       ", which is read and would be replaced; give it another name");
}

}  // namespace ulmar::apps
