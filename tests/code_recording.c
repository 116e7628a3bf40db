/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Raw samples (16 bit, 8000 Hz) from stdin; packets and decoded samples to stdout. What two builds
 * write must be the same. Every seventh packet is lost on the way to the decoder.
 */
#include <stdio.h>

#include "kelp.h"

int main(void) {
  const kelp_config config = {{0, 0, 0}, 0};
  kelp_init();
  void *const encoder = kelpe_create(&config, NULL);
  void *const decoder = kelpd_create(&config, NULL);
  if (encoder == NULL || decoder == NULL) return 1;
  int16_t pcm[KELP_FRAME_SAMPLES];
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  kelp_pcm_frame frame = {0};
  frame.samples[0] = pcm;
  kelp_frame_info info = {0, 0, 0};
  size_t frames = 0;
  for (; fread(pcm, sizeof pcm, 1, stdin) == 1; frames++) {
    kelp_packet_desc packet = {bytes, 0, KELP_MAX_PACKET_BYTES};
    if (kelpe_encode(encoder, &frame, &packet, &info) != KELP_OK) return 1;
    packet.length = info.produced;
    fwrite(bytes, 1, (size_t)packet.length, stdout);
    if (frames % 7 == 6) bytes[0] = KELP_RATE_ERASURE;
    if (kelpd_decode(decoder, &packet, &frame, &info) != KELP_OK) return 1;
    fwrite(pcm, sizeof pcm, 1, stdout);
  }
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  kelpd_delete(decoder);
  return frames == 0;
}
