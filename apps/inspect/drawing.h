// The picture of an inspection: waveform, decay, spectrogram, spectrum and cepstrum, on
// a page 1200 pixels wide.
#pragma once

#include <string>

#include "apps/inspect/inspection.h"

namespace ulmar::inspect {

/// Writes an SVG, PNG or PDF file, by the extension. Throws Error, and leaves nothing,
/// if that cannot be done.
void draw(const Inspection& inspection, const std::string& path);

}  // namespace ulmar::inspect
