/* Streams of Ulmar for hosts in C and in every language that can call C.
 *
 * A stream convolves audio with impulse responses in real time: make it from channel
 * counts, responses and options, then process buffers of any length. The wet signal
 * lags the input by the block length.
 *
 * Every function that can fail returns a code, and ulmar_error() the sentence that
 * belongs to it. A call that failed has changed nothing. Samples are 32-bit floats,
 * full scale 1.0; counts of frames are per channel.
 *
 * Threads: a stream may be used by one thread at a time. Functions marked [real-time]
 * make no allocation, lock, wait or system call once their arguments are right. Those
 * marked [any time] may be called by one other thread while a real-time one processes.
 */
/* The names and the language are C. */
/* NOLINTBEGIN(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers)
 */
#ifndef ULMAR_HOST_ULMAR_HOST_H
#define ULMAR_HOST_ULMAR_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ULMAR_API __attribute__((visibility("default")))
#else
#define ULMAR_API
#endif

typedef enum UlmarCode {
  ULMAR_OK = 0,
  ULMAR_BAD_ARGUMENT = 1, /* a null pointer, or a value beyond its limits */
  ULMAR_NO_MEMORY = 2,
  ULMAR_WRONG_STATE = 3, /* not now, as of a snapshot during a fade */
  ULMAR_INTERNAL = 4     /* a fault of the library */
} UlmarCode;

/* What the channels of a response are. */
typedef enum UlmarLayout {
  /* By their number. 1: every input straight to its output. 2: left and right. 4: true
   * stereo LL, LR, RL, RR. Two outputs, but one for 1 channel and mono input. */
  ULMAR_LAYOUT_STEREO = 0,
  /* B-format for five outputs, of one source or of a left and a right one: W X Y or
   * W X Y Z with W at -3 dB; or W Y Z X in SN3D. */
  ULMAR_LAYOUT_FUMA = 1,
  ULMAR_LAYOUT_AMBIX = 2,
  /* For five outputs: left, right, left surround, right surround, centre, from both
   * sides of the input; or five from left, then five from right. */
  ULMAR_LAYOUT_FEEDS = 3
} UlmarLayout;

/* Set struct_size to sizeof; zero in all other fields means the default. */
typedef struct UlmarOptions {
  uint32_t struct_size;
  int32_t block_len;  /* frames, a power of two from 4 to 131072; default 512 */
  int32_t tail;       /* a second engine for the end of long responses: 0 where it saves
                         work, -1 never, or its block length, a power of two */
  int32_t low_cost;   /* not 0: cut the upper band of the response's later part */
  int32_t layout;     /* UlmarLayout of the responses */
  int32_t dry_delay;  /* frames; set it to the latency to align dry and wet */
  int32_t rear_delay; /* frames, of the wet signal of both surrounds */
  float crossover;    /* Hz, of the B-format decoder; default 400 */
  float sample_rate;  /* Hz, default 48000; the crossover alone depends on it */
  int32_t fade_len;   /* frames, from one response to the next; default 2048 */
} UlmarOptions;

/* What a stream will be. Set struct_size to sizeof. */
typedef struct UlmarEstimate {
  uint32_t struct_size;
  int32_t latency;      /* frames by which the wet signal lags */
  int64_t stream_bytes; /* of the stream's own memory */
  int64_t set_bytes;    /* of its response in the frequency domain */
  double mean_work;     /* at a block boundary, in the unit of worst_work */
  double worst_work;    /* at the boundary that has most to do */
} UlmarEstimate;

typedef struct UlmarStream UlmarStream;

/* "1.0.0" */
ULMAR_API const char* ulmar_version(void);

/* The sentence of this thread's last call that did not return ULMAR_OK. Never null; its
 * text lives until this thread's next failing call. */
ULMAR_API const char* ulmar_error(void);

/* The outputs of a stream for so many inputs (1, 2, 5 or 6) through a response of so
 * many channels; 0 where there is none. 6 inputs give 6 outputs, of which the
 * low-frequency channel is copied. */
