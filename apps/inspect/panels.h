// The diagrams of the picture, each drawn into a box that is the frame between its
// axes. Colours tell channels apart, the same ones in every diagram.
#pragma once

#include <algorithm>

#include "apps/inspect/inspection.h"
#include "host/plot.h"

namespace ulmar::inspect {

/// More curves than these nobody tells apart; the table has them all.
inline constexpr std::size_t kMaxCurves = std::size(host::kCurveColors);

inline std::size_t numCurves(const Inspection& inspection) {
  return std::min(inspection.channels.size(), kMaxCurves);
}

inline host::Color colorOf(std::size_t channel) { return host::kCurveColors[channel]; }

/// s
inline double durationOf(const Inspection& inspection) {
  return static_cast<double>(inspection.numFrames()) / inspection.sampleRate();
}

/// The upper end of an axis that leaves room for a legend above values up to `high`.
double withRoomForLegend(double low, double high, std::size_t numEntries,
                         const host::Box& box);

/// Strips one above the other; height: of each.
void drawWaveforms(host::Picture& picture, const Inspection& inspection,
                   const host::Box& box);
void drawSpectrogram(host::Picture& picture, const Inspection& inspection,
                     const host::Box& box);

// Of a response that is not silent.
void drawDecays(host::Picture& picture, const Inspection& inspection,
                const host::Box& box);
void drawDecayTimes(host::Picture& picture, const Inspection& inspection,
                    const host::Box& box);
void drawSpectra(host::Picture& picture, const Inspection& inspection,
                 const host::Box& box);
void drawCepstra(host::Picture& picture, const Inspection& inspection,
                 const host::Box& box);

}  // namespace ulmar::inspect
