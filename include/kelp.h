/*
 * Copyright 2026 The libkelp authors
 * SPDX-License-Identifier: Apache-2.0
 */
/**
 * @file
 * libkelp - variable-rate narrow-band speech codec (TIA/EIA IS-733, 13 kbit/s at full rate)
 *
 * Speech is 16-bit linear PCM, mono, 8000 samples per second, in frames of 20 ms (160 samples).
 * One frame becomes one packet and one packet becomes one frame. A packet begins with a rate
 * byte, which alone tells its length:
 *
 *     rate byte   rate       packet bytes   net bit rate   the encoder sends it
 *         1       eighth          4           1.0 kbit/s   in silence and background noise
 *         2       quarter         8           2.7 kbit/s   never (it is decoded only)
 *         3       half           17           6.2 kbit/s   between speech and silence
 *         4       full           35          13.3 kbit/s   in speech
 *        14       erasure         1               -        never: a host asks for concealment
 *
 * Encode:
 *
 *     kelp_init();                                        // once in a process
 *     kelp_config config = {{0, 0, 0}, 0};
 *     int32_t code;
 *     void *encoder = kelpe_create(&config, &code);       // NULL: see kelp_result_text(code)
 *     kelp_pcm_frame in = {0};
 *     uint8_t bytes[KELP_MAX_PACKET_BYTES];
 *     kelp_packet_desc out = {bytes, 0, sizeof bytes};
 *     kelp_frame_info info = {0, 0, 0};
 *     in.samples[0] = pcm;                                // 160 samples, advance by 160 a frame
 *     code = kelpe_encode(encoder, &in, &out, &info);     // bytes[0 .. info.produced - 1]
 *     kelpe_flush(encoder);                               // release the work area ...
 *     kelpe_delete(encoder);                              // ... then the handle: always both
 *
 * Decode:
 *
 *     void *decoder = kelpd_create(&config, &code);
 *     kelp_packet_desc in = {bytes, 0, length};
 *     kelp_pcm_frame out = {0};
 *     out.samples[0] = pcm;                               // room for 160 samples
 *     code = kelpd_decode(decoder, &in, &out, &info);     // info.consumed packet bytes were read
 *     kelpd_delete(decoder);                              // alone: it frees everything
 *
 * Conceal a lost packet:
 *
 *     uint8_t lost = KELP_RATE_ERASURE;                   // a packet of this one byte
 *     kelp_packet_desc in = {&lost, 0, 1};
 *     code = kelpd_decode(decoder, &in, &out, &info);     // 160 samples carried on from before
 *
 * Delay. The encoder looks 60 samples (7.5 ms) ahead: the packet of a frame describes the last 60
 * samples of the frame before it and the first 100 of its own. Decoded speech therefore lags the
 * input by 60 samples; feed one more frame of silence to get the last ones out.
 *
 * Level. The input passes a high-pass filter (-3 dB at 120 Hz, -10 dB at 50 Hz); above it speech
 * keeps its level.
 *
 * Output buffers. Hand the encoder at least KELP_MAX_PACKET_BYTES (35) bytes. It writes what fits
 * into a shorter buffer, but a field that starts in the buffer's last byte runs on into the byte
 * behind it: a short buffer risks exactly that one byte beyond its end.
 *
 * Input. Any bytes of any length from 1 up are safe to decode. A packet that fails its checks or
 * breaks off is concealed or decoded from what there is; see kelpd_decode.
 *
 * Threads. The library starts none and locks nothing. Call kelp_init before other threads create
 * handles. A handle belongs to one thread at a time; different handles may run at once on
 * different threads, and give the same bits there.
 *
 * Memory. It is taken when a handle is created and by nothing else: two blocks a handle. Encoding
 * and decoding allocate nothing. A handle may not be copied or moved.
 *
 * Every result is bit for bit the same on every processor, compiler and optimisation level.
 */
#ifndef KELP_H
#define KELP_H

