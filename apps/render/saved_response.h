// The response as it was used, in a file of its own: a room for other programs, or a
// recording as it was cut, faded and normalised.
#pragma once

#include "apps/render/response.h"

namespace ulmar::render {

/// Throws Error if options.savedResponse cannot be written, or is a file that is read
/// or written otherwise. Touches nothing.
void checkSavedResponse(const Options& options, const PreparedResponse& prepared);

/// Writes options.savedResponse: the channels of prepared.used as --ir takes them, at
/// the response's own rate; B-format as FuMa.
void saveResponse(const Options& options, const PreparedResponse& prepared);

}  // namespace ulmar::render
