// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Each stage alone, on what it was given in the stream. The stages of the encoder are the lines of
// kelpe_enc, which must come to the packet that kelpe_encode made; `pitch_search` and
// `codebook_search` are the larger parts of `excitation`, and `postfilter` is a part of
// `synthesis`, compiled here from the library's template.

#include "bench/stage_bench.h"

#include <algorithm>
#include <benchmark/benchmark.h>

#include "bench/timing.h"
#include "dec/decoder.h"
#include "dec/dequant.h"
#include "enc/analysis.h"
#include "enc/lsp_quant.h"
#include "enc/preprocess.h"
#include "enc/rate_decision.h"
#include "enc/weighting.h"
#include "format/pack.h"
#include "tests/handles.h"

namespace kelp::bench {
namespace {

using frame_list = std::vector<captured_frame>;

struct encoder_work {
  encoder_state state;
  encoder_frame frame;
  const int16_t *pcm;
  kcmn_bsw_state writer;
  uint8_t packet[KELP_MAX_PACKET_BYTES];
};

// After every copy: the frame knows the writer, the writer the packet.
void attach(encoder_work *work) {
  kcmn_bsw_init(&work->writer, work->packet, KELP_MAX_PACKET_BYTES, nullptr);
  work->frame.writer = &work->writer;
}

struct encoder_stage {
  const char *name;
  void (*run)(encoder_work *);
};
constexpr encoder_stage kEncoderStages[] = {
    {"preprocess",
     [](encoder_work *work) {
       int32_t *const speech = work->state.speech + kSpeechHistory;
       kelp_pre_proc(&work->state.preprocess, work->pcm, speech);
       scale_speech(speech);
     }},
    {"analysis", [](encoder_work *work) { kelpe_lsp(&work->frame, work->state); }},
    {"rate_decision", [](encoder_work *work) { kelpe_ratedec_step1(&work->frame, &work->state); }},
    {"lsp_quantization", [](encoder_work *work) { kelpe_q_lsp(&work->frame, &work->state); }},
    {"lpc_conversion",
     [](encoder_work *work) {
       constexpr int32_t kWeighting_q15 = 25559;
       encoder_frame &frame = work->frame;
       kelpe_lpc_convert(0, frame.rate, work->state.previous_quantized_lsp, frame.quantized_lsp,
                         frame.coefficients, kWeighting_q15);
     }},
    {"weighting", [](encoder_work *work) { kelpe_pitch_cb_target(&work->frame, &work->state); }},
    {"rate_levels", [](encoder_work *work) { kelpe_ratedec_step2(work->frame, &work->state); }},
    {"excitation", [](encoder_work *work) { kelpe_pitch_cb_extract(&work->frame, &work->state); }},
    {"packing",
     [](encoder_work *work) {
       kelpe_pack(work->frame.rate, work->frame.codes, &work->writer, &work->state.seed);
     }},
};

// The work as it stands before `stage`.
encoder_work work_before(const encoder_stage *stage, const captured_frame &frame) {
  encoder_work work = {frame.before_encoding, {}, frame.pcm, {}, {}};
  attach(&work);
  for (const encoder_stage *one = kEncoderStages; one != stage; one++) one->run(&work);
  return work;
}

double encoder_stage_seconds(const encoder_stage &stage, const frame_list &frames) {
  double sum = 0;
  for (const captured_frame &frame : frames) {
    const encoder_work before = work_before(&stage, frame);
    encoder_work work;
    const auto prepare = [&] {
      work = before;
      attach(&work);
    };
    sum += typical_seconds(prepare, [&] { stage.run(&work); });
  }
  return sum / static_cast<double>(frames.size());
}

captured_calls calls_of(const captured_frame &frame) {
  captured_calls calls;
  capture_into = &calls;
  const encoder_work work = work_before(std::end(kEncoderStages), frame);
  kelp_test::decoder decoder;
  decoder.state() = frame.before_decoding;
  decoder.decode(frame.packet);
  capture_into = nullptr;
  kelp_test::require(std::equal(frame.packet.begin(), frame.packet.end(), work.packet),
                     "the stages of the encoder make its packet");
  return calls;
}

// Mean over frames of work(calls, frame), which runs on a fresh copy of what was captured.
template <typename Work>
double calls_seconds(const frame_list &frames, const Work &work) {
  double sum = 0;
  for (const captured_frame &frame : frames) {
    const captured_calls before = calls_of(frame);
    captured_calls calls;
    sum += typical_seconds([&] { calls = before; }, [&] { work(&calls, frame); });
  }
  return sum / static_cast<double>(frames.size());
}

void search_pitch_lags(captured_calls *calls, const captured_frame &) {
  for (const pitch_search_call &call : calls->pitch_search)
    benchmark::DoNotOptimize(search_pitch(call.target, call.h, call.history));
}

void search_codebooks(captured_calls *calls, const captured_frame &) {
  for (const codebook_search_call &call : calls->codebook_search)
    benchmark::DoNotOptimize(search_codebook(call.target, call.h, call.codebook, call.n));
}

void unpack(captured_calls *, const captured_frame &frame) {
  kelpd_frame_params params = {};
  kcmn_bsr_state reader;
  kcmn_bsr_init(&reader, frame.packet.data(), static_cast<int32_t>(frame.packet.size()), nullptr);
  benchmark::DoNotOptimize(kelpd_unpack(&reader, &params));
  benchmark::DoNotOptimize(params);
}

void synthesize(captured_calls *calls, const captured_frame &) {
  for (synthesis_call &call : calls->synthesis) {
    int32_t output[kMaxSubframe];
    kelpd_cmn_dec(call.rate, &call.state, call.coefficients, call.pitch, call.records, output,
                  synthesis_mode::normal, call.n, call.c);
    benchmark::DoNotOptimize(output);
  }
}

struct decoder_roundings {
  using pitch_rounding = truncate_each_term;
  static constexpr int kMatchBits = 1;
  static constexpr int kControlBits = 1;
  static constexpr int kFirShift = 14;
  static constexpr bool kSmoothing = true;
  static constexpr bool kPostfilter = false;
};

double postfilter_seconds(const frame_list &frames) {
  double sum = 0;
  for (const captured_frame &frame : frames) {
    for (synthesis_call call : calls_of(frame).synthesis) {
      int32_t unfiltered[kMaxSubframe];
      synthesize_subframe<decoder_roundings>(call.rate, &call.state.synthesis, call.coefficients,
                                             call.pitch, call.records, unfiltered,
                                             synthesis_mode::normal, call.n, call.c);
      auto state = call.state.synthesis;
      int32_t output[kMaxSubframe];
      const auto prepare = [&] {
        state = call.state.synthesis;
        std::copy_n(unfiltered, kMaxSubframe, output);
      };
      sum += typical_seconds(prepare, [&] {
        int32_t filtered[kMaxSubframe];
        short_term_postfilter(&state, call.coefficients.expanded, output, call.n, filtered);
        control_gain<decoder_roundings>(&state, filtered, call.n, output);
        benchmark::DoNotOptimize(output);
      });
    }
  }
  return sum / static_cast<double>(frames.size());
}

double spectrum_seconds(const frame_list &frames) {
  double sum = 0;
  for (const captured_frame &frame : frames) {
    kelpd_frame_params params = {};
    kcmn_bsr_state reader;
    kcmn_bsr_init(&reader, frame.packet.data(), static_cast<int32_t>(frame.packet.size()), nullptr);
    kelpd_unpack(&reader, &params);
    decoder_state state;
    sum += typical_seconds(
        [&] { state = frame.before_decoding; },
        [&] {
          int32_t lsp[kLpcOrder];
          subframe_coefficients sets[4];
          if (params.rate != KELP_RATE_EIGHTH)
            benchmark::DoNotOptimize(kelpd_iq_lsp_erasure_check(params.rate, params.codes.lsp_idx));
          kelpd_iq_lpc(params, &state, lsp);
          kelpd_lpc_convert(0, params.rate, state.previous_lsp, lsp, sets, 0);
          benchmark::DoNotOptimize(sets);
        });
  }
  return sum / static_cast<double>(frames.size());
}

}  // namespace

void add_stages(const char *rate_name, const std::shared_ptr<const frame_list> &frames) {
  const auto add = [&](const char *name, const auto &measure) {
    add_measurement(std::string(name) + '/' + rate_name, [=] { return measure(*frames); });
  };
  for (const encoder_stage &stage : kEncoderStages) {
    add((std::string("encoder/") + stage.name).c_str(),
        [&stage](const auto &all) { return encoder_stage_seconds(stage, all); });
  }
  if (frames->front().packet[0] != KELP_RATE_EIGHTH) {
    kelp_test::require(!calls_of(frames->front()).pitch_search.empty(), "searches are captured");
    add("encoder/pitch_search",
        [](const auto &all) { return calls_seconds(all, search_pitch_lags); });
    add("encoder/codebook_search",
        [](const auto &all) { return calls_seconds(all, search_codebooks); });
  }
  add("decoder/unpacking", [](const auto &all) { return calls_seconds(all, unpack); });
  add("decoder/spectrum", spectrum_seconds);
  add("decoder/synthesis", [](const auto &all) { return calls_seconds(all, synthesize); });
  add("decoder/postfilter", postfilter_seconds);
}

}  // namespace kelp::bench
