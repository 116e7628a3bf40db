// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <array>
#include <cstdio>
#include <memory>

#include "kelp.h"
#include "tools/kelp/commands.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording.h"

namespace {

struct EncoderDelete {
  void operator()(void *handle) const {
    kelpe_flush(handle);
    kelpe_delete(handle);
  }
};

}  // namespace

void encode_recording(const Options &options) {
  RecordingReader recording(options.input);
  OutputFile stream(options.output, options.input, options.force);

  const kelp_config config = {};
  int32_t code = KELP_OK;
  const std::unique_ptr<void, EncoderDelete> encoder(kelpe_create(&config, &code));
  if (!encoder) throw Failure(std::string("the encoder cannot start: ") + kelp_result_text(code));

  std::array<int16_t, KELP_FRAME_SAMPLES> speech;
  std::array<uint8_t, KELP_MAX_PACKET_BYTES> bytes;
  kelp_pcm_frame frame = {};
  frame.samples[0] = speech.data();
  kelp_packet_desc packet = {bytes.data(), 0, KELP_MAX_PACKET_BYTES};
  kelp_frame_info info = {};
  RateTally tally;

  uint64_t samples = 0;
  bool at_end = false;
  // Silence follows the recording until its last sample is coded, which lags by the look-ahead.
  while (!at_end || tally.packets() * KELP_FRAME_SAMPLES < samples + KELP_LOOKAHEAD_SAMPLES) {
    speech.fill(0);
    const size_t got = at_end ? 0 : recording.read(speech);
    at_end = got < speech.size();
    samples += got;
    if (samples == 0) {
      throw Failure(options.input +
                    ": the recording is empty; record it again, or if only its header says so: sox "
                    "--ignore-length " +
                    shell_word(options.input) + " mended.wav");
    }
    code = kelpe_encode(encoder.get(), &frame, &packet, &info);
    if (code != KELP_OK) {
      throw Failure(options.input + ": frame " + std::to_string(tally.packets()) +
                    " cannot be encoded: " + kelp_result_text(code));
    }
    stream.append({bytes.data(), static_cast<size_t>(info.produced)});
    tally.add(bytes[0]);
  }
  stream.commit();

  if (!options.quiet) {
    std::printf("%s: %.3f s encoded\n%s", options.output.c_str(),
                static_cast<double>(samples) / double{KELP_SAMPLE_RATE_HZ}, tally.report().c_str());
  }
}
