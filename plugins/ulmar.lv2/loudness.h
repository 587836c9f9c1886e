// How loud a stream makes pink noise.
#pragma once

#include "plugins/ulmar.lv2/response_request.h"

namespace ulmar::lv2 {

/// The level of a stream's wet signal over that of the dry one, linear, for pink noise
/// that is independent in every input: from the energy of what the stream makes of a
/// pulse with the spectrum of pink noise. stream: at its start, with a wet gain of
/// kScale; is at its start again afterwards.
double pinkNoiseGain(host::Stream& stream, const Setting& setting);

}  // namespace ulmar::lv2
