/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 *
 * Plays a stream whose packets come late, out of order, or not at all:
 *
 *     jitter_buffer LOST_PERCENT JITTER_MS < speech.kelp > played.s16
 *
 * A packet is sent every 20 ms, through a network that is made up here; 60 ms after the first has
 * come, the first frame is played. Three things are kept apart:
 *   lost or late   it is not there when its turn comes: concealed
 *   blank          it is there and bears no speech (rate byte 0): concealed too, for the decoder
 *                  would cut the sound off
 *   no data        nothing is due yet: silence, and the decoder is left alone
 */
#include <kelp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { FRAME_MS = 20, PLAYOUT_MS = 60, SLOTS = 64 /* a power of two */ };

struct packet {
  long arrival_ms;   /* -1: never */
  uint16_t sequence; /* packets of the codec have no number: it is the transport's */
  int32_t length;
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
};

/* The receiver: packets wait for their turn in the slot of their number. */
struct jitter_buffer {
  struct packet slots[SLOTS]; /* length 0: empty */
  uint16_t next;              /* the number whose turn it is */
  long start_ms;              /* when the first turn is; -1 before the first packet */
  long played, concealed, late;
};

static void put(struct jitter_buffer *buffer, const struct packet *packet, long now_ms) {
  if (buffer->start_ms < 0) {
    buffer->start_ms = now_ms + PLAYOUT_MS;
    buffer->next = packet->sequence;
  }
  /* Numbers wrap at 65536: what counts is how far this one is ahead. */
  const uint16_t ahead = (uint16_t)(packet->sequence - buffer->next);
  if (ahead > UINT16_MAX - SLOTS && buffer->played == 0) {
    buffer->next = packet->sequence; /* the one that came first had overtaken it */
  } else if (ahead >= SLOTS) {
    buffer->late++; /* the decoder has gone on without it */
    return;
  }
  buffer->slots[packet->sequence % SLOTS] = *packet; /* a duplicate replaces its like */
}

static int32_t play(struct jitter_buffer *buffer, void *decoder, kelp_pcm_frame *frame) {
  uint8_t erasure = KELP_RATE_ERASURE;
  kelp_frame_info info = {0, 0, 0};
  struct packet *slot = &buffer->slots[buffer->next++ % SLOTS];
  kelp_packet_desc packet = {slot->bytes, 0, slot->length};
  if (slot->length == 0 || kelp_packet_bytes(slot->bytes[0]) == 0) {
    packet.data = &erasure;
    packet.length = 1;
    buffer->concealed++;
  }
  slot->length = 0;
  buffer->played++;
  return kelpd_decode(decoder, &packet, frame, &info);
}

static double draw(void) { /* 0 to 1 */
  static uint32_t state = 1;
  return (state = state * 1664525 + 1013904223) / 4294967296.0;
}

/* The sender and the network: takes the next packet of standard input on its way. */
static int send_packet(struct packet *packet, double lost_percent, long jitter_ms, long now_ms) {
  if (fread(packet->bytes, 1, 1, stdin) != 1) return 0;
  packet->length = packet->bytes[0] == 0 ? 1 : kelp_packet_bytes(packet->bytes[0]);
  if (packet->length == 0) return 0;
  const size_t rest = (size_t)packet->length - 1;
  if (fread(packet->bytes + 1, 1, rest, stdin) != rest) return 0;
  packet->arrival_ms = now_ms + (long)((double)jitter_ms * draw());
  if (100 * draw() < lost_percent) packet->arrival_ms = -1;
  return 1;
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: jitter_buffer LOST_PERCENT JITTER_MS < speech.kelp > played.s16\n");
    return 2;
  }
  const double lost_percent = strtod(argv[1], NULL);
  const long jitter_ms = strtol(argv[2], NULL, 10);
  kelp_init();
  const kelp_config config = {{0, 0, 0}, 0};
  void *decoder = kelpd_create(&config, NULL);
  if (decoder == NULL) return 1;
  struct jitter_buffer buffer = {.start_ms = -1};
  struct packet on_the_way[SLOTS] = {{0, 0, 0, {0}}}, packet = {.sequence = 65530};
  int16_t pcm[KELP_FRAME_SAMPLES];
  kelp_pcm_frame frame = {.samples = {pcm}};
  long lost = 0, silent = 0, sent_ms = 0;
  for (long now_ms = 0; now_ms <= sent_ms + PLAYOUT_MS + jitter_ms; now_ms += FRAME_MS) {
    if (now_ms == sent_ms && send_packet(&packet, lost_percent, jitter_ms, now_ms)) {
      on_the_way[packet.sequence % SLOTS] = packet;
      packet.sequence++;
      lost += packet.arrival_ms < 0;
      sent_ms += FRAME_MS;
    }
    for (struct packet *one = on_the_way; one < on_the_way + SLOTS; one++) {
      if (one->length == 0 || one->arrival_ms < 0 || one->arrival_ms > now_ms) continue;
      put(&buffer, one, now_ms);
      one->length = 0;
    }
    const int due = buffer.start_ms >= 0 && now_ms >= buffer.start_ms;
    if (due && buffer.next == packet.sequence) continue; /* only late ones are still to come */
    memset(pcm, 0, sizeof pcm);
    if (due && play(&buffer, decoder, &frame) != KELP_OK) return 1;
    silent += !due;
    fwrite(pcm, sizeof pcm[0], KELP_FRAME_SAMPLES, stdout);
  }
  kelpd_delete(decoder);
  fprintf(stderr, "%ld played, %ld of them concealed: %ld lost, %ld late; %ld silent before\n",
          buffer.played, buffer.concealed, lost, buffer.late, silent);
  return fflush(stdout) != 0;
}
