// The magnitude spectrum of a response, its slope, and its spectrogram.
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/samples.h"
#include "ulmar/host/planar.h"

namespace ulmar::acoustics {

/// dB of a power, which may be 0: at least kSilentLevel.
double levelOf(double power);
inline constexpr double kSilentLevel = -300.0;

/// |X|^2 of a response's Fourier transform X, up to half the sample rate.
struct EnergySpectrum {
  double binWidth = 0.0;      // Hz
  std::vector<double> power;  // [k] at k binWidth
};

/// sampleRate: in Hz. A response of more than 2^18 frames is cut into parts of that
/// length, whose spectra are added, which smooths the result.
EnergySpectrum spectrumOf(Samples samples, double sampleRate);

struct SpectrumPoint {
  double frequency;  // Hz
  double level;      // dB, 0 dB for a unit impulse
};

/// The mean |X|^2 over the third of an octave around each of 24 frequencies per octave,
/// from 20 Hz up to half the sample rate.
std::vector<SpectrumPoint> thirdOctaveLevels(const EnergySpectrum& spectrum);

/// The slope of the third-octave levels in dB per octave, by linear regression over the
/// octave bands from 125 Hz to 8 kHz up to 0.45 times the sample rate: 0 for white and
/// -3 for pink noise. Nothing if that leaves less than an octave.
std::optional<double> spectralTilt(const EnergySpectrum& spectrum);

/// Power over time and frequency, of all channels together.
struct Spectrogram {
  double duration = 0.0;  // s
  double lowest = 0.0;    // Hz
  double highest = 0.0;   // Hz
  /// [column][band] in dB, 0 dB where the power is greatest. The columns divide the
  /// duration evenly, the bands the range from lowest to highest evenly in octaves.
  std::vector<std::vector<float>> columns;
};

/// By Hann windows of about 30 ms. channels: of numFrames each; sampleRate: in Hz.
Spectrogram spectrogramOf(const Planar& channels, double sampleRate,
                          std::size_t numFrames, std::size_t numColumns,
                          std::size_t numBands);

}  // namespace ulmar::acoustics
