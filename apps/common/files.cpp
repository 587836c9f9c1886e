#include "apps/common/files.h"

#include <cmath>
#include <filesystem>
#include <system_error>

#include "apps/common/program.h"
#include "apps/common/text.h"
#include "ulmar/host/error.h"

namespace ulmar::apps {

void refuseToReplace(const std::string& output, const std::string& read) {
  // Where either cannot be examined they differ, or reading it gives the reason.
  std::error_code missing;
  if (!std::filesystem::equivalent(read, output, missing) || missing) return;
  fail("cannot write ", output, ": it is ", read,
       ", which is read and would be replaced; give it another name");
}

void noteIfCutShort(const audio::AudioInfo& info, bool strict) {
  const std::int64_t missing = info.missingFrames();
  if (missing <= 0 && !info.lacksLastPage) return;
  std::string text = "is cut short: ";
  if (missing > 0) {
    const double part =
        static_cast<double>(missing) / static_cast<double>(info.promisedFrames);
    // Of two digits, and never all.
    const std::string percent = significant(100.0 * part, part < 0.99 ? 2 : 4);
    text += "of the " + secondsText(info.promisedFrames, info.sampleRate) +
            " that its header promises, " + secondsText(missing, info.sampleRate) +
            " (" + percent + " %) are missing";
  } else {
    text += "after the " + secondsText(info.frames, info.sampleRate) +
            " that are there its last page is missing";
  }
  if (strict) {
    fail("cannot read ", info.path, ": it ", text,
         ", and --strict takes whole files only");
  }
  warn(info.path + " " + text);
}

}  // namespace ulmar::apps
