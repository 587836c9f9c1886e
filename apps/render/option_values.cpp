#include "apps/render/option_values.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <sstream>
#include <string_view>
#include <system_error>

#include "apps/common/program.h"

namespace ulmar::render {
namespace {

constexpr Range kTailSeconds = {0.0, 3600.0, " s"};

[[noreturn]] void refuse(const std::string& option, const std::string& text,
                         const std::string& allowed) {
  throw apps::UsageError(option + " is '" + text + "', and must be " + allowed);
}

std::string limits(const Range& range) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(17);
  text << range.low << " to " << range.high << range.unit;
  return text.str();
}

// Whether the whole text is a number of that type.
template <class Number>
bool readWholly(std::string_view text, Number& number) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

}  // namespace

double parseNumber(const std::string& option, const std::string& text,
                   const Range& range) {
  double number = 0.0;
  // NaN is in no range.
  if (!readWholly(text, number) || !(number >= range.low && number <= range.high)) {
    refuse(option, text, "a number from " + limits(range));
  }
  return number;
}

std::int64_t parseWhole(const std::string& option, const std::string& text,
                        const Range& range) {
  std::int64_t number = 0;
  if (!readWholly(text, number) || static_cast<double>(number) < range.low ||
      static_cast<double>(number) > range.high) {
    refuse(option, text, "a whole number from " + limits(range));
  }
  return number;
}

int parsePowerOfTwo(const std::string& option, const std::string& text,
                    const Range& range) {
  unsigned number = 0;
  if (!readWholly(text, number) || !std::has_single_bit(number) || number < range.low ||
      number > range.high) {
    refuse(option, text, "a power of two from " + limits(range));
  }
  return static_cast<int>(number);
}

double parseGain(const std::string& option, const std::string& text) {
  if (text == "off" || text == "-inf") return 0.0;
  double level = 0.0;
  if (!readWholly(text, level) || !(level >= kLevel.low && level <= kLevel.high)) {
    refuse(option, text, "a level from " + limits(kLevel) + ", or 'off'");
  }
  return std::pow(10.0, level / 20.0);
}

Tail parseTail(const std::string& option, const std::string& text) {
  if (text == "full") return {Tail::Kind::full, 0.0};
  if (text == "none") return {Tail::Kind::none, 0.0};
  double seconds = 0.0;
  if (!readWholly(text, seconds) ||
      !(seconds >= kTailSeconds.low && seconds <= kTailSeconds.high)) {
    refuse(option, text, "'full', 'none' or a time from " + limits(kTailSeconds));
  }
  return {Tail::Kind::seconds, seconds};
}

int parseTailBlock(const std::string& option, const std::string& text,
                   const Range& range) {
  if (text == "auto") return host::kTailAuto;
  if (text == "off") return host::kTailOff;
  unsigned number = 0;
  if (!readWholly(text, number) || !std::has_single_bit(number) || number < range.low ||
      number > range.high) {
    refuse(option, text, "'auto', 'off' or a power of two from " + limits(range));
  }
  return static_cast<int>(number);
}

void refuseWord(const std::string& option, const std::string& text,
                std::span<const char* const> words) {
  std::string allowed;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) allowed += i + 1 == words.size() ? " or " : ", ";
    allowed += words[i];
  }
  refuse(option, text, allowed);
}

}  // namespace ulmar::render
