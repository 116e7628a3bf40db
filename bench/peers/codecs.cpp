// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The codecs behind one interface. Settings that are not named here are the libraries' own.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/peers/codec.h"
#include "kelp.h"

#ifdef KELP_PEER_AMRNB
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#endif
#ifdef KELP_PEER_G729
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#endif
#ifdef KELP_PEER_SPEEX
#include <speex/speex.h>
#endif
#ifdef KELP_PEER_OPUS
#include <opus/opus.h>
#endif
#ifdef KELP_PEER_GSM
#include <gsm/gsm.h>
#endif
#ifdef KELP_PEER_CODEC2
#include <codec2/codec2.h>
#endif

namespace kelp::peers {
namespace {

void check(bool ok, const char *who) {
  if (ok) return;
  std::fprintf(stderr, "%s refused a call\n", who);
  std::exit(1);
}

// A handle that its last owner ends.
template <typename Handle>
std::shared_ptr<Handle> own(Handle *handle, void (*end)(Handle *)) {
  check(handle != nullptr, "a codec");
  return {handle, end};
}

codec make_kelp(bool) {
  kelp_init();
  const kelp_config config = {};
  const auto encoder = own<void>(kelpe_create(&config, nullptr), [](void *handle) {
    kelpe_flush(handle);
    kelpe_delete(handle);
  });
  const auto decoder = own(kelpd_create(&config, nullptr), kelpd_delete);
  return {[encoder](int16_t *pcm, coded_frame *out) {
            kelp_pcm_frame in = {};
            in.samples[0] = pcm;
            kelp_packet_desc packet = {out->bytes, 0, KELP_MAX_PACKET_BYTES};
            kelp_frame_info info = {};
            check(kelpe_encode(encoder.get(), &in, &packet, &info) == KELP_OK, "libkelp");
            out->length[0] = info.produced;
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            const kelp_packet_desc packet = {const_cast<uint8_t *>(in.bytes), 0, in.length[0]};
            kelp_pcm_frame out = {};
            out.samples[0] = pcm;
            kelp_frame_info info = {};
            check(kelpd_decode(decoder.get(), &packet, &out, &info) == KELP_OK, "libkelp");
          }};
}

#ifdef KELP_PEER_AMRNB
codec make_amrnb(bool conversation) {
  const auto encoder = own(Encoder_Interface_init(conversation ? 1 : 0), Encoder_Interface_exit);
  const auto decoder = own(Decoder_Interface_init(), Decoder_Interface_exit);
  return {[encoder](int16_t *pcm, coded_frame *out) {
            out->length[0] = Encoder_Interface_Encode(encoder.get(), MR122, pcm, out->bytes, 0);
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            Decoder_Interface_Decode(decoder.get(), in.bytes, pcm, 0);
          }};
}
#endif

#ifdef KELP_PEER_G729
codec make_g729(bool conversation) {
  constexpr int kHalf = kFrame / 2;
  constexpr int kMost = 10;
  const auto encoder =
      own(initBcg729EncoderChannel(conversation ? 1 : 0), closeBcg729EncoderChannel);
  const auto decoder = own(initBcg729DecoderChannel(), closeBcg729DecoderChannel);
  return {[encoder](int16_t *pcm, coded_frame *out) {
            for (int half = 0; half < 2; half++) {
              uint8_t length = 0;
              bcg729Encoder(encoder.get(), pcm + half * kHalf, out->bytes + half * kMost, &length);
              out->length[half] = length;
            }
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            for (int half = 0; half < 2; half++) {
              bcg729Decoder(decoder.get(), in.bytes + half * kMost,
                            static_cast<uint8_t>(in.length[half]), 0, 0, 0, pcm + half * kHalf);
            }
          }};
}
#endif

#ifdef KELP_PEER_SPEEX
codec make_speex(bool conversation) {
  const SpeexMode *const mode = speex_lib_get_mode(SPEEX_MODEID_NB);
  const auto encoder = own(speex_encoder_init(mode), speex_encoder_destroy);
  const auto decoder = own(speex_decoder_init(mode), speex_decoder_destroy);
  const auto bits = own(
      new SpeexBits, +[](SpeexBits *ended) {
        speex_bits_destroy(ended);
        delete ended;
      });
  speex_bits_init(bits.get());
  int quality = 6;
  float vbr_quality = 6;
  int vbr = conversation ? 1 : 0;
  speex_encoder_ctl(encoder.get(), SPEEX_SET_QUALITY, &quality);
  speex_encoder_ctl(encoder.get(), SPEEX_SET_VBR, &vbr);
  speex_encoder_ctl(encoder.get(), SPEEX_SET_VBR_QUALITY, &vbr_quality);
  return {[encoder, bits](int16_t *pcm, coded_frame *out) {
            speex_bits_reset(bits.get());
            speex_encode_int(encoder.get(), pcm, bits.get());
            out->length[0] = speex_bits_write(bits.get(), reinterpret_cast<char *>(out->bytes),
                                              static_cast<int>(sizeof out->bytes));
          },
          [decoder, bits](const coded_frame &in, int16_t *pcm) {
            speex_bits_read_from(bits.get(), reinterpret_cast<const char *>(in.bytes),
                                 in.length[0]);
            check(speex_decode_int(decoder.get(), bits.get(), pcm) == 0, "Speex");
          }};
}
#endif

#ifdef KELP_PEER_OPUS
template <int Complexity>
codec make_opus(bool conversation) {
  const auto encoder =
      own(opus_encoder_create(8000, 1, OPUS_APPLICATION_VOIP, nullptr), opus_encoder_destroy);
  const auto decoder = own(opus_decoder_create(8000, 1, nullptr), opus_decoder_destroy);
  check(opus_encoder_ctl(encoder.get(), OPUS_SET_BITRATE(12000)) == OPUS_OK &&
            opus_encoder_ctl(encoder.get(), OPUS_SET_COMPLEXITY(Complexity)) == OPUS_OK &&
            opus_encoder_ctl(encoder.get(), OPUS_SET_DTX(conversation ? 1 : 0)) == OPUS_OK,
        "Opus");
  return {[encoder](int16_t *pcm, coded_frame *out) {
            out->length[0] = opus_encode(encoder.get(), pcm, kFrame, out->bytes, sizeof out->bytes);
            check(out->length[0] > 0, "Opus");
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            check(opus_decode(decoder.get(), in.bytes, in.length[0], pcm, kFrame, 0) == kFrame,
                  "Opus");
          }};
}
#endif

#ifdef KELP_PEER_GSM
codec make_gsm(bool) {
  const auto encoder = own(gsm_create(), gsm_destroy);
  const auto decoder = own(gsm_create(), gsm_destroy);
  return {[encoder](int16_t *pcm, coded_frame *out) {
            gsm_encode(encoder.get(), pcm, out->bytes);
            out->length[0] = static_cast<int>(sizeof(gsm_frame));
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            check(gsm_decode(decoder.get(), const_cast<gsm_byte *>(in.bytes), pcm) == 0, "GSM");
          }};
}
#endif

#ifdef KELP_PEER_CODEC2
codec make_codec2(bool) {
  const auto encoder = own(codec2_create(CODEC2_MODE_3200), codec2_destroy);
  const auto decoder = own(codec2_create(CODEC2_MODE_3200), codec2_destroy);
  return {[encoder](int16_t *pcm, coded_frame *out) {
            codec2_encode(encoder.get(), out->bytes, pcm);
            out->length[0] = codec2_bytes_per_frame(encoder.get());
          },
          [decoder](const coded_frame &in, int16_t *pcm) {
            codec2_decode(decoder.get(), pcm, in.bytes);
          }};
}
#endif

}  // namespace

const std::vector<codec_kind> &codecs() {
  static const std::vector<codec_kind> kAll = {
      {"libkelp", "", make_kelp},
#ifdef KELP_PEER_AMRNB
      {"AMR-NB 12.2", "DTX", make_amrnb},
#endif
#ifdef KELP_PEER_G729
      {"G.729A", "VAD", make_g729},
#endif
#ifdef KELP_PEER_SPEEX
      {"Speex NB quality 6", "VBR", make_speex},
#endif
#ifdef KELP_PEER_OPUS
      {"Opus 12k complexity 10", "DTX", make_opus<10>},
      {"Opus 12k complexity 0", "DTX", make_opus<0>},
#endif
#ifdef KELP_PEER_GSM
      {"GSM full rate", "", make_gsm},
#endif
#ifdef KELP_PEER_CODEC2
      {"Codec2 3200", "", make_codec2},
#endif
  };
  return kAll;
}

}  // namespace kelp::peers
