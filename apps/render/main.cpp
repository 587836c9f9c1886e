// ulmar-render: an input and an impulse response in, the input in that room out.
#include <cstddef>
#include <cstdint>
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
#include "apps/render/saved_response.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::render {
namespace {

using apps::print;

// Standard output may be the result's.
void report(const Options& options, const std::string& text) {
  if (options.quiet) return;
  if (audio::isStandardOutput(options.output) ||
      audio::isStandardOutput(options.savedResponse)) {
    std::cerr << text;
  } else {
    print(text);
  }
}

// A room for stereo input, or a recording as it is cut, faded and normalised.
void saveAlone(const Options& options, std::vector<std::string>& written) {
  audio::AudioInfo stereo;
  stereo.channels = 2;
  stereo.sampleRate = options.roomRate;
  const PreparedResponse prepared = prepareResponse(options, stereo);
  checkSavedResponse(options, prepared);
  if (!options.check) {
    saveResponse(options, prepared);
    written.push_back(options.savedResponse);
  }
  report(options,
         options.json ? figures(options, prepared) : describe(options, prepared));
}

RenderPlan planFor(const Options& options, const audio::AudioInfo& input,
                   std::vector<std::string>& written) {
  const PreparedResponse prepared = prepareResponse(options, input);
  RenderPlan plan = makeRenderPlan(options, input, prepared);
  if (options.savedResponse.empty()) return plan;
  checkSavedResponse(options, prepared);
  if (!options.check) {
    saveResponse(options, prepared);
    written.push_back(options.savedResponse);
  }
  return plan;
}

std::optional<Trace> traceOf(const RenderPlan& plan) {
  if (plan.options.picture.empty()) return std::nullopt;
  const auto envelope = [&](int numChannels, std::int64_t frames) {
    return Envelope(static_cast<std::size_t>(numChannels), frames,
                    plan.format.sampleRate);
  };
  return Trace(envelope(plan.routing.streamInputs(), plan.input.frames),
               envelope(plan.routing.renderedChannels(), plan.outFrames()));
}

void run(const Options& options, std::vector<std::string>& written) {
  if (options.input.empty()) return saveAlone(options, written);
  audio::AudioReader input(options.input);
  apps::noteIfCutShort(input.info(), options.strict);
  const RenderPlan plan = planFor(options, input.info(), written);
  if (!options.json) report(options, describe(plan));
  if (options.check || options.output.empty()) {
    if (options.json) report(options, figures(plan, nullptr));
    if (options.check && !options.json) {
      report(options, "Nothing was rendered, as --check asks.\n");
    }
    return;
  }
  std::optional<Trace> trace = traceOf(plan);
  const Rendering rendering = render(plan, input, trace ? &*trace : nullptr);
  written.push_back(audio::outputName(options.output));
  if (trace) {
    draw(plan, *trace);
    written.push_back(options.picture);
  }
  if (const std::string text = warning(plan, rendering); !text.empty()) {
    apps::warn(text);
  }
  report(options, options.json ? figures(plan, &rendering) : describe(plan, rendering));
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
