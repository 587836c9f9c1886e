// What is said of a response: a table for people, an object for scripts. Both print the
// figures as they are.
#pragma once

#include <string>
#include <vector>

#include "apps/inspect/results.h"

namespace ulmar::inspect {

/// "WAV (Microsoft), 32 bit float, 2 channels, 48000 Hz, 0.700 s (33600 frames)".
std::string fileText(const Results& results);

/// "-3.0 dB per octave", and "echo at 10.00 ms, about -3 dB".
std::string tiltText(double tilt);
std::string echoText(const EchoResult& echo);

/// Lines of text; of several responses a line each.
std::string describe(const Results& results);
std::string describe(const std::vector<Results>& all);

/// Values separated by commas (RFC 4180): a line of names, then of every response a
/// line for each channel and one for their mean. Units as in figures(); empty where a
/// value cannot be told.
std::string csv(const std::vector<Results>& all);

/// One JSON object. Times are in s, frequencies in Hz, memory in bytes, peaks and
/// energies linear, all other levels in dB; what cannot be told is null.
std::string figures(const Results& results);
/// An array of them.
std::string figures(const std::vector<Results>& all);

}  // namespace ulmar::inspect
