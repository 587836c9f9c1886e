// Files that a program reads and those that it writes.
#pragma once

#include <string>

#include "ulmar/audio/audio_file.h"

namespace ulmar::apps {

/// Throws Error if `output` is the very file `read`, under whatever name.
void refuseToReplace(const std::string& output, const std::string& read);

/// Says on standard error how much of a file that is cut short is missing. Throws Error
/// with the same words instead, if only whole files will do.
void noteIfCutShort(const audio::AudioInfo& info, bool strict);

}  // namespace ulmar::apps
