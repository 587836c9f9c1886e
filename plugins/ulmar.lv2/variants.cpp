#include "plugins/ulmar.lv2/variants.h"

namespace ulmar::lv2 {

std::span<const Variant> variants() {
  static constexpr Variant kVariants[] = {
      {"mono", "Ulmar Reverb (Mono)", 1, 1},
      {"mono_to_stereo", "Ulmar Reverb (Mono to Stereo)", 1, 2},
      {"stereo", "Ulmar Reverb (Stereo)", 2, 2},
      {"mono_to_five", "Ulmar Reverb (Mono to 5.0)", 1, 5},
      {"stereo_to_five", "Ulmar Reverb (Stereo to 5.0)", 2, 5},
      {"five", "Ulmar Reverb (5.0)", 5, 5}};
  return kVariants;
}

room::RoomLayout roomLayoutFor(const Variant& variant) {
  if (variant.outputs == 5) return room::RoomLayout::bFormat;
  if (variant.outputs == 1) return room::RoomLayout::mono;
  return variant.inputs == 1 ? room::RoomLayout::stereo : room::RoomLayout::trueStereo;
}

bool takes(const Variant& variant, audio::ResponseLayout layout) {
  return variant.outputs == 5 || !audio::isForFive(layout);
}

}  // namespace ulmar::lv2
