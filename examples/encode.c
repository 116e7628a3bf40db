/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Encodes a recording:   encode speech.wav speech.kelp
 *
 * The recording is a WAV file of 8000 Hz, mono, 16-bit PCM. The packets are written back to back:
 * the first byte of each tells its length, so a file of them needs no header.
 */
#include <kelp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void fail(const char *what, const char *why) {
  fprintf(stderr, "encode: %s: %s\n", what, why);
  exit(EXIT_FAILURE);
}

static uint32_t little_endian(const uint8_t *bytes, int count) {
  uint32_t value = 0;
  for (int k = 0; k < count; k++) value |= (uint32_t)bytes[k] << (8 * k);
  return value;
}

/* Leaves the file at its first sample and returns how many bytes of samples the header promises;
 * 0 when it is no WAV file that the codec takes. */
static uint32_t find_samples(FILE *file) {
  uint8_t head[24];
  uint32_t suited = 0;
  if (fread(head, 1, 12, file) != 12) return 0;
  if (memcmp(head, "RIFF", 4) != 0 || memcmp(head + 8, "WAVE", 4) != 0) return 0;
  while (fread(head, 1, 8, file) == 8) {
    uint32_t size = little_endian(head + 4, 4);
    if (memcmp(head, "data", 4) == 0) {
      if (size == 0) size = UINT32_MAX; /* written to a pipe: up to the end of the file */
      return suited ? size : 0;
    }
    size += size & 1; /* chunks begin at even places */
    if (memcmp(head, "fmt ", 4) == 0 && size >= 16) {
      if (fread(head + 8, 1, 16, file) != 16) return 0;
      suited = little_endian(head + 8, 2) == 1 && little_endian(head + 10, 2) == 1 &&
               little_endian(head + 12, 4) == KELP_SAMPLE_RATE_HZ &&
               little_endian(head + 22, 2) == 16;
      size -= 16;
    }
    if (fseek(file, (long)size, SEEK_CUR) != 0) return 0;
  }
  return 0;
}

/* Up to 160 samples; the rest of the frame is silence. */
static int read_frame(FILE *file, uint32_t *bytes_left, int16_t pcm[KELP_FRAME_SAMPLES]) {
  uint8_t raw[2 * KELP_FRAME_SAMPLES] = {0};
  const size_t wanted = *bytes_left < sizeof raw ? *bytes_left : sizeof raw;
  const size_t got = fread(raw, 1, wanted, file);
  *bytes_left -= (uint32_t)got;
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) pcm[n] = (int16_t)little_endian(raw + 2 * n, 2);
  return (int)(got / 2);
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: encode speech.wav speech.kelp\n");
    return 2;
  }
  FILE *input = fopen(argv[1], "rb");
  if (input == NULL) fail(argv[1], "cannot be opened");
  uint32_t bytes_left = find_samples(input);
  if (bytes_left == 0) fail(argv[1], "not a WAV file of 8000 Hz, mono, 16-bit PCM");
  FILE *output = fopen(argv[2], "wb");
  if (output == NULL) fail(argv[2], "cannot be created");

  kelp_init(); /* once in a process, before the first handle */
  const kelp_config config = {{0, 0, 0}, 0};
  int32_t code = KELP_OK;
  void *encoder = kelpe_create(&config, &code);
  if (encoder == NULL) fail("no encoder", kelp_result_text(code));

  int16_t pcm[KELP_FRAME_SAMPLES];
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  kelp_pcm_frame frame = {.samples = {pcm}};
  kelp_packet_desc packet = {bytes, 0, sizeof bytes};
  kelp_frame_info info = {0, 0, 0};
  long samples = 0, coded = -KELP_LOOKAHEAD_SAMPLES, sizes[KELP_MAX_PACKET_BYTES + 1] = {0};

  /* The encoder looks 60 samples ahead: silence follows until the last sample is coded too. */
  int got = 0;
  while ((got = read_frame(input, &bytes_left, pcm)) > 0 || coded < samples) {
    code = kelpe_encode(encoder, &frame, &packet, &info);
    if (code != KELP_OK) fail("frame not encoded", kelp_result_text(code));
    if (fwrite(bytes, 1, (size_t)info.produced, output) != (size_t)info.produced) break;
    sizes[info.produced]++;
    samples += got;
    coded += KELP_FRAME_SAMPLES;
  }
  kelpe_flush(encoder); /* always both, in this order */
  kelpe_delete(encoder);

  fclose(input);
  if (ferror(output) || fclose(output) != 0) fail(argv[2], "cannot be written");
  printf("%ld samples, %ld packets: %ld full, %ld half, %ld eighth rate\n", samples,
         (coded + KELP_LOOKAHEAD_SAMPLES) / KELP_FRAME_SAMPLES, sizes[35], sizes[17], sizes[4]);
  return 0;
}
