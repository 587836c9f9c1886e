// Where the response comes from, a file or a synthetic room, and its channels in the
// order that its layout needs.
#pragma once

#include "apps/render/options.h"
#include "apps/render/response.h"
#include "apps/render/routing.h"
#include "ulmar/host/planar.h"

namespace ulmar::render {

/// The response at its own rate: W, X and Y per source; speaker feeds in the engine's
/// order; or as the file has them. Fills in what it was, and the routing that follows.
/// Throws Error naming the file.
Planar readResponse(const Options& options, const audio::AudioInfo& input,
                    ResponseInfo& info, Routing& routing);

}  // namespace ulmar::render
