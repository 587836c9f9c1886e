// The picture of a rendering: dry and wet waveforms, levels, and what each block cost.
#pragma once

#include "apps/render/render_plan.h"
#include "apps/render/trace.h"

namespace ulmar::render {

/// Writes an SVG, PNG or PDF file, by the extension, 1200 pixels wide. Throws Error,
/// and leaves nothing, if that cannot be done.
void draw(const RenderPlan& plan, const Trace& trace);

}  // namespace ulmar::render
