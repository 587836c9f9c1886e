// Figures as people read them, and the frames that they mean.
#pragma once

#include <cstdint>
#include <string>

namespace ulmar::apps {

/// The nearest whole number of frames.
std::int64_t framesIn(double seconds, int sampleRate);

/// Fixed decimals, with a point in every locale, and no minus before a zero.
std::string fixed(double value, int decimals);

/// The shortest digits that mean the value: "0.25", "384000".
std::string shortest(double value);

/// At most so many significant digits: "0.0005", "5e-06".
std::string significant(double value, int digits);

/// "0.012 s", "4.32 s" or "1:02:03 h".
std::string secondsText(std::int64_t frames, int sampleRate);
std::string secondsText(double seconds);

/// "12.5 ms".
std::string millisecondsText(double seconds, int decimals = 1);

/// "-3.1 dB" of a linear gain, or "off" for 0.
std::string decibelText(double gain);

/// "1.5 MiB".
std::string memoryText(std::int64_t bytes);

/// "1 channel", "2 channels".
std::string countText(std::int64_t count, const std::string& noun);

/// "2 channels, 48000 Hz, 4.32 s".
std::string audioText(int channels, int sampleRate, std::int64_t frames);

/// A path as a shell takes it for that very path, and a program for no option.
std::string shellPath(const std::string& path);

}  // namespace ulmar::apps
