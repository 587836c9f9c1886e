// The help around the list of options.
#pragma once

namespace ulmar::render {

inline constexpr const char* kDescription =
    R"(Puts audio into a room: convolves the input with the room's impulse response, and
mixes that, the wet signal, with the input as it is, the dry signal.
)";

inline constexpr const char* kFooter = R"(Examples:
  ulmar-render -i speech.wav --ir hall.wav -o speech-in-hall.wav --wet -6
      mixes the hall's reverberation 6 dB below the dry signal
  ulmar-render -i guitar.flac --room cathedral -o send.wav --dry off --predelay 30
      renders an effect return: reverberation only, 30 ms late
  sox in.wav -t wav - highpass 80 | ulmar-render -i - --ir hall.wav -o - | aplay
      stands between other programs
  ulmar-render -i film.wav --ir church.wav --bformat ambix -o film-in-church.wav
      puts 5.1 input into a church that was recorded in B-format
  ulmar-render --room hall --save-response hall.wav
      writes a synthetic hall as a true-stereo response for other programs

A response has 1 channel (every channel of the input through the same response),
2 (left, right) or 4 (true stereo: left to left, left to right, right to left, right
to right); input has 1 or 2. A response at another sample rate is resampled to
the input's. Float files keep what is louder than full scale; integer samples are
limited to it, and the report names the peak and the level that avoids it. A failed
or interrupted run writes nothing and leaves an existing file as it was; but where
only the picture or the printed report fails, the finished result stays, and the
message says so. A pipe keeps what was written. The report goes to standard error where
the result goes to standard output. An input from a pipe is first read to its end, into
the folder of TMPDIR or into /tmp. Title, artist and the like are carried over, as is
the time reference of broadcast WAV files, where the output's format holds them.

In the report, a partition is a piece of the response as long as a block. The
spectrum of a block is divided into segments, and these into chunks: in every block
one of each is worked ahead for later blocks, so that all blocks cost the same.

In 5.0 and 5.1 the loudspeakers stand at 0 degrees (centre), +-45 (left, right) and
+-130 (surrounds). Files have them in the order left, right, centre, low-frequency,
left surround, right surround, unless they say otherwise. A response for them is
  B-format   W X Y or W X Y Z with W at -3 dB (fuma), or W Y Z X in SN3D (ambix): 3
             or 4 channels of one source, 6 or 8 of a left and a right one. It is
             decoded in two bands: for the velocity of the sound below the crossover,
             for its energy above. Stereo input spreads from one source to both
             sides.
  feeds      the loudspeakers' own signals in their order in files: 5 channels, each
             side of the input to its own side and, at -3 dB, to the centre; or
             10, five from left and five from right.
Dry mono comes from the centre, dry stereo from left and right. 5.0 and 5.1 input
is down-mixed for their reverberation, L + 0.7071 (C + Ls) to the left and R + 0.7071
(C + Rs) to the right; dry, it keeps its channels.

A bed (quad, 5.0, 5.1 or 7.1) goes through a mono, stereo or true-stereo response
group by group and stays a bed: left and right as a pair, surrounds and backs
likewise, the centre through the mono sum of the response; --map says otherwise. With
--out-layout stereo or mono its down-mix is rendered: L + 0.7071 (C + Ls + Lb) to the
left, likewise to the right, both at -3 dB to mono, without the low-frequency channel.
That channel is otherwise copied as it is, in time with the others. In 5.1 from other
input it is silent.

The exit code is 0 when all was done, 1 when it was refused or failed, and 2 when the
call was not understood.)";

}  // namespace ulmar::render
