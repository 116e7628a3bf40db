/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Many calls at once, as a gateway has them, each encoded and decoded, on a few threads:
 *
 *     many_streams STREAMS THREADS SECONDS < speech.s16      (8000 Hz, mono, 16 bit)
 *
 * Handles share nothing, so threads need no lock: a call gives the same bits as alone. A handle
 * belongs to one thread at a time.
 */
#define _POSIX_C_SOURCE 200809L /* for clock_gettime */
#include <kelp.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { MAX_THREADS = 64 };
struct call {
  void *encoder, *decoder;
  long position;     /* its next frame in the recording */
  uint64_t checksum; /* of all packets and all decoded samples */
};

static int16_t recording[60 * KELP_SAMPLE_RATE_HZ];
static struct call *calls;
static long recorded_frames, count, threads, frames;

static uint64_t add(uint64_t checksum, const void *data, size_t size) { /* FNV-1a */
  const uint8_t *bytes = data;
  for (size_t k = 0; k < size; k++) checksum = (checksum ^ bytes[k]) * 1099511628211U;
  return checksum;
}

static void check(int good, const char *otherwise) {
  if (good) return;
  fprintf(stderr, "many_streams: %s\n", otherwise);
  exit(EXIT_FAILURE);
}

static void begin(struct call *call, long number) {
  const kelp_config config = {{0, 0, 0}, 0};
  call->encoder = kelpe_create(&config, NULL);
  call->decoder = kelpd_create(&config, NULL);
  call->position = number * 7 % recorded_frames; /* everybody says something else */
  call->checksum = 0xcbf29ce484222325U;
  check(call->encoder != NULL && call->decoder != NULL, "out of memory");
}

/* 20 ms of a call. The library keeps no pointer to the buffers. */
static void run_frame(struct call *call) {
  int16_t pcm[KELP_FRAME_SAMPLES];
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  kelp_pcm_frame in = {.samples = {&recording[call->position * KELP_FRAME_SAMPLES]}};
  kelp_pcm_frame out = {.samples = {pcm}};
  kelp_packet_desc packet = {bytes, 0, sizeof bytes};
  kelp_frame_info info = {0, 0, 0};
  check(kelpe_encode(call->encoder, &in, &packet, &info) == KELP_OK, "frame not encoded");
  packet.length = info.produced;
  check(kelpd_decode(call->decoder, &packet, &out, &info) == KELP_OK, "packet not decoded");
  call->checksum = add(call->checksum, bytes, (size_t)packet.length);
  call->checksum = add(call->checksum, pcm, sizeof pcm);
  call->position = (call->position + 1) % recorded_frames;
}

static void end(struct call *call) {
  kelpe_flush(call->encoder); /* an encoder: always both, in this order */
  kelpe_delete(call->encoder);
  kelpd_delete(call->decoder); /* a decoder: this alone */
}

/* A thread's share: this call and every further one that is `threads` places on. */
static void *serve(void *first) {
  for (long f = 0; f < frames; f++) {
    for (struct call *call = first; call < calls + count; call += threads) run_frame(call);
  }
  return NULL;
}

int main(int argc, char **argv) {
  if (argc == 4) {
    count = strtol(argv[1], NULL, 10);
    threads = strtol(argv[2], NULL, 10);
    frames = 50 * strtol(argv[3], NULL, 10);
  }
  if (count < 1 || threads < 1 || threads > MAX_THREADS || threads > count || frames < 1) {
    fprintf(stderr, "usage: many_streams STREAMS THREADS SECONDS < speech.s16\n");
    return 2;
  }
  const size_t samples = fread(recording, sizeof recording[0], 60 * KELP_SAMPLE_RATE_HZ, stdin);
  recorded_frames = (long)samples / KELP_FRAME_SAMPLES;
  check(recorded_frames > 0, "a recording is wanted on standard input");
  calls = calloc((size_t)count, sizeof *calls);
  check(calls != NULL, "out of memory");

  kelp_init(); /* once in a process, before any thread is started */
  for (long k = 0; k < count; k++) begin(&calls[k], k);
  pthread_t thread[MAX_THREADS];
  struct timespec start, now;
  clock_gettime(CLOCK_MONOTONIC, &start);
  for (long t = 0; t < threads; t++)
    check(pthread_create(&thread[t], NULL, serve, &calls[t]) == 0, "no thread");
  for (long t = 0; t < threads; t++) pthread_join(thread[t], NULL);
  clock_gettime(CLOCK_MONOTONIC, &now);
  const double seconds =
      (double)(now.tv_sec - start.tv_sec) + 1e-9 * (double)(now.tv_nsec - start.tv_nsec);

  for (long k = 0; k < count; k++) {
    end(&calls[k]);
    if (k % 97 != 0) continue;
    struct call alone; /* some of them once more, on this thread */
    begin(&alone, k);
    for (long f = 0; f < frames; f++) run_frame(&alone);
    end(&alone);
    check(alone.checksum == calls[k].checksum, "a call differs from the same call alone");
  }
  free(calls);
  printf("%ld calls of %ld s on %ld threads in %.2f s: %.0f such calls in real time\n", count,
         frames / 50, threads, seconds, (double)count * (double)frames / 50 / seconds);
  return 0;
}
