#include "decoder/five_speaker.h"

namespace ulmar {

void decodeFiveSpeakers(double const* const* chanBufs, HostLong pos, double* outFrame,
                        float /*centreGain*/, cApXOverCfs<float>* /*xoverCfs*/,
                        sApXOverSts<float>* /*xoverSts*/, bool /*plainXY*/,
                        bool /*passThrough*/, float /*yGain*/) noexcept {
  for (int j = 0; j < 5; ++j) outFrame[j] = chanBufs[j][pos];
}

}  // namespace ulmar
