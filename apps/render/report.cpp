#include "apps/render/report.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string_view>

#include "apps/render/option_values.h"
#include "apps/render/text.h"

namespace ulmar::render {
namespace {

// The library's upper clamp.
constexpr double kFullScale = 32767.0 / 32768.0;

// One line: what it is about in a column of its own, then the sentence.
std::string line(std::string_view label, const std::string& text) {
  constexpr std::size_t kLabelWidth = 10;
  std::string result(label);
  result.resize(kLabelWidth, ' ');
  return result + text + '\n';
}

std::string audioText(int channels, int sampleRate, std::int64_t frames) {
  return countText(channels, "channel") + ", " + std::to_string(sampleRate) + " Hz, " +
         secondsText(frames, sampleRate);
}

std::string materialText(const host::AudioInfo& material) {
  return material.path + ": " + material.format + ", " +
         audioText(material.channels, material.sampleRate, material.frames);
}

std::string responseText(const Plan& plan) {
  const ResponseInfo& info = plan.response;
  const int rate = info.sourceRate;
  std::string text = info.name + ": ";
  if (!info.format.empty()) text += info.format + ", ";
  text += audioText(info.channels, rate, info.sourceFrames);
  if (info.usedFrames != info.sourceFrames) {
    text += "; used from " + secondsText(info.startFrame, rate) + " to " +
            secondsText(info.startFrame + info.usedFrames, rate);
  }
  if (info.fadeFrames > 0) {
    text += "; faded out over " + secondsText(info.fadeFrames, rate);
  }
  if (rate != plan.material.sampleRate) {
    text += "; resampled to " + std::to_string(plan.material.sampleRate) + " Hz";
  }
  switch (plan.options.normalization) {
    case Normalization::peak:
      return text + "; brought to a peak of 1 by " +
             decibelText(info.normalizationGain);
    case Normalization::energy:
      return text + "; brought to an energy of 1 by " +
             decibelText(info.normalizationGain);
    default:
      return text;
  }
}

std::string routingText(const Plan& plan) {
  const bool mono = plan.material.channels == 1;
  switch (plan.response.channels) {
    case 1:
      return mono ? "mono through the response"
                  : "left and right, each through the same response to its own side";
    case 2:
      return mono ? "mono to left and right, each through its own response"
                  : "left to left and right to right, each through its own response";
    default:
      return mono ? "true stereo from mono: to the left through LL + RL, to the right "
                    "through LR + RR"
                  : "true stereo: left and right to both sides through LL, LR, RL, RR";
  }
}

std::string truncationText(const Plan& plan) {
  const ParamStruct& params = plan.params;
  const int numChunks = params.numSegments * params.chunksPerSegment;
  const int numKept = std::max(numChunks, 32);
  if (params.hfTruncate == 0) return "";
  if (plan.numPartitions <= numKept) {
    return ", upper band left whole, as the response is no longer than " +
           std::to_string(numKept) + " blocks";
  }
  return ", upper band cut after " +
         secondsText(std::int64_t{numKept} * params.blockLen,
                     plan.material.sampleRate) +
         (plan.response.predelay > 0 ? " of predelay and response" : "");
}

std::string engineText(const Plan& plan) {
  const ParamStruct& params = plan.params;
  std::ostringstream text;
  text << countText(plan.numPartitions, "block") << " of " << params.blockLen
       << " frames, in " << countText(params.numSegments, "segment") << " of "
       << countText(params.chunksPerSegment, "chunk") << ", " << plan.rowProducts
       << " row products per block" << truncationText(plan) << ", "
       << fixed(static_cast<double>(plan.memory) / (1 << 20), 1) << " MiB";
  return text.str();
}

std::string latencyText(const Plan& plan) {
  const int blockLen = plan.params.blockLen;
  return std::to_string(blockLen) + " frames (" +
         fixed(1000.0 * blockLen / plan.material.sampleRate, 1) + " ms), " +
         (plan.options.align ? "taken off, wet and dry aligned"
                             : "left in: the wet signal lags the dry");
}

std::string mixText(const Plan& plan) {
  const Options& options = plan.options;
  std::string text =
      "wet " + decibelText(options.wetGain) + ", dry " + decibelText(options.dryGain);
  if (plan.response.predelay > 0) {
    text += ", predelay " + fixed(1000.0 * options.predelay, 1) + " ms (" +
            countText(plan.response.predelay, "frame") + ")";
  }
  if (options.crossfeed > 0.0) text += ", crossfeed " + fixed(options.crossfeed, 2);
  return text;
}

std::string outputText(const Plan& plan) {
  const host::AudioFormat& format = plan.format;
  std::string text = plan.options.output.empty() ? "" : plan.options.output + ": ";
  text += wordFor(format.samples, kFormatWords);
  if (format.samples != host::SampleFormat::float32) text += " bit";
  text += ", " + audioText(format.channels, format.sampleRate, plan.outFrames());
  if (plan.tailFrames > 0) {
    text += ", of which the tail " + secondsText(plan.tailFrames, format.sampleRate);
  }
  return text;
}

std::string peakText(const Rendering& rendering) {
  const auto level = [](float peak) {
    return peak > 0.0F ? decibelText(peak) + "FS" : "silence";
  };
  const std::vector<float>& peaks = rendering.peaks;
  std::string text = peaks.size() == 1
                         ? level(peaks[0])
                         : "left " + level(peaks[0]) + ", right " + level(peaks[1]);
  const double gain = gainWithoutClipping(rendering);
  if (gain == 1.0) return text + ", nothing clipped";
  // Rounded down, so that it is enough.
  const double decibels = std::floor(2000.0 * std::log10(gain)) / 100.0;
  return text + ", clipped: " + fixed(decibels, 2) +
         " dB on --wet and --dry would avoid that";
}

}  // namespace

double gainWithoutClipping(const Rendering& rendering) {
  const double peak = *std::max_element(rendering.peaks.begin(), rendering.peaks.end());
  return peak > kFullScale ? kFullScale / peak : 1.0;
}

std::string describe(const Plan& plan) {
  return line("material", materialText(plan.material)) +
         line("response", responseText(plan)) + line("routing", routingText(plan)) +
         line("mix", mixText(plan)) + line("engine", engineText(plan)) +
         line("latency", latencyText(plan)) + line("output", outputText(plan));
}

std::string describe(const Plan& plan, const Rendering& rendering) {
  const double duration =
      static_cast<double>(plan.outFrames()) / plan.format.sampleRate;
  return line("peak", peakText(rendering)) +
         line("rendered",
              secondsText(duration) + " in " + secondsText(rendering.elapsed) + ", " +
                  fixed(duration / rendering.elapsed, 0) + " times real time");
}

}  // namespace ulmar::render