#include <stdint.h>

/** The version of this header, in numbers and as text. */
#define KELP_VERSION_MAJOR 1
#define KELP_VERSION_MINOR 0
#define KELP_VERSION_PATCH 0
#define KELP_VERSION_STRING "1.0.0"

#if defined(__GNUC__) || defined(__clang__)
#define KELP_API __attribute__((visibility("default")))
#else
#define KELP_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Constants -------------------------------------------------------------------------- */

/** Sizes that do not change. */
enum {
  KELP_SAMPLE_RATE_HZ = 8000,  /**< of all input and output */
  KELP_FRAME_SAMPLES = 160,    /**< 20 ms */
  KELP_LOOKAHEAD_SAMPLES = 60, /**< the encoder's delay, 7.5 ms */
  KELP_MAX_PACKET_BYTES = 35   /**< a full-rate packet; the least an encoder's buffer should hold */
};

/** Result codes. Everything the library returns as a "code" is one of these. */
typedef enum kelp_result {
  KELP_OK = 0,             /**< done */
  KELP_ERR_NO_MEMORY = -2, /**< an allocation failed */
  KELP_ERR_CONFIG = -3,    /**< the fourth word of kelp_config is not zero */
  KELP_ERR_HANDLE = -4,    /**< null handle, wrong kind of handle, or its operations were removed */
  KELP_ERR_ARGUMENT = -5,  /**< packet without data, length below 1, or a code out of range */
  KELP_ERR_STATE = -8,     /**< kelp_init was not called, or a rate that an operation lacks */
  KELP_ERR_LSP = -21       /**< unusable line spectral pairs; kelpd_decode conceals these itself */
} kelp_result;

/** Rate codes: the first byte of every packet. */
typedef enum kelp_rate {
  KELP_RATE_EIGHTH = 1,  /**< silence and background noise, 4 bytes */
  KELP_RATE_QUARTER = 2, /**< unvoiced speech, 8 bytes; decoded, never sent by this encoder */
  KELP_RATE_HALF = 3,    /**< between speech and silence, 17 bytes */
  KELP_RATE_FULL = 4,    /**< speech, 35 bytes */
  KELP_RATE_ERASURE = 14 /**< conceal a lost packet, 1 byte */
} kelp_rate;

/** A result code in words, for messages. Never null; static storage. */
static inline const char *kelp_result_text(int32_t code) {
  switch (code) {
    case KELP_OK: return "success";
    case KELP_ERR_NO_MEMORY: return "out of memory";
    case KELP_ERR_CONFIG: return "configuration not supported (its fourth word must be 0)";
    case KELP_ERR_HANDLE: return "null handle, or not a handle of this kind";
    case KELP_ERR_ARGUMENT: return "packet without data, or an argument out of range";
    case KELP_ERR_STATE: return "kelp_init was not called, or rate not served";
    case KELP_ERR_LSP: return "unusable line spectral pairs";
    default: return "unknown result code";
  }
}

/** Bytes of a packet whose first byte is `rate_byte`, that byte included: 4, 8, 17 or 35; 1 for an
 * erasure; 0 when no packet begins with that byte. */
static inline int32_t kelp_packet_bytes(uint8_t rate_byte) {
  switch (rate_byte) {
    case KELP_RATE_EIGHTH: return 4;
    case KELP_RATE_QUARTER: return 8;
    case KELP_RATE_HALF: return 17;
    case KELP_RATE_FULL: return KELP_MAX_PACKET_BYTES;
    case KELP_RATE_ERASURE: return 1;
    default: return 0;
  }
}

/* ---- Records ---------------------------------------------------------------------------- */

/** Configuration of a handle, 16 bytes, copied at create. Set all of it to zero. */
typedef struct kelp_config {
  uint32_t reserved[3]; /**< kept with the handle, never interpreted */
  uint32_t option;      /**< must be 0, else create fails with KELP_ERR_CONFIG */
} kelp_config;

