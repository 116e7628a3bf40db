/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * A C host of the shared library that is not position-independent: kelp_inited lives in the host's
 * own data then, and the library must use it there.
 */
#include <stddef.h>
#include <stdio.h>

#include "kelp.h"

static int failures = 0;

static void check(int condition, const char *what) {
  if (condition) return;
  printf("failed: %s\n", what);
  failures++;
}

int main(void) {
  const kelp_config config = {{0, 0, 0}, 0};
  int32_t err = 0;
  check(kelp_inited == 0, "kelp_inited starts at 0");
  check(kelpd_create(&config, &err) == NULL && err == KELP_ERR_STATE, "create before kelp_init");
  kelp_init();
  check(kelp_inited == 1, "the host sees kelp_init's mark");
  kelp_deinit(0);
  check(kelp_inited == 1, "kelp_deinit leaves it");

  int16_t pcm[KELP_FRAME_SAMPLES] = {1000};
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  kelp_packet_desc packet = {bytes, 0, sizeof bytes};
  kelp_pcm_frame frame = {.samples = {pcm}};
  kelp_frame_info info = {0, 0, 0};
  void *encoder = kelpe_create(&config, &err);
  check(kelpe_encode(encoder, &frame, &packet, &info) == KELP_OK, "encode");
  check(info.produced == 35, "the first packet is full rate");
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  void *decoder = kelpd_create(&config, &err);
  check(kelpd_decode(decoder, &packet, &frame, &info) == KELP_OK, "decode");
  check(info.consumed == 35 && info.calls == 2, "the packet is read");
  kelpd_delete(decoder);
  check(erasure_count == 0, "erasure_count is not touched");
  return failures != 0;
}
