/* A host in C: stereo audio from standard input through a hall to standard output, both
 * as interleaved 32-bit floats, and the hall's response from a file of the same form.
 *   sox hall.wav -t f32 hall.f32
 *   sox dry.wav -t f32 - | plain_host hall.f32 | sox -t f32 -r 48000 -c 2 - wet.wav
 */
#include <stdio.h>
#include <stdlib.h>

#include "ulmar/host/ulmar_host.h"

enum { MAX_FRAMES = 20 * 48000, BLOCK = 256 };

int main(int argc, char** argv) {
  static float left[MAX_FRAMES], right[MAX_FRAMES];
  const float* response[] = {left, right};
  int64_t frames[] = {0, 0};
  float buffer[2 * BLOCK];
  UlmarOptions options = {.struct_size = sizeof options, .block_len = BLOCK};
  UlmarStream* stream = NULL;
  FILE* hall = argc == 2 ? fopen(argv[1], "rb") : NULL;
  size_t count;

  if (hall == NULL) return fprintf(stderr, "usage: %s RESPONSE.f32\n", argv[0]), 2;
  while (frames[0] < MAX_FRAMES && fread(buffer, sizeof *buffer, 2, hall) == 2) {
    left[frames[0]++] = buffer[0];
    right[frames[1]++] = buffer[1];
  }
  fclose(hall);
  if (ulmar_stream_create(2, response, 2, frames, &options, &stream) != ULMAR_OK ||
      ulmar_stream_set_dry(stream, 0.5f) != ULMAR_OK) {
    return fprintf(stderr, "plain_host: %s\n", ulmar_error()), 1;
  }
  while ((count = fread(buffer, 2 * sizeof *buffer, BLOCK, stdin)) > 0) {
    ulmar_stream_process_interleaved(stream, buffer, buffer, (int32_t)count);
    if (fwrite(buffer, 2 * sizeof *buffer, count, stdout) != count) return 1;
  }
  ulmar_stream_destroy(stream);
  return 0;
}
