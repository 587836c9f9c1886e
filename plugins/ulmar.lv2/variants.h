// The plug-ins of the bundle: one program, for different numbers of channels.
#pragma once

#include <span>
#include <string>

#include "ulmar/audio/response_layout.h"
#include "ulmar/room/room.h"

namespace ulmar::lv2 {

inline constexpr const char* kUriPrefix = "urn:ulmar:lv2:";

inline constexpr int kMaxPorts = 5;  // audio inputs or outputs

struct Variant {
  const char* symbol;  // the URI's end
  const char* name;    // for people
  int inputs;          // 1, 2 or 5: left, right, centre, left surround, right surround
  int outputs;         // 1, 2 or 5, as above

  std::string uri() const { return std::string(kUriPrefix) + symbol; }

  /// Channels that the reverberation is made from: five are folded to two.
  int streamInputs() const { return inputs == 5 ? 2 : inputs; }
};

std::span<const Variant> variants();

/// What a built-in room is rendered for.
room::RoomLayout roomLayoutFor(const Variant& variant);

/// Whether a response of the layout can be heard from the variant's outputs.
bool takes(const Variant& variant, audio::ResponseLayout layout);

}  // namespace ulmar::lv2
