#include "apps/render/option_values.h"

#include <bit>
#include <charconv>
#include <string_view>
#include <system_error>

#include "apps/common/program.h"
#include "apps/common/text.h"
#include "ulmar/host/decibels.h"

namespace ulmar::render {
namespace {

constexpr Range kTailSeconds = {0.0, 3600.0, " s"};

[[noreturn]] void refuse(const std::string& option, const std::string& text,
                         const std::string& allowed) {
  throw apps::UsageError(option + " is '" + text + "', and must be " + allowed);
}

std::string limits(const Range& range) {
  return apps::shortest(range.low) + " to " + apps::shortest(range.high) + range.unit;
}

// Whether the whole text is a number of that type.
template <class Number>
bool readWholly(std::string_view text, Number& number) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

// Whether it is a number within the range, which NaN never is.
bool readWithin(const Range& range, std::string_view text, double& number) {
  return readWholly(text, number) && number >= range.low && number <= range.high;
}

bool readPowerOfTwo(const Range& range, std::string_view text, int& number) {
  return readWholly(text, number) && number > 0 &&
         std::has_single_bit(static_cast<unsigned>(number)) && number >= range.low &&
         number <= range.high;
}

}  // namespace

double parseNumber(const std::string& option, const std::string& text,
                   const Range& range) {
  double number = 0.0;
  if (!readWithin(range, text, number)) {
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
  int number = 0;
  if (!readPowerOfTwo(range, text, number)) {
    refuse(option, text, "a power of two from " + limits(range));
  }
  return number;
}

double parseGain(const std::string& option, const std::string& text) {
  if (text == "off" || text == "-inf") return 0.0;
  std::string_view digits = text;
  if (digits.ends_with("dB")) digits.remove_suffix(2);
  if (digits.ends_with(' ')) digits.remove_suffix(1);
  double level = 0.0;
  if (!readWithin(kLevel, digits, level)) {
    refuse(option, text, "a level from " + limits(kLevel) + ", or 'off'");
  }
  return gainOfDecibels(level);
}

std::optional<double> parseOutputGain(const std::string& option,
                                      const std::string& text) {
  if (text == "auto") return std::nullopt;
  return parseGain(option, text);
}

Tail parseTail(const std::string& option, const std::string& text) {
  if (text == "full") return {Tail::Kind::full, 0.0};
  if (text == "none") return {Tail::Kind::none, 0.0};
  double seconds = 0.0;
  if (!readWithin(kTailSeconds, text, seconds)) {
    refuse(option, text, "'full', 'none' or a time from " + limits(kTailSeconds));
  }
  return {Tail::Kind::seconds, seconds};
}

BedMap parseBedMap(const std::string& option, const std::string& text) {
  const auto refusal = [&](const char* why) {
    std::string sentence = option;
    return apps::UsageError(
        sentence.append(" is '").append(text).append("', and ").append(why));
  };
  BedMap map;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(',', start), text.size());
    const std::string item = text.substr(start, end - start);
    const std::size_t equals = item.find('=');
    if (equals == std::string::npos) {
      throw refusal("must be a list like centre=off,surrounds=sum");
    }
    GroupWay BedMap::*const group =
        parseWord(option, item.substr(0, equals), kGroupWords);
    const GroupWay way = parseWord(option, item.substr(equals + 1), kGroupWayWords);
    if (group == &BedMap::centre && way == GroupWay::pair) {
      throw refusal("the centre, a single channel, makes no pair");
    }
    map.*group = way;
    start = end + 1;
  }
  return map;
}

int parseTailBlock(const std::string& option, const std::string& text,
                   const Range& range) {
  if (text == "auto") return host::kTailAuto;
  if (text == "off") return host::kTailOff;
  int number = 0;
  if (!readPowerOfTwo(range, text, number)) {
    refuse(option, text, "'auto', 'off' or a power of two from " + limits(range));
  }
  return number;
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
