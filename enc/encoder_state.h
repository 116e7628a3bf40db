// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What an encoder keeps: its handle, the state that lives from frame to frame, and the work area
// that is cleared before each frame.
#ifndef KELP_ENC_ENCODER_STATE_H
#define KELP_ENC_ENCODER_STATE_H

#include <cstdint>

#include "common/synthesis.h"
#include "enc/kernels.h"
#include "format/payload.h"
#include "kelp.h"

namespace kelp {

inline constexpr int kSpeechHistory = KELP_LOOKAHEAD_SAMPLES;
inline constexpr int kSpeechBuffer = kSpeechHistory + KELP_FRAME_SAMPLES;
inline constexpr int kDecimatedHistory = 60;

// High-pass memory: outputs over 2^14 and inputs, one and two samples back.
struct preprocess_state {
  int32_t y1, y2;
  int32_t x1, x2;
};

// One per frequency band: 0 lower, 1 upper.
struct band_state {
  int32_t noise;      // background-noise energy
  int32_t signal;     // speech energy
  int32_t smoothed;   // energy smoothed over frames
  int32_t snr_class;  // 0 .. 7, from noisy to clean
  int16_t filter_autocorrelation[kAutocorrelations];
};

struct rate_decision_state {
  band_state band[2];
  int32_t previous_rate;
  int32_t full_rate_run;   // frames of full rate since the last hangover
  int32_t hangover_count;  // frames spent in this hangover
  bool in_hangover;
  int32_t unvoiced_run;                  // consecutive frames of low periodicity
  int32_t voiced_run;                    // consecutive frames of high periodicity
  bool signal_seen;                      // set by the first run of periodic frames, for good
  int32_t decimated[kDecimatedHistory];  // last low-passed residual at 4 kHz
  int32_t lowpass[kRateFilterTaps - 1];  // past inputs of the rate filter, Q14, oldest first
};

// Gain indices of the last two codebook subframes, and of the last three in Q16, newest first.
// After a predictively coded subframe neither holds whole positions; see quantize_gain.
struct gain_quantizer_state {
  int32_t current;
  int32_t previous;
  int32_t history_q16[3];
};

struct encoder_state {
  lpc_memory weighting_zero;
  lpc_memory weighting_pole;
  synthesis_state local_decoder;  // its last stage stays open
  lpc_memory weighted_synthesis;  // in analysis mode
  preprocess_state preprocess;
  int32_t speech[kSpeechBuffer];  // 16-bit values; samples 0 .. 159 are coded, 60 .. 219 analysed
  rate_decision_state rate_decision;
  uint32_t frame_count;
  int32_t lsp_memory[kLpcOrder];              // eighth-rate LSP predictor
  int32_t previous_quantized_lsp[kLpcOrder];  // Q16 of the sampling rate
  int32_t previous_lsp[kLpcOrder];            // unquantized, for frames whose search fails
  gain_quantizer_state gains;
  uint32_t seed;              // 16 bits, eighth rate
  int32_t previous_gain_q16;  // magnitude of the last codebook gain
  int32_t eighth_rate_run;    // consecutive eighth-rate frames
  bool halve_noise;           // noise gains are halved since a clean stretch, see noise_frame.cpp
};

// One frame's data, each part written by the stage named.
struct encoder_frame {
  kcmn_bsw_state *writer;
  const encoder_kernels *kernels;
  int32_t rate;                                // rate decision
  int32_t autocorrelation[kAutocorrelations];  // analysis, scaled for the rate decision
  int16_t lpc_q10[kLpcOrder];                  // analysis: A(z) = 1 - sum of a_i z^-i
  int32_t lsp[kLpcOrder];                      // analysis, Q16 of the sampling rate
  int32_t band_energy[2];                      // rate decision
  int32_t quantized_lsp[kLpcOrder];            // LSP quantization
  subframe_coefficients coefficients[kSets];   // LPC conversion
  union {
    int32_t weighted_residual[KELP_FRAME_SAMPLES];      // weighting, for rate levels and noise
    int32_t impulse_response[kSets][kImpulseResponse];  // excitation search of speech, Q14
  };
  int32_t weighted_speech[KELP_FRAME_SAMPLES];          // weighting
  filtered_codebook::numbers_of_candidates candidates;  // codebook search
  payload_codes codes;                                  // quantizers
};

struct encoder_handle {
  uint32_t tag;
  kcmn_bsw_state writer;
  encoder_frame *frame;
  const encoder_kernels *kernels;  // for this processor
  encoder_state state;
  kelp_config config;
  encoder_handle *self;
  kelp_codec_ops ops;
};

inline constexpr uint32_t kEncoderTag = 0x4B4C5045;  // "EPLK"

}  // namespace kelp

#endif  // KELP_ENC_ENCODER_STATE_H
