// What is said of an inspection: a table for people, an object for scripts.
#pragma once

#include <string>

#include "apps/inspect/inspection.h"

namespace ulmar::inspect {

/// Lines of text.
std::string describe(const Inspection& inspection);

/// One JSON object. Times are in s, frequencies in Hz, memory in bytes, peaks and
/// energies linear, all other levels in dB; what cannot be told is null.
std::string figures(const Inspection& inspection);

}  // namespace ulmar::inspect
