// What is said of a response: a table for people, an object for scripts. Both print the
// figures as they are.
#pragma once

#include <string>

#include "apps/inspect/results.h"

namespace ulmar::inspect {

/// "WAV (Microsoft), 32 bit float, 2 channels, 48000 Hz, 0.700 s (33600 frames)".
std::string fileText(const Results& results);

/// "-3.0 dB per octave", and "echo at 10.00 ms, about -3 dB".
std::string tiltText(double tilt);
std::string echoText(const EchoResult& echo);

/// Lines of text.
std::string describe(const Results& results);

/// One JSON object. Times are in s, frequencies in Hz, memory in bytes, peaks and
/// energies linear, all other levels in dB; what cannot be told is null.
std::string figures(const Results& results);

}  // namespace ulmar::inspect
