// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/encode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

#include "kelp.h"
#include "tools/kelp/band_fill.h"
#include "tools/kelp/codec.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/packet_check.h"
#include "tools/kelp/speech_level.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

using WideFrame = std::array<double, KELP_FRAME_SAMPLES>;

// Reads the whole recording for its level.
double best_gain_db(const EncodeOptions &options, EncodeReport *report) {
  const std::string name = input_name(options.input);
  std::error_code none;
  if (is_standard_stream(options.input) || !std::filesystem::is_regular_file(options.input, none)) {
    throw Failure(name + ": --gain auto reads a recording twice, which a pipe does not allow; " +
                  "save it to a file first, or give the gain in dB");
  }
  RecordingReader recording(options.input, options.format);
  SpeechLevel level;
  WideFrame frame;
  for (size_t got; (got = recording.read(frame)) != 0;) {
    level.add(std::span<const double>(frame).first(got));
  }
  const double gain_db = level.best_gain_db();
  report->notes.push_back(
      name + formatted(": active speech is at %.1f dBov; a gain of %+.1f dB is applied",
                       level.active_dbov(), gain_db));
  return gain_db;
}

// What turns the samples of a recording into packets, and watches both.
class SpeechToPackets {
 public:
  SpeechToPackets(double gain_db, bool fill_band)
      : gain_(std::pow(10, gain_db / 20)), fill_band_(fill_band) {}

  // The packet of a frame, of which the first `count` samples come from the recording.
  Packet next(WideFrame &frame, size_t count) {
    for (double &sample : frame) sample *= gain_;
    level_.add(std::span<const double>(frame).first(count));
    if (fill_band_) band_fill_.add_to(frame);
    round_to_pcm(frame, pcm_);
    const Packet packet = encoder_.encode(pcm_);
    if (!is_usable(packet)) unusable_++;
    return packet;
  }

  [[nodiscard]] uint64_t unusable() const { return unusable_; }

  void add_notes(const std::string &name, const RateTally &tally,
                 std::vector<std::string> *notes) const {
    const std::string level = level_.note();
    if (!level.empty()) notes->push_back(name + ": " + level);
    if (unusable_ * 1000 <= tally.packets()) return;  // that happens to any speech
    notes->push_back(name + ": " + std::to_string(unusable_) + " of " +
                     std::to_string(tally.packets()) +
                     " packets are unusable, decoders will conceal their frames; " +
                     (fill_band_ ? "the noise of --fill-band is too faint for them"
                                 : "if the speech has nothing above 2.6 kHz or so, encode it with "
                                   "--fill-band"));
  }

 private:
  double gain_;
  bool fill_band_;
  LevelWatch level_;
  BandFill band_fill_;
  SpeechFrame pcm_{};
  Encoder encoder_;
  uint64_t unusable_ = 0;
};

}  // namespace

EncodeReport encode_recording(const EncodeOptions &options, const Progress &progress) {
  EncodeReport report;
  OutputFile stream(options.output, options.input, options.force);
  const double gain_db = options.gain_db ? *options.gain_db : best_gain_db(options, &report);
  RecordingReader recording(options.input, options.format);
  SpeechToPackets speech(gain_db, options.fill_band);
  const std::string name = input_name(options.input);
  const auto expected = static_cast<double>(recording.expected_samples());

  WideFrame frame;
  uint64_t samples = 0;
  bool at_end = false;
  // Silence follows the recording until its last sample is coded, which lags by the look-ahead.
  while (!at_end ||
         report.tally.packets() * KELP_FRAME_SAMPLES < samples + KELP_LOOKAHEAD_SAMPLES) {
    frame.fill(0);
    const size_t got = at_end ? 0 : recording.read(frame);
    at_end = got < frame.size();
    samples += got;
    if (samples == 0) throw Failure(name + ": the recording is empty; record it again");
    const Packet packet = speech.next(frame, got);
    stream.append(packet.content());
    report.tally.add(packet.rate());
    if (progress) {
      const double part = expected > 0 ? static_cast<double>(samples) / expected : -1;
      progress(report.tally.seconds(), std::min(part, 1.0));
    }
  }
  stream.commit();
  report.seconds = static_cast<double>(samples) / kSampleRate_hz;
  report.unusable = speech.unusable();
  report.notes.insert(report.notes.end(), recording.notes().begin(), recording.notes().end());
  speech.add_notes(name, report.tally, &report.notes);
  return report;
}
