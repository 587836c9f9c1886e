// ulmar-inspect: what an impulse response is like, in numbers and a picture.
#include <optional>
#include <string>
#include <vector>

#include "apps/common/files.h"
#include "apps/common/program.h"
#include "apps/draw/picture.h"
#include "apps/inspect/drawing.h"
#include "apps/inspect/inspection.h"
#include "apps/inspect/options.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

void checkPicture(const Options& options) {
  if (options.picture.empty()) return;
  draw::checkPictureOutput(options.picture);
  apps::refuseToReplace(options.picture, options.response);
}

void run(const Options& options, std::vector<std::string>& written) {
  checkPicture(options);
  const Inspection inspection = inspect(options.response);
  apps::noteIfCutShort(inspection.file.info, options.strict);
  if (!options.picture.empty()) {
    draw(inspection, options.picture);
    written.push_back(options.picture);
  }
  apps::print(options.json ? figures(inspection.results)
                           : describe(inspection.results));
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
