// ulmar-render: dry audio and an impulse response in, wet audio out.
#include <iostream>
#include <optional>

#include "apps/common/program.h"
#include "apps/render/drawing.h"
#include "apps/render/options.h"
#include "apps/render/plan.h"
#include "apps/render/render.h"
#include "apps/render/report.h"
#include "host/audio_file.h"
#include "host/error.h"

namespace ulmar::render {
namespace {

// A script that waits for the report must learn that it did not come. Nobody else does:
// the file is what was asked for.
void print(const Options& options, const std::string& text) {
  std::cout << text << std::flush;
  if (!std::cout && (options.json || options.check)) {
    host::fail("cannot write the report to standard output");
  }
}

void run(const Options& options) {
  host::AudioReader material(options.material);
  const Plan plan = makePlan(options, material.info());
  if (!options.json) print(options, describe(plan));
  if (options.check) {
    print(options, options.json ? figures(plan, nullptr)
                                : "Nothing was rendered, as --check asks.\n");
    return;
  }
  std::optional<Trace> trace;
  if (!options.picture.empty()) {
    trace.emplace(plan.material.frames, plan.outFrames(), plan.format.sampleRate);
  }
  const Rendering rendering = render(plan, material, trace ? &*trace : nullptr);
  if (trace) draw(plan, *trace);
  print(options, options.json ? figures(plan, &rendering) : describe(plan, rendering));
}

}  // namespace
}  // namespace ulmar::render

int main(int argc, char** argv) {
  return ulmar::apps::runProgram("ulmar-render", [&] {
    if (const auto options = ulmar::render::parseOptions(argc, argv)) {
      ulmar::render::run(*options);
    }
  });
}
