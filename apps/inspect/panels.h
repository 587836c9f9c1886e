// The diagrams of the picture, each drawn into a box that is the frame between its
// axes. Colours tell channels apart, the same ones in every diagram.
#pragma once

#include <algorithm>

#include "apps/draw/plot.h"
#include "apps/inspect/inspection.h"

namespace ulmar::inspect {

/// More curves than these nobody tells apart; the table has them all.
inline constexpr std::size_t kMaxCurves = std::size(draw::kCurveColors);

inline std::size_t numCurves(const Inspection& inspection) {
  return std::min(inspection.channels.size(), kMaxCurves);
}

inline draw::Color colorOf(std::size_t channel) { return draw::kCurveColors[channel]; }

/// The levels of the first 100 ms: a strip for each channel, one above the other in the
/// box.
void drawStarts(draw::Picture& picture, const Inspection& inspection,
                const draw::Box& box);
void drawSpectrogram(draw::Picture& picture, const Inspection& inspection,
                     const draw::Box& box);

// Of a response that is not silent.
void drawDecays(draw::Picture& picture, const Inspection& inspection,
                const draw::Box& box);
void drawDecayTimes(draw::Picture& picture, const Inspection& inspection,
                    const draw::Box& box);
void drawSpectra(draw::Picture& picture, const Inspection& inspection,
                 const draw::Box& box);
void drawCepstra(draw::Picture& picture, const Inspection& inspection,
                 const draw::Box& box);

}  // namespace ulmar::inspect