/** A packet buffer of the caller's; borrowed during a call, never kept or freed.
 * - Decoder: `length` bytes of packet are read through `data`.
 * - Encoder: `length` is the capacity of `data` in bytes, all of which is cleared and then written.
 *   Hand over at least KELP_MAX_PACKET_BYTES. With less the packet is cut off, and a field that
 *   starts in the last byte spills into the byte after it: one byte beyond the buffer, never more.
 */
typedef struct kelp_packet_desc {
  uint8_t *data;     /**< not null */
  uint64_t reserved; /**< neither read nor written */
  int32_t length;    /**< bytes, 1 or more */
} kelp_packet_desc;

/** An audio buffer of the caller's, eight channels by its form, of which only the first is used.
 * - Decoder: `samples[0]` receives 160 samples (it is not checked); sets `sample_count[0]` to 160,
 *   `byte_count[0]` to 320 and `format` to 1, 16, 8000, 1.
 * - Encoder: reads exactly 160 samples through `samples[0]`; reads and writes nothing else. */
typedef struct kelp_pcm_frame {
  uint32_t sample_count[8]; /**< set by the decoder */
  uint32_t byte_count[8];   /**< set by the decoder */
  int16_t *samples[8];      /**< 16-bit linear PCM, 8000 Hz; the first is the one */
  uint64_t reserved[8];     /**< neither read nor written */
  uint32_t format[4];       /**< set by the decoder: 1, bits per sample, samples per second, 1 */
} kelp_pcm_frame;

/** What one frame took and gave. Written only by a call that succeeds. */
typedef struct kelp_frame_info {
  int32_t consumed; /**< decoder: packet bytes read, 1 or more; encoder: 1 (frame) */
  int32_t produced; /**< decoder: 1 (frame); encoder: packet bytes written */
  uint64_t calls;   /**< incremented by 1; the caller zeroes it before the first frame */
} kelp_frame_info;

/** The operations that a handle carries, in this order. */
typedef struct kelp_codec_ops {
  int32_t (*prepare)(void *handle); /**< kelpd_ready or kelpe_ready */
  void (*release)(void *handle);    /**< kelpd_flush or kelpe_flush */
  /** One frame: what kelpd_decode or kelpe_encode does once it has checked its arguments. */
  int32_t (*process)(void *handle, void *first, void *second, void *info);
  void (*unused)(void); /**< always null */
} kelp_codec_ops;

typedef struct kcmn_bsr_state kcmn_bsr_state;

/** Loads up to `bytes` bytes into the cache, replacing it: 0, or -1 when no byte is left. */
typedef int32_t (*kcmn_bsr_refill)(kcmn_bsr_state *state, int32_t bytes);

/** Bit-stream reader. The main family (`kcmn_bsr_*`) reads the most significant bit of a byte
 * first, the second one (`kcmn_bsr_le_*`) the least significant. Treat the fields as read-only. */
struct kcmn_bsr_state {
  uint32_t cache;     /**< bits loaded and not consumed: left-aligned (main), right-aligned (le) */
  int32_t count;      /**< valid bits in cache, 0 to 32 */
  const uint8_t *cur; /**< next byte to load */
  const uint8_t *end; /**< last byte of the buffer */
  const uint8_t *start;   /**< first byte of the buffer */
  int32_t size;           /**< bytes */
  kcmn_bsr_refill refill; /**< called when the cache runs out */
};

typedef struct kcmn_bsw_state kcmn_bsw_state;

/** Called with each completed byte, before the byte pointer advances. */
typedef void (*kcmn_bsw_on_byte)(kcmn_bsw_state *state, uint32_t byte);

/** Bit-stream writer, most significant bit of each byte first. Treat the fields as read-only. */
struct kcmn_bsw_state {
  uint8_t *cur;             /**< byte being filled */
  int32_t room;             /**< bits still free in it, 1 to 8 */
  uint8_t *end;             /**< last byte of the buffer */
  uint8_t *start;           /**< first byte of the buffer */
  int32_t size;             /**< bytes */
  kcmn_bsw_on_byte on_byte; /**< may be null */
};

