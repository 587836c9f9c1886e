// The ports. Audio inputs come first, then audio outputs, two ports for messages, and
// the controls, which all variants have in common.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "plugins/ulmar.lv2/variants.h"

namespace ulmar::lv2 {

/// What a host or a person sets, and what the plug-in tells, in the order of the ports.
enum class Control : std::uint32_t {
  enabled,
  freeWheeling,
  dry,
  wet,
  response,
  predelay,
  start,
  length,
  fade,
  level,
  bFormat,
  crossfeed,
  lowCost,
  block,
  rearDelay,
  crossover,
  // Of the plug-in:
  latency,
  status,
  peak
};
inline constexpr std::size_t kNumControls = 19;

struct ScalePoint {
  float value;
  const char* label;
};

struct ControlPort {
  Control control;
  const char* symbol;
  const char* name;
  float low;
  float high;
  float initial;
  const char* unit;     // as the units extension names it, or empty
  const char* traits;   // port properties and designation, in turtle
  const char* comment;  // for people, or empty
  std::span<const ScalePoint> points = {};

  bool isOutput() const { return control >= Control::latency; }
};

/// Values of Control::response.
enum class Choice { file, small, hall, cathedral };
/// Values of Control::level.
enum class Level { asIs, energy };
/// Values of Control::bFormat.
enum class BFormatChoice { none, fuma, ambix };

/// What Control::status tells.
enum class Status {
  ready,
  loading,
  fileFailed,   // the file cannot be used; the hall plays if nothing played before
  choiceFailed  // the settings cannot be; what played before goes on
};

/// In the order of Control.
const std::array<ControlPort, kNumControls>& controlPorts();

const ControlPort& portOf(Control control);

/// A value within the port's range; for what is no number, the initial one.
float limited(Control control, float value);

/// Indices of ports.
struct PortIndex {
  explicit PortIndex(const Variant& variant)
      : outputs(static_cast<std::uint32_t>(variant.inputs)),
        events(outputs + static_cast<std::uint32_t>(variant.outputs)),
        notify(events + 1),
        controls(events + 2),
        peaks(controls + static_cast<std::uint32_t>(kNumControls) - 1),
        count(peaks + static_cast<std::uint32_t>(variant.outputs)) {}

  std::uint32_t outputs;   // the first of them; the first input is 0
  std::uint32_t events;    // messages to the plug-in
  std::uint32_t notify;    // and from it
  std::uint32_t controls;  // the first of them, in the order of Control
  std::uint32_t peaks;     // the first of one per output, which end the controls
  std::uint32_t count;
};

}  // namespace ulmar::lv2
