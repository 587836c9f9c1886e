// What is said of a plan and of its rendering: lines for people, an object for scripts.
// Both print what stands in the two records, and work nothing out.
#pragma once

#include <string>

#include "apps/render/render.h"
#include "apps/render/render_plan.h"

namespace ulmar::render {

/// Lines of text; of a response alone that is saved; of a rendering before and after.
std::string describe(const Options& options, const PreparedResponse& prepared);
std::string describe(const RenderPlan& plan);
std::string describe(const RenderPlan& plan, const Rendering& rendering);

/// What must be said even to those who read no report, or nothing.
std::string warning(const RenderPlan& plan, const Rendering& rendering);

/// One JSON object. Gains and peaks are linear, times in seconds, memory in bytes.
/// rendering: null if there was none, and then "rendering" is null. Of a response alone
/// that is saved, all but "response" and "savedResponse" is null.
std::string figures(const RenderPlan& plan, const Rendering* rendering);
std::string figures(const Options& options, const PreparedResponse& prepared);

}  // namespace ulmar::render