/* ---- Library ---------------------------------------------------------------------------- */

/** 0 until kelp_init has run, then 1 for the life of the process. Do not write it. */
extern KELP_API uint32_t kelp_inited;

/** Reserved; starts at 0. No function of the library reads or writes it. */
extern KELP_API int32_t erasure_count;

/** Readies the library; call it once before any handle is created. May be called again. It writes
 * kelp_inited without synchronisation: call it before starting threads. Returns 0. */
KELP_API int32_t kelp_init(void);

/** Does nothing and returns its argument; the library stays initialised. Two names, one function.
 */
KELP_API uintptr_t kelp_deinit(uintptr_t value);
KELP_API uintptr_t kelp_platform_deinit(uintptr_t value);

/** Does nothing; returns 0. Two names, one function. */
KELP_API int32_t kelp_q(void);
KELP_API int32_t kelp_platform_init(void);

/* ---- Decoder ---------------------------------------------------------------------------- */

/** Creates a decoder.
 * @param config  all zero; not null
 * @param err     receives the code; may be null
 * @return the handle, the caller's until kelpd_delete; or null with the code
 *   - KELP_ERR_STATE: kelp_init was not called
 *   - KELP_ERR_NO_MEMORY: nothing is left behind
 *   - KELP_ERR_CONFIG: `config->option` is not 0
 *
 * There is no reset: a stream starts afresh by deleting its handle and creating another. */
KELP_API void *kelpd_create(const kelp_config *config, int32_t *err);

/** Decodes one packet into 160 samples.
 * @param handle  a decoder
 * @param in      the packet; bytes after it are ignored. Not null itself.
 * @param out     `samples[0]` receives 160 samples. Not null.
 * @param info    consumed, produced and calls are set. Not null.
 * @retval KELP_OK            160 samples were written, whatever the packet held
 * @retval KELP_ERR_HANDLE    handle is null, not a decoder, or its operations were removed
 * @retval KELP_ERR_ARGUMENT  `in->data` is null or `in->length` below 1
 *
 * Nothing is written with any code but KELP_OK. What becomes of a packet:
 *
 *     rate byte 1, 3, 4      decoded; concealed when its check bits or line spectral pairs are
 *                            unusable, or when it breaks off before its check bits
 *     rate byte 2            decoded; 160 zero samples when its checks fail
 *     rate byte 14           concealed: the last sound carried on, fading over successive losses
 *     any other rate byte    160 zero samples; the memories stay for the next packet
 */
KELP_API int32_t kelpd_decode(void *handle, const kelp_packet_desc *in, kelp_pcm_frame *out,
                              kelp_frame_info *info);

/** Frees a decoder and all it holds. Null, or a block that is not a decoder, is left alone. The
 * handle is gone afterwards: a second delete of it is an error of the caller's. */
KELP_API void kelpd_delete(void *handle);

/** The operations behind the calls above, for hosts that manage handles themselves. They check
 * nothing: the handle must be a live decoder.
 *   - kelpd_ready takes a new work area. Legal only after kelpd_flush, else the area held before is
 *     lost. KELP_OK or KELP_ERR_NO_MEMORY.
 *   - kelpd_flush frees the work area but keeps its address: before the next decode or delete
 *     kelpd_ready must have succeeded, and two flushes in a row free the same area twice.
 *   - kelpd_platform_deinit removes the operations: kelpd_decode then returns KELP_ERR_HANDLE, and
 *     kelpd_delete would leave the work area behind, so put them back first.
 *   - kelpd_platform_init puts them back. KELP_OK, or KELP_ERR_CONFIG (the option is not 0). */
