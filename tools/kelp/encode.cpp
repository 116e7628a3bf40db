// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/encode.h"

#include "kelp.h"
#include "tools/kelp/codec.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/recording.h"

EncodeReport encode_recording(const EncodeOptions &options, const Progress &progress) {
  RecordingReader recording(options.input);
  OutputFile stream(options.output, options.input, options.force);
  Encoder encoder;
  EncodeReport report;
  SpeechFrame speech;
  uint64_t samples = 0;
  bool at_end = false;
  // Silence follows the recording until its last sample is coded, which lags by the look-ahead.
  while (!at_end ||
         report.tally.packets() * KELP_FRAME_SAMPLES < samples + KELP_LOOKAHEAD_SAMPLES) {
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
    const std::span<const uint8_t> packet = encoder.encode(speech);
    stream.append(packet);
    report.tally.add(packet[0]);
    if (progress) progress(report.tally.seconds());
  }
  stream.commit();
  report.seconds = static_cast<double>(samples) / double{KELP_SAMPLE_RATE_HZ};
  return report;
}
