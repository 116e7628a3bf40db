// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// A second of a made-up voice comes out of the decoder much as it went into the encoder.

#include <array>
#include <cmath>
#include <cstdio>
#include <kelp.h>
#include <memory>
#include <vector>

namespace {

void end_encoder(void *handle) {
  kelpe_flush(handle);
  kelpe_delete(handle);
}

using encoder_handle = std::unique_ptr<void, decltype(&end_encoder)>;
using decoder_handle = std::unique_ptr<void, decltype(&kelpd_delete)>;

}  // namespace

int main() {
  kelp_init();
  const kelp_config config = {};
  const encoder_handle encoder(kelpe_create(&config, nullptr), &end_encoder);
  const decoder_handle decoder(kelpd_create(&config, nullptr), &kelpd_delete);

  std::vector<int16_t> in(KELP_SAMPLE_RATE_HZ);
  for (std::size_t n = 0; n < in.size(); n++) {
    const double since_pulse = static_cast<double>(n % 57);
    const double syllables = 1 - std::cos(0.002 * static_cast<double>(n));
    in[n] = static_cast<int16_t>(4000 * syllables * std::exp(-since_pulse / 20) *
                                 std::cos(0.5 * since_pulse));
  }
  std::vector<int16_t> out(in.size());
  for (std::size_t at = 0; at < in.size(); at += KELP_FRAME_SAMPLES) {
    std::array<uint8_t, KELP_MAX_PACKET_BYTES> bytes{};
    kelp_packet_desc packet = {bytes.data(), 0, KELP_MAX_PACKET_BYTES};
    kelp_pcm_frame audio = {};
    kelp_frame_info info = {};
    audio.samples[0] = &in[at];
    if (kelpe_encode(encoder.get(), &audio, &packet, &info) != KELP_OK) return 1;
    packet.length = info.produced;
    audio.samples[0] = &out[at];
    if (kelpd_decode(decoder.get(), &packet, &audio, &info) != KELP_OK) return 1;
  }

  double signal = 0;
  double error = 0;
  for (std::size_t n = KELP_LOOKAHEAD_SAMPLES; n < in.size(); n++) {
    const double wanted = in[n - KELP_LOOKAHEAD_SAMPLES];
    signal += wanted * wanted;
    error += (wanted - out[n]) * (wanted - out[n]);
  }
  const double snr = 10 * std::log10(signal / error);
  std::printf("signal to noise %.1f dB\n", snr);
  return snr > 6 ? 0 : 1;
}