KELP_API int32_t kelpd_ready(void *handle);
KELP_API void kelpd_flush(void *handle);
KELP_API int32_t kelpd_platform_init(void *handle);
KELP_API void kelpd_platform_deinit(void *handle);

/* ---- Encoder ---------------------------------------------------------------------------- */

/** Creates an encoder; arguments, result and codes as kelpd_create. The handle is ended with
 * kelpe_flush and then kelpe_delete. The first packet of a stream is always full rate. */
KELP_API void *kelpe_create(const kelp_config *config, int32_t *err);

/** Encodes 160 samples into one packet of 4, 17 or 35 bytes.
 * @param handle  an encoder
 * @param in      `samples[0]` points to 160 samples. Not null.
 * @param out     the packet buffer, at least KELP_MAX_PACKET_BYTES long (see kelp_packet_desc); the
 *                whole buffer is cleared first. Not null itself.
 * @param info    produced receives the packet's length; consumed becomes 1. Not null.
 * @retval KELP_OK            the packet is written
 * @retval KELP_ERR_HANDLE    handle is null, not an encoder, or its operations were removed
 * @retval KELP_ERR_ARGUMENT  `out->data` is null or `out->length` below 1
 *
 * Nothing is written with any code but KELP_OK. */
KELP_API int32_t kelpe_encode(void *handle, const kelp_pcm_frame *in, kelp_packet_desc *out,
                              kelp_frame_info *info);

/** Frees the handle block of an encoder, and only that: the work area is freed by kelpe_flush,
 * which comes first. Null, or a block that is not an encoder, is left alone. */
KELP_API void kelpe_delete(void *handle);

/** As the decoder's four, on an encoder. kelpe_flush is also the first half of ending an encoder.
 * kelpe_ready sets every memory of the stream back to its start as well. */
KELP_API int32_t kelpe_ready(void *handle);
KELP_API void kelpe_flush(void *handle);
KELP_API int32_t kelpe_platform_init(void *handle);
KELP_API void kelpe_platform_deinit(void *handle);

/* ---- Memory ----------------------------------------------------------------------------- */

/** A block of `size` bytes aligned to 32, or null. Not cleared. The request to malloc is size + 32
 * in 32 bits, widened as a signed value, plus 8: sizes of 2 GiB and more are not served. Free it
 * with kcmn_mfree_align32 (null allowed). Two names each. Safe on any thread. */
KELP_API void *kcmn_malloc_align32(uint32_t size);
KELP_API void *kcmn_malloc_fast_align32(uint32_t size);
KELP_API void kcmn_mfree_align32(void *block);
KELP_API void kcmn_mfree_fast_align32(void *block);

/** Copies `rows` rows of `row_bytes` bytes; source and destination advance by their strides (bytes,
 * may be negative) after each row. Rows may not overlap their source. Nothing is copied when `rows`
 * or `row_bytes` is below 1. */
KELP_API void kcmn_blk_mcpy(void *destination, const void *source, int32_t destination_stride,
                            int32_t source_stride, int32_t row_bytes, int32_t rows);

/* ---- Bit-stream reader ------------------------------------------------------------------ */

/** Starts `state` on `size` bytes at `buffer`, which is borrowed. `refill` null: kcmn_bsr_flush.
 * A size below 1 leaves nothing to read. */
KELP_API void kcmn_bsr_init(kcmn_bsr_state *state, const uint8_t *buffer, int32_t size,
                            kcmn_bsr_refill refill);

/** The refills of the two families: load up to `bytes` (held to 4) bytes into a fresh cache.
 * 0, or -1 with cache and count cleared when none is left. */
KELP_API int32_t kcmn_bsr_flush(kcmn_bsr_state *state, int32_t bytes);
KELP_API int32_t kcmn_bsr_le_flush(kcmn_bsr_state *state, int32_t bytes);

