/* Impulse responses from audio files, for streams of ulmar_host.h, in C.
 *
 *   UlmarResponse* hall = NULL;
 *   if (ulmar_response_read("hall.wav", 48000, ULMAR_LAYOUT_STEREO, &hall) == ULMAR_OK)
 *     ulmar_stream_create(2, ulmar_response_samples(hall),
 *                         ulmar_response_channels(hall), ulmar_response_frames(hall),
 *                         &options, &stream);
 *   ulmar_response_destroy(hall);
 *
 * Threads: none of this is for a real-time thread. What was read may be used by many
 * threads at a time.
 */
/* The names and the language are C. */
/* NOLINTBEGIN(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers)
 */
#ifndef ULMAR_AUDIO_ULMAR_AUDIO_H
#define ULMAR_AUDIO_ULMAR_AUDIO_H

#include "ulmar/host/ulmar_host.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct UlmarResponse UlmarResponse;

/* The sentence of this thread's last call here that did not return ULMAR_OK. Never
 * null; its text lives until this thread's next failing call. */
ULMAR_API const char* ulmar_audio_error(void);

/* Reads WAV, FLAC, AIFF, Ogg and what else libsndfile decodes. rate: of the
 * stream, 1000 to 768000 Hz, to which the response is resampled so that it filters
 * alike; 0 leaves it at the file's. layout: UlmarLayout, for which the file shall have
 * the channels: 1, 2 or 4 for ULMAR_LAYOUT_STEREO; 3, 4, 6 or 8 for ULMAR_LAYOUT_FUMA;
 * 4 or 8 for ULMAR_LAYOUT_AMBIX; those of 5.0, 5.1 (whose low-frequency channel is left
 * out) or twice 5.0 for ULMAR_LAYOUT_FEEDS. *response is null after a failure. */
ULMAR_API UlmarCode ulmar_response_read(const char* path, int32_t rate, int32_t layout,
                                        UlmarResponse** response);
/* Null is allowed. */
ULMAR_API void ulmar_response_destroy(UlmarResponse* response);

/* As ulmar_stream_create and ulmar_stream_replace take them: [channels] pointers to
 * samples, and [channels] counts of frames, all alike. They live as long as the
 * response. Null and 0 for null. */
ULMAR_API const float* const* ulmar_response_samples(const UlmarResponse* response);
ULMAR_API const int64_t* ulmar_response_frames(const UlmarResponse* response);
ULMAR_API int32_t ulmar_response_channels(const UlmarResponse* response);

/* Hz, that of the samples; 0 for null. */
ULMAR_API int32_t ulmar_response_rate(const UlmarResponse* response);

/* Frames by which a resampled response is late, as the resampler's filter rings before
 * each sample: ceil(128 to / min(from, to)). 0 where nothing was resampled. */
ULMAR_API int32_t ulmar_response_delay(const UlmarResponse* response);

/* Frames that the file promises and lacks, at its own rate: more than 0 if it was cut
 * short, -1 if nobody knows of how much, as of Ogg. */
ULMAR_API int64_t ulmar_response_missing(const UlmarResponse* response);

#ifdef __cplusplus
}
#endif

#endif
/* NOLINTEND(readability-identifier-naming,modernize-use-using,modernize-deprecated-headers)
 */
