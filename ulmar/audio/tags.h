// What a file says about its sound in words, by libsndfile.
#pragma once

#include <sndfile.h>

#include "ulmar/audio/audio_file.h"

namespace ulmar::audio {

/// Of an open file.
Tags tagsOf(SNDFILE* file);

/// Of a file to which nothing has been written. What its format does not hold is left
/// out.
void setTags(SNDFILE* file, const Tags& tags);

}  // namespace ulmar::audio
