// The C interface to responses from audio files.
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/resample.h"
#include "ulmar/audio/response_layout.h"
#include "ulmar/audio/ulmar_audio.h"
#include "ulmar/host/c_calls.h"
#include "ulmar/host/geometry.h"

struct UlmarResponse {
  ulmar::Planar samples;
  int rate = 0;              // Hz
  int delay = 0;             // frames
  std::int64_t missing = 0;  // frames, at the file's rate
  std::vector<const float*> channels;
  std::vector<std::int64_t> frames;
};

namespace {

using ulmar::fail;
using ulmar::audio::AudioFile;
using ulmar::audio::ResponseLayout;
using ulmar::host::BFormat;
using ulmar::host::failed;
using ulmar::host::guarded;
using ulmar::host::need;

std::optional<BFormat> conventionOf(int layout) {
  if (layout == ULMAR_LAYOUT_FUMA) return BFormat::fuma;
  if (layout == ULMAR_LAYOUT_AMBIX) return BFormat::ambix;
  return std::nullopt;
}

// The layout of a file that shall be one of the C layout's.
ResponseLayout layoutIn(const AudioFile& file, int layout) {
  const int channels = file.info.channels;
  ResponseLayout result = ResponseLayout::stereo;
  if (conventionOf(layout)) {
    result = ResponseLayout::bFormat;
  } else if (layout == ULMAR_LAYOUT_FEEDS) {
    result = ResponseLayout::feeds;
  } else if (channels == 1) {
    result = ResponseLayout::mono;
  } else if (channels == 4) {
    result = ResponseLayout::trueStereo;
  }
  if (!ulmar::audio::canHave(result, channels, conventionOf(layout)) ||
      !ulmar::audio::statesSpeakersOf(result, file.info)) {
    constexpr const char* kWanted[] = {
        "1, 2 or 4 can be, for one or two outputs", "3, 4, 6 or 8 can be, of B-format",
        "4 or 8 can be, of B-format in SN3D", "those of 5.0, 5.1 or twice 5.0 can be"};
    fail("cannot use ", file.info.path, ": its channels are ", channels, ", and ",
         kWanted[layout]);
  }
  return result;
}

// As the C interface to streams takes them: B-format as it is in the file.
ulmar::Planar channelsFor(AudioFile file, ResponseLayout layout) {
  if (layout == ResponseLayout::bFormat) return std::move(file.samples);
  return ulmar::audio::channelsInOrder(std::move(file), layout, std::nullopt);
}

void checkLength(const AudioFile& file, int rate, int delay) {
  const double frames =
      static_cast<double>(file.info.frames) * rate / file.info.sampleRate + 2.0 * delay;
  if (frames <= ulmar::host::kMaxIRLen) return;
  fail("cannot use ", file.info.path, ": at ", rate, " Hz it has ", frames,
       " frames, and the limit is ", ulmar::host::kMaxIRLen);
}

UlmarResponse read(const char* path, int sampleRate, int layout) {
  AudioFile file = ulmar::audio::readAudioFile(path);
  const int fileRate = file.info.sampleRate;
  UlmarResponse result;
  result.rate = sampleRate != 0 ? sampleRate : fileRate;
  result.delay = ulmar::audio::resampleRinging(fileRate, result.rate);
  result.missing = file.info.lacksLastPage ? -1 : file.info.missingFrames();
  const ResponseLayout kind = layoutIn(file, layout);
  checkLength(file, result.rate, result.delay);
  result.samples = ulmar::audio::resampleResponse(channelsFor(std::move(file), kind),
                                                  fileRate, result.rate);
  for (const auto& channel : result.samples) {
    result.channels.push_back(channel.data());
    result.frames.push_back(static_cast<std::int64_t>(channel.size()));
  }
  return result;
}

}  // namespace

const char* ulmar_audio_error(void) { return ulmar::host::lastSentence(); }

UlmarCode ulmar_response_read(const char* path, int32_t rate, int32_t layout,
                              UlmarResponse** response) {
  if (response == nullptr) {
    return failed(ULMAR_BAD_ARGUMENT, "response is null, and must not be");
  }
  *response = nullptr;
  return guarded([&] {
    need(path, "path");
    using ulmar::audio::kMaxFileRate;
    using ulmar::audio::kMinFileRate;
    if (rate != 0 && (rate < kMinFileRate || rate > kMaxFileRate)) {
      fail("the sample rate is ", rate, " Hz, and the limits are ", kMinFileRate,
           " and ", kMaxFileRate, " Hz");
    }
    if (layout < ULMAR_LAYOUT_STEREO || layout > ULMAR_LAYOUT_FEEDS) {
      fail("the layout is ", layout, ", and the limits are 0 and 3");
    }
    *response = new UlmarResponse(read(path, rate, layout));
  });
}

void ulmar_response_destroy(UlmarResponse* response) { delete response; }

const float* const* ulmar_response_samples(const UlmarResponse* response) {
  return response == nullptr ? nullptr : response->channels.data();
}

const int64_t* ulmar_response_frames(const UlmarResponse* response) {
  return response == nullptr ? nullptr : response->frames.data();
}

int32_t ulmar_response_channels(const UlmarResponse* response) {
  return response == nullptr ? 0 : static_cast<int32_t>(response->channels.size());
}

int32_t ulmar_response_rate(const UlmarResponse* response) {
  return response == nullptr ? 0 : response->rate;
}

int32_t ulmar_response_delay(const UlmarResponse* response) {
  return response == nullptr ? 0 : response->delay;
}

int64_t ulmar_response_missing(const UlmarResponse* response) {
  return response == nullptr ? 0 : response->missing;
}
