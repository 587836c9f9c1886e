#include "ulmar/audio/tags.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace ulmar::audio {
namespace {

constexpr std::array<std::pair<Tag, int>, 9> kSfStrings = {{
    {Tag::title, SF_STR_TITLE},
    {Tag::artist, SF_STR_ARTIST},
    {Tag::album, SF_STR_ALBUM},
    {Tag::trackNumber, SF_STR_TRACKNUMBER},
    {Tag::genre, SF_STR_GENRE},
    {Tag::date, SF_STR_DATE},
    {Tag::comment, SF_STR_COMMENT},
    {Tag::copyright, SF_STR_COPYRIGHT},
    {Tag::license, SF_STR_LICENSE},
}};

// A field of fixed length, which ends with it or with a zero.
template <std::size_t len>
std::string textOf(const char (&field)[len]) {
  return {field, std::find(field, field + len, '\0')};
}

template <std::size_t len>
void setText(char (&field)[len], const std::string& text) {
  std::copy_n(text.begin(), std::min(text.size(), len), field);
}

}  // namespace

Tags tagsOf(SNDFILE* file) {
  // So that all of them together fit beside 4 GiB of audio.
  constexpr std::size_t kMaxLen = 4000;
  Tags tags;
  for (const auto& [tag, sfString] : kSfStrings) {
    const char* const text = sf_get_string(file, sfString);
    if (text != nullptr && *text != '\0') {
      tags.texts[tag] = std::string(text, strnlen(text, kMaxLen));
    }
  }
  SF_BROADCAST_INFO info = {};
  if (sf_command(file, SFC_GET_BROADCAST_INFO, &info, sizeof info) == SF_TRUE) {
    tags.broadcast = {
        .description = textOf(info.description),
        .originator = textOf(info.originator),
        .originatorReference = textOf(info.originator_reference),
        .date = textOf(info.origination_date),
        .time = textOf(info.origination_time),
        .timeReference = std::uint64_t{info.time_reference_high} << 32 |
                         std::uint64_t{info.time_reference_low},
    };
  }
  return tags;
}

void setTags(SNDFILE* file, const Tags& tags) {
  for (const auto& [tag, sfString] : kSfStrings) {
    const auto text = tags.texts.find(tag);
    if (text != tags.texts.end()) sf_set_string(file, sfString, text->second.c_str());
  }
  if (!tags.broadcast) return;
  const Broadcast& broadcast = *tags.broadcast;
  SF_BROADCAST_INFO info = {};
  setText(info.description, broadcast.description);
  setText(info.originator, broadcast.originator);
  setText(info.originator_reference, broadcast.originatorReference);
  setText(info.origination_date, broadcast.date);
  setText(info.origination_time, broadcast.time);
  info.time_reference_low = static_cast<std::uint32_t>(broadcast.timeReference);
  info.time_reference_high = static_cast<std::uint32_t>(broadcast.timeReference >> 32);
  info.version = 1;
  sf_command(file, SFC_SET_BROADCAST_INFO, &info, sizeof info);
}

}  // namespace ulmar::audio
