// The words of the command line as values. Each function throws UsageError with a
// sentence that names the option, what was written and what may be.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "apps/render/options.h"

namespace ulmar::render {

/// Inclusive limits and the unit they are in, which may be empty.
struct Range {
  double low;
  double high;
  const char* unit;
};

/// Of --wet and --dry.
inline constexpr Range kLevel = {-200.0, 60.0, " dB"};

/// A finite decimal number, with or without a sign.
double parseNumber(const std::string& option, const std::string& text,
                   const Range& range);

/// A whole number in decimal digits.
std::int64_t parseWhole(const std::string& option, const std::string& text,
                        const Range& range);

/// A power of two in decimal digits.
int parsePowerOfTwo(const std::string& option, const std::string& text,
                    const Range& range);

/// A level in dB, as the linear gain that it means; "off" and "-inf" are silence.
double parseGain(const std::string& option, const std::string& text);

/// Of --gain: the same, or nothing for "auto".
std::optional<double> parseOutputGain(const std::string& option,
                                      const std::string& text);

/// "full", "none" or a time in seconds.
Tail parseTail(const std::string& option, const std::string& text);

/// "centre=off,surrounds=sum": what differs from BedMap's own.
BedMap parseBedMap(const std::string& option, const std::string& text);

/// "auto", "off" or a power of two, as host::StreamOptions::tail has them.
int parseTailBlock(const std::string& option, const std::string& text,
                   const Range& range);

/// The words of an option, each with what it means.
template <class Value, std::size_t size>
using Words = std::array<std::pair<const char*, Value>, size>;

inline constexpr Words<room::RoomKind, 3> kRoomWords = {
    {{"small", room::RoomKind::small},
     {"hall", room::RoomKind::hall},
     {"cathedral", room::RoomKind::cathedral}}};
inline constexpr Words<Normalization, 3> kNormalizationWords = {
    {{"none", Normalization::none},
     {"peak", Normalization::peak},
     {"energy", Normalization::energy}}};
inline constexpr Words<audio::SampleFormat, 4> kFormatWords = {
    {{"float", audio::SampleFormat::float32},
     {"32", audio::SampleFormat::pcm32},
     {"24", audio::SampleFormat::pcm24},
     {"16", audio::SampleFormat::pcm16}}};

inline constexpr Words<audio::ChannelLayout, 6> kChannelLayoutWords = {
    {{"mono", audio::ChannelLayout::mono},
     {"stereo", audio::ChannelLayout::stereo},
     {"quad", audio::ChannelLayout::quad},
     {"5.0", audio::ChannelLayout::five},
     {"5.1", audio::ChannelLayout::fiveOne},
     {"7.1", audio::ChannelLayout::sevenOne}}};
inline constexpr Words<GroupWay BedMap::*, 4> kGroupWords = {
    {{"front", &BedMap::front},
     {"centre", &BedMap::centre},
     {"surrounds", &BedMap::surrounds},
     {"back", &BedMap::back}}};
inline constexpr Words<GroupWay, 5> kGroupWayWords = {{{"pair", GroupWay::pair},
                                                       {"sum", GroupWay::sum},
                                                       {"left", GroupWay::left},
                                                       {"right", GroupWay::right},
                                                       {"off", GroupWay::off}}};
inline constexpr Words<ResponseLayout, 5> kResponseLayoutWords = {
    {{"mono", ResponseLayout::mono},
     {"stereo", ResponseLayout::stereo},
     {"true-stereo", ResponseLayout::trueStereo},
     {"b-format", ResponseLayout::bFormat},
     {"feeds", ResponseLayout::feeds}}};
inline constexpr Words<host::BFormat, 2> kBFormatWords = {
    {{"fuma", host::BFormat::fuma}, {"ambix", host::BFormat::ambix}}};

[[noreturn]] void refuseWord(const std::string& option, const std::string& text,
                             std::span<const char* const> words);

/// What one of the words means.
template <class Value, std::size_t size>
Value parseWord(const std::string& option, const std::string& text,
                const Words<Value, size>& words) {
  std::array<const char*, size> known{};
  for (std::size_t i = 0; i < size; ++i) {
    known[i] = words[i].first;
    if (text == known[i]) return words[i].second;
  }
  refuseWord(option, text, known);
}

/// The word for a value, which has one.
template <class Value, std::size_t size>
const char* wordFor(Value value, const Words<Value, size>& words) {
  const auto* const found =
      std::find_if(words.begin(), words.end(),
                   [&](const auto& word) { return word.second == value; });
  return found->first;
}

}  // namespace ulmar::render