/** The next `bits` (1 to 32) bits; all ones when the buffer is exhausted. */
KELP_API uint32_t kcmn_bsr_read(kcmn_bsr_state *state, int32_t bits);
KELP_API uint32_t kcmn_bsr_le_read(kcmn_bsr_state *state, int32_t bits);

/** The next bit, 0 or 1; all ones when exhausted. */
KELP_API uint32_t kcmn_bsr_read1(kcmn_bsr_state *state);

/** The next bit through `value`: 0, or -1 with nothing stored when exhausted. */
KELP_API int32_t kcmn_bsr_read1_value(kcmn_bsr_state *state, uint8_t *value);

/** The next `bits` (1 to 32) bits without consuming them; zero bits stand for those past the end.
 */
KELP_API uint32_t kcmn_bsr_peek(kcmn_bsr_state *state, int32_t bits);

/** Discards `bits` (1 to 32) bits; stops at the end of the buffer. */
KELP_API void kcmn_bsr_skip(kcmn_bsr_state *state, int32_t bits);

/** Skips, then peeks; 0 when the skip runs off the buffer. */
KELP_API uint32_t kcmn_bsr_skip_peek(kcmn_bsr_state *state, int32_t skip_bits, int32_t peek_bits);

/** Discards `bits` of the cached bits. Never refills: a skip beyond them leaves a negative count,
 * which the next kcmn_bsr_le_read makes good. */
KELP_API void kcmn_bsr_le_skip(kcmn_bsr_state *state, int32_t bits);

/** Discards what is left of a partly consumed byte. */
KELP_API void kcmn_bsr_skip_to_align8(kcmn_bsr_state *state);
KELP_API void kcmn_bsr_le_skip_to_align8(kcmn_bsr_state *state);

/** Number of leading zero bits, 32 for 0. */
KELP_API uint32_t kcmn_bsr_clz_in_code(uint32_t value);

/* ---- Bit-stream writer ------------------------------------------------------------------ */

/** Starts `state` on `size` bytes at `buffer`, which is borrowed and not cleared. A size below 1
 * leaves nothing to write to. */
KELP_API void kcmn_bsw_init(kcmn_bsw_state *state, uint8_t *buffer, int32_t size,
                            kcmn_bsw_on_byte on_byte);

/** Appends bit 0 of `bit`: 0, or -1 with nothing written when the buffer is full. */
KELP_API int32_t kcmn_bsw_write1(kcmn_bsw_state *state, uint32_t bit);

/** Appends the low `bits` (0 to 32) bits of `value`, highest first: 0, or -1 with nothing written
 * when the buffer is already full. The end is checked at entry only: a write that starts in the
 * last byte runs on into up to four bytes behind the buffer. */
KELP_API int32_t kcmn_bsw_write(kcmn_bsw_state *state, uint32_t value, int32_t bits);

/* ---- Fixed-point primitives ------------------------------------------------------------- */
/* Pure functions. Qn: a signed integer that stands for itself over 2^n. Sums wrap in 32 bits.  */

/** `a * b >> 31` by 16-bit pieces: Q31 times Q31 is Q31. -2^31 by -2^31 wraps to -2^31. */
KELP_API int32_t kelp_mul_32_32(int32_t a, int32_t b);

/** `a * b >> 15`: Q31 times Q15 is Q31. */
KELP_API int32_t kelp_mul_32_16(int32_t a, int16_t b);

/** `num / den` in Q31 for `0 <= num < den` and den normalised (2^30 or more). A den whose upper
 * half is 16383 gives 32767, a smaller one 0. */
KELP_API int32_t kelp_div_32_32(int32_t num, int32_t den);

/** Square root in Q15 of a Q31 value in [0.5, 1). */
KELP_API int16_t kelp_squar_rt(int32_t x);

/** Left shifts that normalise x; 0 for 0. */
KELP_API int16_t kelp_norm_32(int32_t x);
KELP_API int16_t kelp_norm_16(int16_t x);

