#include "plugins/ulmar.lv2/ports.h"

#include <algorithm>
#include <cmath>

namespace ulmar::lv2 {
namespace {

constexpr ScalePoint kChoices[] = {{0.0F, "File (the hall until one is loaded)"},
                                   {1.0F, "Small room, 0.45 s"},
                                   {2.0F, "Hall, 2 s"},
                                   {3.0F, "Cathedral, 6 s"}};
constexpr ScalePoint kLevels[] = {{0.0F, "As it is"},
                                  {1.0F, "As loud as the dry signal"}};
constexpr ScalePoint kBFormats[] = {{0.0F, "No"}, {1.0F, "FuMa"}, {2.0F, "AmbiX"}};
constexpr ScalePoint kBlocks[] = {
    {0.0F, "The host's"}, {64.0F, "64"},     {128.0F, "128"},
    {256.0F, "256"},      {512.0F, "512"},   {1024.0F, "1024"},
    {2048.0F, "2048"},    {4096.0F, "4096"}, {8192.0F, "8192"}};
constexpr ScalePoint kStates[] = {{0.0F, "Ready"},
                                  {1.0F, "Loading"},
                                  {2.0F, "The file cannot be used"},
                                  {3.0F, "The settings cannot be used"}};

constexpr const char* kRebuilds = "lv2:portProperty pprops:expensive";
constexpr const char* kList =
    "lv2:portProperty lv2:integer , lv2:enumeration , pprops:expensive";
constexpr const char* kToggleRebuilds =
    "lv2:portProperty lv2:toggled , lv2:integer , pprops:expensive";

}  // namespace

const std::array<ControlPort, kNumControls>& controlPorts() {
  using enum Control;
  static const std::array<ControlPort, kNumControls> kPorts = {
      {{enabled, "enabled", "Enabled", 0.0F, 1.0F, 1.0F, "",
        "lv2:designation lv2:enabled ; lv2:portProperty lv2:toggled , lv2:integer",
        "Off, the dry signal passes as it is, with the same latency."},
       {freeWheeling, "freewheeling", "Freewheeling", 0.0F, 1.0F, 0.0F, "",
        "lv2:designation lv2:freeWheeling ; "
        "lv2:portProperty lv2:toggled , lv2:integer , pprops:notOnGUI",
        "The host renders faster or slower than real time, and waits for responses."},
       {dry, "dry", "Dry", -90.0F, 12.0F, 0.0F, "db", "",
        "Level of the input. -90 dB is silence."},
       {wet, "wet", "Wet", -90.0F, 12.0F, -12.0F, "db", "",
        "Level of the reverberation. -90 dB is silence."},
       {response, "response", "Response", 0.0F, 3.0F, 0.0F, "", kList,
        "A built-in room, or the file.", kChoices},
       {predelay, "predelay", "Pre-delay", 0.0F, 500.0F, 0.0F, "ms", kRebuilds,
        "Delays the reverberation."},
       {start, "start", "Start", 0.0F, 10.0F, 0.0F, "s", kRebuilds,
        "Skips so much of the response."},
       {length, "length", "Length", 0.01F, 30.0F, 30.0F, "s", kRebuilds,
        "Uses so much of the response at most."},
       {fade, "fade", "Fade", 0.0F, 10.0F, 0.0F, "s", kRebuilds,
        "Fades out over the end of what is used."},
       {level, "level", "Level", 0.0F, 1.0F, 1.0F, "", kList,
        "Whether the reverberation of pink noise is brought to the level of the noise.",
        kLevels},
       {bFormat, "bformat", "B-format", 0.0F, 2.0F, 0.0F, "", kList,
        "Whether the file's channels are B-format, which nothing in it tells.",
        kBFormats},
       {crossfeed, "crossfeed", "Cross-feed", 0.0F, 1.0F, 0.0F, "", "",
        "Sends so much of each side into the other side's reverberation."},
       {lowCost, "low_cost", "Low-cost upper band", 0.0F, 1.0F, 0.0F, "",
        kToggleRebuilds,
        "Cuts the response above a quarter of the sample rate after its first part."},
       {block, "block", "Block length", 0.0F, 8192.0F, 0.0F, "frame", kList,
        "The latency. The longer, the less work.", kBlocks},
       {rearDelay, "rear_delay", "Rear delay", 0.0F, 100.0F, 0.0F, "ms", kRebuilds,
        "Delays the reverberation of both surrounds. Of five outputs."},
       {crossover, "crossover", "Crossover", 100.0F, 2000.0F, 400.0F, "hz", kRebuilds,
        "Between the bands of the B-format decoder. Of five outputs."},
       {latency, "latency", "Latency", 0.0F, 8192.0F, 0.0F, "frame",
        "lv2:designation lv2:latency ; "
        "lv2:portProperty lv2:reportsLatency , lv2:integer , pprops:notOnGUI",
        ""},
       {status, "status", "Status", 0.0F, 3.0F, 0.0F, "",
        "lv2:portProperty lv2:integer , lv2:enumeration", "", kStates},
       {peak, "peak", "Peak", -90.0F, 40.0F, -90.0F, "db", "",
        "Largest sample of an output; falls by 20 dB in a second."}}};
  return kPorts;
}

const ControlPort& portOf(Control control) {
  return controlPorts()[static_cast<std::size_t>(control)];
}

float limited(Control control, float value) {
  const ControlPort& port = portOf(control);
  return std::isnan(value) ? port.initial : std::clamp(value, port.low, port.high);
}

}  // namespace ulmar::lv2
