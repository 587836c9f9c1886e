// ulmar-render: dry audio and an impulse response in, wet audio out.
#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <optional>

#include "apps/render/drawing.h"
#include "apps/render/options.h"
#include "apps/render/plan.h"
#include "apps/render/render.h"
#include "apps/render/report.h"
#include "host/audio_file.h"
#include "host/temp_file.h"

namespace ulmar::render {
namespace {

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

// Output that nobody takes and files beyond a limit are failures to report, no reason
// to end at once and leave a half file.
void prepareSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  host::removeTempFilesOnSignal();
}

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

int refuse(const char* sentence, int exitCode) {
  std::cerr << "ulmar-render: " << sentence << '\n';
  return exitCode;
}

int runGuarded(int argc, const char* const* argv) {
  try {
    prepareSignals();
    if (const std::optional<Options> options = parseOptions(argc, argv)) run(*options);
    return 0;
  } catch (const UsageError& error) {
    return refuse(error.what(), kExitUsage);
  } catch (const std::bad_alloc&) {
    return refuse("there is not enough memory; a shorter response takes less",
                  kExitRefused);
  } catch (const std::exception& error) {
    return refuse(error.what(), kExitRefused);
  }
}

}  // namespace
}  // namespace ulmar::render

int main(int argc, char** argv) { return ulmar::render::runGuarded(argc, argv); }