/** `num / den` in Q15 for `0 <= num <= den`, 32767 when equal; 0 for anything else. */
KELP_API int16_t kelp_div_16_16(int16_t num, int16_t den);

/** Logarithms to base 2, e and 10 of x / 2^31 in Q26, x positive. Errors up to 0.009 (base 2). */
KELP_API int32_t kelp_log2(int32_t x);
KELP_API int32_t kelp_log(int32_t x);
KELP_API int32_t kelp_log10(int32_t x);

/** 1 / sqrt(x) in Q30, x in Q0; 0x3FFFFFFF for 0 and below. */
KELP_API int32_t kelp_inv_sqrt(int32_t x);

/* ---- Tables ----------------------------------------------------------------------------- */
/* Read-only, shared by all handles. LSP frequencies are in Q16 of the sampling rate (32768 is half
 * of it).                                                                                       */

/** A row of the split codebooks: two steps of LSPs. */
typedef struct kelp_lsp_pair {
  int32_t first;  /**< from the LSP before to the first of the pair */
  int32_t second; /**< from there to the second */
} kelp_lsp_pair;

extern KELP_API const kelp_lsp_pair kelp_tbl_lspvq0[64];       /**< LSP 1 and 2 */
extern KELP_API const kelp_lsp_pair kelp_tbl_lspvq1[128];      /**< LSP 3 and 4 */
extern KELP_API const kelp_lsp_pair kelp_tbl_lspvq2[128];      /**< LSP 5 and 6 */
extern KELP_API const kelp_lsp_pair kelp_tbl_lspvq3[64];       /**< LSP 7 and 8 */
extern KELP_API const kelp_lsp_pair kelp_tbl_lspvq4[64];       /**< LSP 9 and 10 */
extern KELP_API const kelp_lsp_pair *const kelp_tbl_vq_lsp[5]; /**< the five above, in order */
extern KELP_API const int32_t tbl_bias[10];                    /**< LSP mean, Q21: >> 5 for Q16 */
extern KELP_API const int32_t tbl_idx_lpcorder[10];            /**< the encoder's starting LSPs */
extern KELP_API const int32_t kelp_tbl_ga[73];        /**< codebook gain of k - 6 dB, Q16 */
extern KELP_API const int32_t tbl_ga_8th_offset[4];   /**< dB steps of the eighth-rate gain codes */
extern KELP_API const int16_t kelp_tbl_cb[128];       /**< circular codebook, full rate, Q13 */
extern KELP_API const int16_t kelp_tbl_cb_half[128];  /**< circular codebook, half rate, Q13 */
extern KELP_API const int32_t kelp_tbl_cb_sf[5];      /**< codebook subframes by rate code */
extern KELP_API const int32_t kelp_tbl_pitch_sf[5];   /**< pitch subframes by rate code */
extern KELP_API const int16_t gain_tabl1[8];          /**< gain ramp of the old gain, eighths */
extern KELP_API const int16_t gain_tabl2[8];          /**< gain ramp of the new gain, eighths */
extern KELP_API const int32_t tbl_lsp_cos[16384];     /**< cos(pi i / 16384), Q24 */
extern KELP_API const int16_t tbl_lpc_bw_expand[10];  /**< bandwidth expansion, Q14 */
extern KELP_API const int16_t tbl_lsp_interp[5][4];   /**< weight of the new LSPs, eighths */
extern KELP_API const int16_t kelp_tbl_hammsinc[8];   /**< half-sample interpolator, Q14 */
extern KELP_API const int16_t kelp_tbl_hammsinc_m[8]; /**< the same, one sample later */
extern KELP_API const int16_t tbl_small_sinc[8];      /**< Q14; no filter here uses it */
extern KELP_API const int32_t tbl_cosine_data[8193];  /**< cos(pi i / 8192), Q24 */
extern KELP_API const int32_t tbl_sine_data[8193];    /**< sin(pi i / 8192), Q24 */

#ifdef __cplusplus
}
#endif

#endif /* KELP_H */
