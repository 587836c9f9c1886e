// ulmar-render: an input and an impulse response in, the input in that room out.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/files.h"
#include "apps/common/program.h"
#include "apps/render/drawing.h"
#include "apps/render/options.h"
#include "apps/render/render.h"
#include "apps/render/render_plan.h"
#include "apps/render/report.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::render {
namespace {

using apps::print;

void run(const Options& options, std::vector<std::string>& written) {
  audio::AudioReader input(options.input);
  apps::noteIfCutShort(input.info(), options.strict);
  const RenderPlan plan = makeRenderPlan(options, input.info());
  const auto report = [&](const std::string& text) {
    if (options.quiet) return;
    if (audio::isStandardOutput(options.output)) {
      std::cerr << text;
    } else {
      print(text);
    }
  };
  if (!options.json) report(describe(plan));
  if (options.check) {
    report(options.json ? figures(plan, nullptr)
                        : "Nothing was rendered, as --check asks.\n");
    return;
  }
  std::optional<Trace> trace;
  if (!options.picture.empty()) {
    trace.emplace(plan.input.frames, plan.outFrames(), plan.format.sampleRate);
  }
  const Rendering rendering = render(plan, input, trace ? &*trace : nullptr);
  written.push_back(audio::outputName(options.output));
  if (trace) {
    draw(plan, *trace);
    written.push_back(options.picture);
  }
  if (const std::string text = warning(plan, rendering); !text.empty()) {
    apps::warn(text);
  }
  report(options.json ? figures(plan, &rendering) : describe(plan, rendering));
}

}  // namespace
}  // namespace ulmar::render

int main(int argc, char** argv) {
  return ulmar::apps::runProgram(
      "ulmar-render", [&](std::vector<std::string>& written) {
        if (const auto options = ulmar::render::parseOptions(argc, argv)) {
          ulmar::render::run(*options, written);
        }
      });
}
