// What the picture shows, reduced to what its pixels can hold.
#pragma once

#include <vector>

#include "apps/draw/plot.h"
#include "apps/inspect/inspection.h"

namespace ulmar::inspect {

/// From `lowest` to the level of the largest sample, in dB of `peak`, in each of at
/// most numColumns parts. The first sample stands at x = start, the others `step`
/// apart.
std::vector<draw::Extent> levelExtents(acoustics::Samples samples, double peak,
                                       double start, double step, double lowest,
                                       std::size_t numColumns);

/// The decay curve over s from the onset, at most numPoints of it.
std::vector<draw::Point2> decayCurve(const Channel& channel, std::size_t numPoints);

/// The level of the response over time, averaged over a numPoints-th part of `duration`
/// and shifted so that it lies on the decay curve where the decay is exponential.
std::vector<draw::Point2> levelCurve(const Channel& channel, double duration,
                                     std::size_t numPoints);

/// Least and largest level, in dB, of the bins in each of numColumns parts of a
/// logarithmic frequency axis.
std::vector<draw::Extent> spectrumExtents(const acoustics::EnergySpectrum& spectrum,
                                          double lowest, double highest,
                                          std::size_t numColumns);

/// Least and largest value of the cepstrum in each of numColumns parts of the time from
/// `from` to `to`, in s; the extents are in ms.
std::vector<draw::Extent> cepstrumExtents(const acoustics::CepstrumAnalysis& cepstrum,
                                          double from, double to,
                                          std::size_t numColumns);

/// Colours that grow evenly lighter from 0 to 1, for the eye as in grey print (the
/// scale "viridis" of Smith and van der Walt).
std::uint32_t heatColor(double value);

/// Lowest frequency at the bottom; what is floorLevel dB (below 0) or less is darkest.
draw::Image spectrogramImage(const acoustics::Spectrogram& spectrogram,
                             double floorLevel);

}  // namespace ulmar::inspect
