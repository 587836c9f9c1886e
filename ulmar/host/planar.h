// The form in which whole signals of several channels, such as the contents of an audio
// file, are held in memory.
#pragma once

#include <vector>

namespace ulmar {

/// [channel][frame]; every channel has the same number of frames.
using Planar = std::vector<std::vector<float>>;

}  // namespace ulmar
