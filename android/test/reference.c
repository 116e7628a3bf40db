/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * What the C interface makes of speech, for comparison: reads frames of samples from stdin, and
 * writes for each its packet and the decoded frame to stdout. Every seventh packet is decoded as
 * lost.
 */
#include <stdint.h>
#include <stdio.h>

#include "kelp.h"

int main(void) {
  const kelp_config config = {{0, 0, 0}, 0};
  kelp_init();
  void *const encoder = kelpe_create(&config, NULL);
  void *const decoder = kelpd_create(&config, NULL);
  int16_t samples[KELP_FRAME_SAMPLES];
  uint8_t bytes[KELP_MAX_PACKET_BYTES] = {0};
  kelp_pcm_frame pcm = {.samples = {samples}};
  kelp_frame_info info = {0, 0, 0};
  int failures = 0;
  for (int k = 1; fread(samples, sizeof samples, 1, stdin) == 1; k++) {
    kelp_packet_desc packet = {bytes, 0, sizeof bytes};
    failures += kelpe_encode(encoder, &pcm, &packet, &info) != KELP_OK;
    packet.length = info.produced;
    failures += fwrite(bytes, (size_t)info.produced, 1, stdout) != 1;
    if (k % 7 == 0) bytes[0] = KELP_RATE_ERASURE;
    failures += kelpd_decode(decoder, &packet, &pcm, &info) != KELP_OK;
    failures += fwrite(samples, sizeof samples, 1, stdout) != 1;
  }
  kelpd_delete(decoder);
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  return fflush(stdout) == 0 && failures == 0 ? 0 : 1;
}
