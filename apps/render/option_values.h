// The words of the command line as values. Each function throws UsageError with a
// sentence that names the option, what was written and what may be.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "apps/render/options.h"

namespace ulmar::render {

/// Inclusive limits and the unit they are in, which may be empty.
struct Range {
  double low;
  double high;
  const char* unit;
};

/// A finite decimal number, with or without a sign.
double parseNumber(const std::string& option, const std::string& text,
                   const Range& range);

/// A whole number in decimal digits.
std::int64_t parseWhole(const std::string& option, const std::string& text,
                        const Range& range);

/// A level in dB, as the linear gain that it means; "off" and "-inf" are silence.
double parseGain(const std::string& option, const std::string& text);

/// "full", "none" or a time in seconds.
Tail parseTail(const std::string& option, const std::string& text);

[[noreturn]] void refuseWord(const std::string& option, const std::string& text,
                             const std::vector<std::string>& words);

/// One of the words, as the value beside it.
template <class Value>
Value parseWord(const std::string& option, const std::string& text,
                const std::vector<std::pair<std::string, Value>>& choices) {
  std::vector<std::string> words;
  for (const auto& [word, value] : choices) {
    if (text == word) return value;
    words.push_back(word);
  }
  refuseWord(option, text, words);
}

}  // namespace ulmar::render
