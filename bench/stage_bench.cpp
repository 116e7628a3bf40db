// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Each stage alone, on what it was given in the stream. The stages of the encoder are the lines of
// kelpe_enc, which must come to the packet that kelpe_encode made; `pitch_search` and
// `codebook_search` are the larger parts of `excitation`, and `short_term` (formant synthesis and
// postfilter) is the largest of synthesis.

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
  const encoder_kernels *kernels;
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
  work->frame.kernels = work->kernels;
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
encoder_work work_before(const encoder_stage *stage, const captured_frame &frame,
                         const encoder_kernels &kernels) {
  encoder_work work = {&kernels, frame.before_encoding, {}, frame.pcm, {}, {}};
  attach(&work);
  for (const encoder_stage *one = kEncoderStages; one != stage; one++) one->run(&work);
  return work;
}

double encoder_stage_seconds(const encoder_stage &stage, const frame_list &frames) {
  double sum = 0;
  for (const captured_frame &frame : frames) {
    const encoder_work before =
        work_before(&stage, frame, encoder_kernels_for(best_instruction_set()));
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
  captured_into = &calls;
  const encoder_work work =
      work_before(std::end(kEncoderStages), frame, capturing_encoder_kernels());
  kelp_test::decoder decoder;
  decoder.state() = frame.before_decoding;
  decoder.state().synthesis.kernels = &capturing_filter_kernels();
  decoder.decode(frame.packet);
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
  static const encoder_kernels &kernels = encoder_kernels_for(best_instruction_set());
  for (const pitch_search_call &call : calls->pitch_search)
    benchmark::DoNotOptimize(search_pitch(kernels, call.target, call.h, call.history));
}

void search_codebooks(captured_calls *calls, const captured_frame &) {
  static const encoder_kernels &kernels = encoder_kernels_for(best_instruction_set());
  filtered_codebook::numbers_of_candidates candidates;
  filtered_codebook filtered(&candidates);
  for (const codebook_search_call &call : calls->codebook_search) {
    if (call.codebook == kelp_tbl_cb) {
      kernels.subframe->filter_codebook(call.codebook, call.h, &filtered);
    } else if (call.codebook == nullptr) {
      benchmark::DoNotOptimize(
          kernels.subframe->search_codebook(kelp_tbl_cb, filtered, call.target));
    } else {
      benchmark::DoNotOptimize(
          kernels.frame->search_long_codebook(call.codebook, call.h, call.target, &filtered));
    }
  }
}

void unpack(captured_calls *, const captured_frame &frame) {
  kelpd_frame_params params = {};
  kcmn_bsr_state reader;
  kcmn_bsr_init(&reader, frame.packet.data(), static_cast<int32_t>(frame.packet.size()), nullptr);
  benchmark::DoNotOptimize(kelpd_unpack(&reader, &params));
  benchmark::DoNotOptimize(params);
}

void filter_short_term(captured_calls *calls, const captured_frame &) {
  static const filter_kernels &kernels = filter_kernels_for(best_instruction_set());
  for (short_term_call &call : calls->short_term) {
    const short_term_filters filters = {
        &call.lpc,        call.filters.weights_q14, call.formant_memory,
        call.pole_memory, call.filters.bright_q14,  &call.bright_memory};
    int64_t energies[kMostSubframes];
    kernels.short_term(call.buffer.samples(), filters, call.subframes, call.n, call.sets, energies);
    benchmark::DoNotOptimize(call.buffer);
  }
}

double spectrum_seconds(const frame_list &frames) {
  const filter_kernels &kernels = filter_kernels_for(best_instruction_set());
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
          coefficient_sets sets;
          if (params.rate != KELP_RATE_EIGHTH)
            benchmark::DoNotOptimize(kelpd_iq_lsp_erasure_check(params.rate, params.codes.lsp_idx));
          kelpd_iq_lpc(params, &state, lsp);
          kernels.lpc(state.previous_lsp, lsp, tbl_lsp_interp[params.rate], &sets);
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
  add("decoder/short_term", [](const auto &all) { return calls_seconds(all, filter_short_term); });
}

}  // namespace kelp::bench