ULMAR_API int32_t ulmar_output_count(int32_t inputs, int32_t channels, int32_t layout);

/* What ulmar_stream_create would make, without making it. frames: of each channel, and
 * options may be null for the defaults. */
ULMAR_API UlmarCode ulmar_estimate(int32_t inputs, int32_t channels,
                                   const int64_t* frames, const UlmarOptions* options,
                                   UlmarEstimate* estimate);

/* Makes a stream of ulmar_output_count outputs. response: [channels], each of frames[k]
 * samples, which are copied; shorter channels end in silence. Gains begin at wet 1 and
 * dry 0. May take seconds for long responses. *stream is null after a failure. */
ULMAR_API UlmarCode ulmar_stream_create(int32_t inputs, const float* const* response,
                                        int32_t channels, const int64_t* frames,
                                        const UlmarOptions* options,
                                        UlmarStream** stream);
/* Null is allowed. */
ULMAR_API void ulmar_stream_destroy(UlmarStream* stream);

/* [real-time] in: [inputs], out: [outputs], each of `frames` samples; a channel may be
 * processed in place. Samples that are not finite count as silence. */
ULMAR_API UlmarCode ulmar_stream_process(UlmarStream* stream, const float* const* in,
                                         float* const* out, int32_t frames);
/* [real-time] The same with in [frames][inputs] and out [frames][outputs]. Not for 6
 * channels. */
ULMAR_API UlmarCode ulmar_stream_process_interleaved(UlmarStream* stream,
                                                     const float* in, float* out,
                                                     int32_t frames);

/* [any time] The channels and frames of a new response like the first's; it is faded to
 * without a click or a late block while the stream plays. The old one is freed by the
 * next call of ulmar_stream_replace or ulmar_stream_collect after the fade. */
ULMAR_API UlmarCode ulmar_stream_replace(UlmarStream* stream,
                                         const float* const* response, int32_t channels,
                                         const int64_t* frames);
/* [any time] Frees what a fade has ended. */
ULMAR_API UlmarCode ulmar_stream_collect(UlmarStream* stream);

/* [real-time] Linear gains, in effect from the next call on and, without a ramp, at
 * once. They stay through ulmar_stream_replace. */
ULMAR_API UlmarCode ulmar_stream_set_dry(UlmarStream* stream, float gain);
ULMAR_API UlmarCode ulmar_stream_set_wet(UlmarStream* stream, float gain);
/* [real-time] 0 to 1 of each side of stereo into the other side's reverberation. */
ULMAR_API UlmarCode ulmar_stream_set_crossfeed(UlmarStream* stream, float gain);

/* [real-time] Frames by which the wet signal lags; -1 for null. */
ULMAR_API int32_t ulmar_stream_latency(const UlmarStream* stream);
ULMAR_API int32_t ulmar_stream_inputs(const UlmarStream* stream);
ULMAR_API int32_t ulmar_stream_outputs(const UlmarStream* stream);

/* [real-time] The largest sample of each output since the start or the last call with
 * clear not 0, before the limit of full scale. peaks: [min(outputs, 5)]. */
ULMAR_API UlmarCode ulmar_stream_peaks(UlmarStream* stream, float* peaks,
                                       int32_t clear);

/* Back to the start: silence. Not during a fade. */
ULMAR_API UlmarCode ulmar_stream_reset(UlmarStream* stream);

/* All that the stream carries from call to call. bytes null: stores the size that it
 * takes in *size. Else writes it, if *size is as large. The same in 32 and 64 bits. Not
 * during a fade. */
ULMAR_API UlmarCode ulmar_stream_snapshot(UlmarStream* stream, void* bytes,
                                          size_t* size);
/* Goes on where the snapshot was taken, in a stream made alike. Not during a fade. */
ULMAR_API UlmarCode ulmar_stream_restore(UlmarStream* stream, const void* bytes,
                                         size_t size);

#ifdef __cplusplus
}
#endif

#endif
/* NOLINTEND(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers)
 */
