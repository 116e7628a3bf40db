/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * A second of a made-up voice into packets and back: the bits are the same everywhere.
 */
#include <kelp.h>
#include <stddef.h>
#include <stdio.h>

enum { FRAMES = 50 };

static int32_t triangle(int32_t n, int32_t period) {
  const int32_t at = n % period;
  return at < period / 2 ? at * 4 - period : period * 3 - at * 4;
}

static uint32_t hash(uint32_t seed, const void *data, size_t bytes) {
  const uint8_t *at = data;
  for (size_t i = 0; i < bytes; i++) seed = (seed ^ at[i]) * 16777619u;
  return seed;
}

int main(void) {
  const kelp_config config = {{0, 0, 0}, 0};
  int32_t err = 0;
  kelp_init();
  void *encoder = kelpe_create(&config, &err);
  void *decoder = kelpd_create(&config, &err);
  if (encoder == NULL || decoder == NULL) {
    printf("no handle: %s\n", kelp_result_text(err));
    return 1;
  }

  uint32_t packets = 0, speech = 0;
  for (int32_t frame = 0; frame < FRAMES; frame++) {
    int16_t pcm[KELP_FRAME_SAMPLES];
    for (int32_t i = 0; i < KELP_FRAME_SAMPLES; i++) {
      const int32_t n = frame * KELP_FRAME_SAMPLES + i;
      pcm[i] = (int16_t)(triangle(n, 64) * 50 + triangle(n, 20) * 60);
    }
    uint8_t bytes[KELP_MAX_PACKET_BYTES];
    kelp_pcm_frame audio = {.samples = {pcm}};
    kelp_packet_desc packet = {bytes, 0, sizeof bytes};
    kelp_frame_info info = {0, 0, 0};
    if (kelpe_encode(encoder, &audio, &packet, &info) != KELP_OK) return 1;
    packets = hash(packets, bytes, (size_t)info.produced);
    packet.length = info.produced;
    if (kelpd_decode(decoder, &packet, &audio, &info) != KELP_OK) return 1;
    for (int32_t i = 0; i < KELP_FRAME_SAMPLES; i++) {
      const uint8_t halves[2] = {(uint8_t)pcm[i], (uint8_t)((uint16_t)pcm[i] >> 8)};
      speech = hash(speech, halves, sizeof halves);
    }
  }
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  kelpd_delete(decoder);

  printf("packets %08x, speech %08x\n", packets, speech);
  return packets != 0x9d9bc6d2 || speech != 0xe792783c;
}
