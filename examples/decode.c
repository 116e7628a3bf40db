/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Decodes a file of packets, and lets one hear what losses do:
 *
 *     decode speech.kelp decoded.wav [LOST_PERCENT [SEED]]
 */
#include <kelp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void fail(const char *what, const char *why) {
  fprintf(stderr, "decode: %s: %s\n", what, why);
  exit(EXIT_FAILURE);
}

/* Bytes of the next packet; 0 at the end. A file that ends inside its last packet gives what there
 * is of it: the decoder conceals what it cannot decode. */
static int32_t read_packet(FILE *file, uint8_t bytes[KELP_MAX_PACKET_BYTES]) {
  const long offset = ftell(file);
  if (fread(bytes, 1, 1, file) != 1) return 0;
  const int32_t length = kelp_packet_bytes(bytes[0]);
  if (length == 0) {
    fprintf(stderr, "decode: no packet begins with the byte %d at offset %ld\n", bytes[0], offset);
    exit(EXIT_FAILURE);
  }
  return 1 + (int32_t)fread(bytes + 1, 1, (size_t)length - 1, file);
}

static void put_little_endian(uint8_t *bytes, uint32_t value, int count) {
  for (int k = 0; k < count; k++) bytes[k] = (uint8_t)(value >> (8 * k));
}

/* The header of a WAV file, at its start. */
static void write_header(FILE *file, uint32_t sample_bytes) {
  uint8_t head[44] = "RIFF....WAVEfmt ....................data";
  put_little_endian(head + 4, sample_bytes + 36, 4);
  put_little_endian(head + 16, 16, 4);
  put_little_endian(head + 20, 1, 2); /* PCM */
  put_little_endian(head + 22, 1, 2); /* channels */
  put_little_endian(head + 24, KELP_SAMPLE_RATE_HZ, 4);
  put_little_endian(head + 28, 2 * KELP_SAMPLE_RATE_HZ, 4);
  put_little_endian(head + 32, 2, 2);
  put_little_endian(head + 34, 16, 2);
  put_little_endian(head + 40, sample_bytes, 4);
  rewind(file);
  fwrite(head, 1, sizeof head, file);
}

int main(int argc, char **argv) {
  if (argc < 3 || argc > 5) {
    fprintf(stderr, "usage: decode speech.kelp decoded.wav [LOST_PERCENT [SEED]]\n");
    return 2;
  }
  const double lost_percent = argc > 3 ? strtod(argv[3], NULL) : 0;
  uint32_t random = argc > 4 ? (uint32_t)strtoul(argv[4], NULL, 10) : 1;
  FILE *input = fopen(argv[1], "rb");
  if (input == NULL) fail(argv[1], "cannot be opened");
  FILE *output = fopen(argv[2], "wb");
  if (output == NULL) fail(argv[2], "cannot be created");

  kelp_init(); /* once in a process, before the first handle */
  const kelp_config config = {{0, 0, 0}, 0};
  int32_t code = KELP_OK;
  void *decoder = kelpd_create(&config, &code);
  if (decoder == NULL) fail("no decoder", kelp_result_text(code));

  int16_t pcm[KELP_FRAME_SAMPLES];
  uint8_t bytes[KELP_MAX_PACKET_BYTES], raw[2 * KELP_FRAME_SAMPLES];
  kelp_pcm_frame frame = {.samples = {pcm}};
  kelp_frame_info info = {0, 0, 0};
  uint32_t sample_bytes = 0, packets = 0, lost = 0;
  write_header(output, 0);
  for (int32_t length = 0; (length = read_packet(input, bytes)) > 0; packets++) {
    random = random * 1664525 + 1013904223;
    if (random / 4294967296.0 < lost_percent / 100) {
      /* What a host does for a packet that did not come: it hands over this one byte instead. */
      bytes[0] = KELP_RATE_ERASURE;
      length = 1;
      lost++;
    }
    const kelp_packet_desc packet = {bytes, 0, length};
    code = kelpd_decode(decoder, &packet, &frame, &info);
    if (code != KELP_OK) fail("packet not decoded", kelp_result_text(code));

    /* The first 60 samples are the codec's delay: without them, input and output lie in step. */
    const int first = packets == 0 ? KELP_LOOKAHEAD_SAMPLES : 0;
    const size_t size = 2 * (size_t)(KELP_FRAME_SAMPLES - first);
    for (int n = first; n < KELP_FRAME_SAMPLES; n++)
      put_little_endian(raw + 2 * (n - first), (uint16_t)pcm[n], 2);
    if (fwrite(raw, 1, size, output) != size) break;
    sample_bytes += (uint32_t)size;
  }
  kelpd_delete(decoder); /* frees everything */

  fclose(input);
  write_header(output, sample_bytes);
  if (ferror(output) || fclose(output) != 0) fail(argv[2], "cannot be written");
  printf("%u packets, %u of them lost and concealed\n", (unsigned)packets, (unsigned)lost);
  return 0;
}
