// Impulse responses for five loudspeakers: B-format for the decoder, or speaker feeds
// that pass it by.
#pragma once

#include "ulmar/host/responses.h"

namespace ulmar::host {

/// How a B-format file orders and scales its channels, which nothing in it tells.
enum class BFormat {
  fuma,  // W, X, Y or W, X, Y, Z, with W at -3 dB
  ambix  // W, Y, Z, X in SN3D, with W at full level
};

/// The horizontal part of a B-format file's channels as the decoder takes it: W at -3
/// dB, X positive to the front, Y to the left, for one source after another. Throws
/// Error unless the channels are those of 1, 2 or 3 sources: 3 or 4 per source in fuma,
/// 4 in ambix.
Planar horizontalBFormat(const Planar& channels, BFormat convention);

/// For decoding: each source's W, X and Y from an engine input of its own to engine
/// outputs 0, 1 and 2. wxy: [3 * sources], of 1 to 3 sources.
Responses arrangeBFormat(const Planar& wxy);

/// For decoding one source's W, X and Y from stereo input, at the cost of three
/// pairs of input and output. With five outputs and without passThrough, perOutput
/// switches the library to mid/side: engine inputs 0, 1 and 2 are mid M = (L + R) /
/// sqrt 2, left L and right R, and the decoder takes engine outputs 1 and 2, c1 and c2,
/// as X' = (c1 - c2) / sqrt 2 and Y' = (c1 + c2) / sqrt 2. The responses are
///   0, from mid to W:     W,
///   1, from left to c1:   X + Y, the figure of eight that points 45 degrees to the
///                         left, times sqrt 2,
///   2, from right to c2:  Y - X, the one that points to the right, inverted.
/// With the side S = (L - R) / sqrt 2 the decoded field is
///   W' = M W,   X' = M X + S Y,   Y' = M Y + S X:
/// what both sides have in common sounds exactly as from the source, a single side from
/// the axis at 45 degrees on its own side. Further outputs would not be decoded.
Responses arrangeMidSide(const Planar& wxy);

/// The same field from engine inputs 0 and 1, left and right, at the cost of six pairs.
/// Use it for five inputs: mid/side shares one dry ring between inputs 1 and 2, and the
/// dry centre would come out as the right channel.
Responses arrangeSides(const Planar& wxy);

/// Arranges the W, X and Y of one source or of two, left and right, for input of 1,
/// 2, 5 or 6 channels, the last two folded to left and right:
///   one source   mono as it is; stereo in mid and side; folded by sides;
///   two sources  each side from its own; mono from both at once.
/// Throws Error unless there are 3 or 6 channels, and for any other input.
Responses arrangeForDecoding(const Planar& wxy, int inputChannels);

/// Arranges speaker feeds for passing through, in the engine's order left front, right
/// front, left surround, right surround, centre, for input of 1, 2, 5 or 6 channels,
/// the last two folded to left and right:
///   5 channels   from mono; or from left to the left and from right to the right, and
///                from both to the centre;
///   10 channels  five from left, then five from right; from mono, both at once.
/// The library takes the centre down by 3 dB. That suits a centre with two inputs; one
/// that has its own response per input is raised by as much, to sound as recorded.
/// Throws Error for any other number of channels or inputs.
Responses arrangeFeeds(const Planar& feeds, int inputChannels);

}  // namespace ulmar::host
