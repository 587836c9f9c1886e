#include "apps/common/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

#include "ulmar/host/decibels.h"

namespace ulmar::apps {
namespace {

/// write(first, last): to a buffer that takes any number, as std::to_chars() does.
template <class Write>
std::string digitsOf(const Write& write) {
  std::array<char, 32> digits{};
  char* const first = digits.data();
  const char* const end = write(first, first + digits.size()).ptr;
  return {first, static_cast<std::size_t>(end - first)};
}

}  // namespace

std::int64_t framesIn(double seconds, int sampleRate) {
  return std::llround(seconds * sampleRate);
}

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(decimals) << value;
  const std::string digits = text.str();
  const bool isZero = digits.find_first_not_of("-0.") == std::string::npos;
  return isZero && digits[0] == '-' ? digits.substr(1) : digits;
}

std::string shortest(double value) {
  return digitsOf(
      [&](char* first, char* last) { return std::to_chars(first, last, value); });
}

std::string significant(double value, int digits) {
  return digitsOf([&](char* first, char* last) {
    return std::to_chars(first, last, value, std::chars_format::general, digits);
  });
}

std::string secondsText(double seconds) {
  constexpr double kHour = 3600.0;
  if (seconds < 1.0) return fixed(seconds, 3) + " s";
  if (seconds < kHour) return fixed(seconds, 2) + " s";
  const auto whole = static_cast<std::int64_t>(seconds);
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::setfill('0') << whole / 3600 << ':' << std::setw(2) << whole / 60 % 60
       << ':' << std::setw(2) << whole % 60 << " h";
  return text.str();
}

std::string secondsText(std::int64_t frames, int sampleRate) {
  return secondsText(static_cast<double>(frames) / sampleRate);
}

std::string millisecondsText(double seconds, int decimals) {
  return fixed(1000.0 * seconds, decimals) + " ms";
}

std::string decibelText(double gain) {
  if (gain == 0.0) return "off";
  return fixed(decibelsOfGain(gain), 1) + " dB";
}

std::string memoryText(std::int64_t bytes) {
  return fixed(static_cast<double>(bytes) / (1 << 20), 1) + " MiB";
}

std::string countText(std::int64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string audioText(int channels, int sampleRate, std::int64_t frames) {
  return countText(channels, "channel") + ", " + std::to_string(sampleRate) + " Hz, " +
         secondsText(frames, sampleRate);
}

std::string shellPath(const std::string& path) {
  constexpr const char* kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./,:@%";
  std::string file = path.starts_with('-') ? "./" + path : path;
  if (file.find_first_not_of(kPlain) == std::string::npos) return file;
  std::string quoted = "'";
  for (const char letter : file) {
    if (letter == '\'') {
      quoted += "'\\''";  // the quotation ends, and starts again after a quote
    } else {
      quoted += letter;
    }
  }
  return quoted + "'";
}

}  // namespace ulmar::apps
