// ulmar-inspect: what an impulse response is like, in numbers and a picture.
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/files.h"
#include "apps/common/program.h"
#include "apps/draw/picture.h"
#include "apps/inspect/drawing.h"
#include "apps/inspect/inspection.h"
#include "apps/inspect/options.h"
#include "apps/inspect/report.h"
#include "ulmar/host/error.h"

namespace ulmar::inspect {
namespace {

void checkPicture(const Options& options) {
  if (options.picture.empty()) return;
  draw::checkPictureOutput(options.picture);
  apps::refuseToReplace(options.picture, options.responses[0]);
}

void runOne(const Options& options, std::vector<std::string>& written) {
  checkPicture(options);
  const Inspection inspection = inspect(options.responses[0], options);
  apps::noteIfCutShort(inspection.file.info, options.strict);
  if (!options.picture.empty()) {
    draw(inspection, options.picture);
    written.push_back(options.picture);
  }
  const Results& results = inspection.results;
  apps::print(options.json  ? figures(results)
              : options.csv ? csv({results})
                            : describe(results));
}

// What can be measured is printed, whatever becomes of the others.
void runMany(const Options& options) {
  std::vector<Results> all;
  std::string refusals;
  std::size_t numRefused = 0;
  for (const std::string& path : options.responses) {
    try {
      Inspection inspection = inspect(path, options);
      apps::noteIfCutShort(inspection.file.info, options.strict);
      all.push_back(std::move(inspection.results));
    } catch (const Error& error) {
      refusals += (refusals.empty() ? "" : "; ") + std::string(error.what());
      ++numRefused;
    }
  }
  if (!all.empty()) {
    apps::print(options.json ? figures(all) : options.csv ? csv(all) : describe(all));
  }
  if (numRefused > 0) {
    fail(numRefused, " of ", options.responses.size(),
         " files were left out: ", refusals);
  }
}

void run(const Options& options, std::vector<std::string>& written) {
  if (options.responses.size() == 1) {
    runOne(options, written);
  } else {
    runMany(options);
  }
}

}  // namespace
}  // namespace ulmar::inspect

int main(int argc, char** argv) {
  return ulmar::apps::runProgram(
      "ulmar-inspect", [&](std::vector<std::string>& written) {
        if (const auto options = ulmar::inspect::parseOptions(argc, argv)) {
          ulmar::inspect::run(*options, written);
        }
      });
}
