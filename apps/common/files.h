// Files that a program reads and those that it writes.
#pragma once

#include <string>

namespace ulmar::apps {

/// Throws Error if `output` is the very file `read`, under whatever name.
void refuseToReplace(const std::string& output, const std::string& read);

}  // namespace ulmar::apps
