/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Codes so many frames and does next to nothing else, for bench/count_instructions.sh:
 *
 *   kelp_code_frames encode SPEECH.raw PACKETS.kelp FRAMES
 *   kelp_code_frames decode PACKETS.kelp SPEECH.raw FRAMES
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kelp.h"

enum { kMostFrames = 500 };

static int16_t pcm[kMostFrames * KELP_FRAME_SAMPLES];
static uint8_t packets[kMostFrames * KELP_MAX_PACKET_BYTES];

static size_t encode(int frames) {
  const kelp_config config = {{0, 0, 0}, 0};
  void *const encoder = kelpe_create(&config, NULL);
  kelp_frame_info info = {0, 0, 0};
  kelp_pcm_frame in = {.samples = {pcm}};
  uint8_t *at = packets;
  for (int k = 0; k < frames; k++) {
    kelp_packet_desc out = {at, 0, KELP_MAX_PACKET_BYTES};
    if (kelpe_encode(encoder, &in, &out, &info) != KELP_OK) exit(1);
    in.samples[0] += KELP_FRAME_SAMPLES;
    at += info.produced;
  }
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  return (size_t)(at - packets);
}

static void decode(int frames) {
  const kelp_config config = {{0, 0, 0}, 0};
  void *const decoder = kelpd_create(&config, NULL);
  kelp_frame_info info = {0, 0, 0};
  kelp_pcm_frame out = {.samples = {pcm}};
  uint8_t *at = packets;
  for (int k = 0; k < frames; k++) {
    const kelp_packet_desc in = {at, 0, kelp_packet_bytes(*at)};
    if (kelpd_decode(decoder, &in, &out, &info) != KELP_OK) exit(1);
    out.samples[0] += KELP_FRAME_SAMPLES;
    at += in.length;
  }
  kelpd_delete(decoder);
}

int main(int argc, char **argv) {
  const int encodes = argc == 5 && strcmp(argv[1], "encode") == 0;
  const int frames = argc == 5 ? atoi(argv[4]) : 0;
  if (frames < 1 || frames > kMostFrames) {
    fprintf(stderr, "usage: kelp_code_frames encode|decode IN OUT FRAMES (up to %d)\n",
            kMostFrames);
    return 2;
  }
  FILE *const in = fopen(argv[2], "rb");
  FILE *const out = fopen(argv[3], "wb");
  void *const input = encodes ? (void *)pcm : (void *)packets;
  if (in == NULL || out == NULL ||
      fread(input, 1, encodes ? sizeof pcm : sizeof packets, in) == 0) {
    fprintf(stderr, "kelp_code_frames: cannot open or read a file\n");
    if (in != NULL) fclose(in);
    if (out != NULL) fclose(out);
    return 1;
  }
  fclose(in);
  kelp_init();
  if (encodes) {
    fwrite(packets, 1, encode(frames), out);
  } else {
    decode(frames);
    fwrite(pcm, 1, (size_t)frames * KELP_FRAME_SAMPLES * sizeof *pcm, out);
  }
  return fclose(out) == 0 ? 0 : 1;
}
