// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/decode.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kelp.h"
#include "tools/kelp/codec.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/packet_check.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/recording_writer.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

constexpr size_t kMostDamageNotes = 10;

uint64_t samples_in(double seconds) {
  return static_cast<uint64_t>(std::llround(seconds * kSampleRate_hz));
}

// Passes on the part of the speech that was asked for.
class Excerpt {
 public:
  Excerpt(const DecodeOptions &options, RecordingWriter &recording)
      : recording_(&recording),
        begin_((options.trim ? KELP_LOOKAHEAD_SAMPLES : 0) + samples_in(options.start_s)) {
    if (options.duration_s) end_ = begin_ + samples_in(*options.duration_s);
  }

  void write(std::span<const int16_t> samples) {
    const uint64_t first = std::clamp(begin_, position_, position_ + samples.size());
    const uint64_t last = std::clamp(end_, first, position_ + samples.size());
    recording_->write(samples.subspan(first - position_, last - first));
    written_ += last - first;
    position_ += samples.size();
  }

  [[nodiscard]] bool is_complete() const { return position_ >= end_; }
  [[nodiscard]] bool is_begun() const { return position_ > begin_; }
  [[nodiscard]] double seconds() const { return static_cast<double>(written_) / kSampleRate_hz; }

 private:
  RecordingWriter *recording_;
  uint64_t begin_;
  uint64_t end_ = std::numeric_limits<uint64_t>::max();
  uint64_t position_ = 0;
  uint64_t written_ = 0;
};

// The packets of a stream as the decoder gets them: erasures in place of what is lost or damaged.
class PacketSource {
 public:
  PacketSource(const DecodeOptions &options, DecodeReport *report)
      : name_(input_name(options.input)),
        keep_going_(options.keep_going),
        stream_(options.input),
        loss_(options.loss),
        report_(report) {}

  // False at the end of the stream.
  bool next(Packet &packet) {
    if (damage_.frames > 1) {
      damage_.frames--;
      packet = Packet::erasure();
      return true;
    }
    if (!(keep_going_ ? stream_.next(packet, &damage_) : stream_.next(packet))) return false;
    if (damage_.frames != 0) {
      note_damage();
    } else {
      count(&packet);
    }
    return true;
  }

  [[nodiscard]] double part_read() const { return stream_.part_read(); }

  void finish() {
    if (places_ > kMostDamageNotes) {
      report_->notes.push_back(name_ + ": damaged in " +
                               std::to_string(places_ - kMostDamageNotes) + " further places");
    }
  }

 private:
  void count(Packet *packet) {
    Concealed &concealed = report_->concealed;
    report_->tally.add(packet->rate());
    if (loss_.next()) {
      concealed.lost++;
      *packet = Packet::erasure();
    } else if (packet->rate() == KELP_RATE_ERASURE) {
      concealed.erasures++;
    } else if (!is_usable(*packet)) {
      concealed.unusable++;
    }
  }

  void note_damage() {
    report_->concealed.damaged += damage_.frames;
    if (++places_ > kMostDamageNotes) return;
    report_->notes.push_back(name_ + ": byte " + std::to_string(damage_.offset) + ": " +
                             damage_.cause + "; " + counted(damage_.bytes, "byte") + " skipped, " +
                             counted(damage_.frames, "frame") + " concealed");
  }

  std::string name_;
  bool keep_going_;
  PacketReader stream_;
  PacketLoss loss_;
  DecodeReport *report_;
  Damage damage_ = {};
  uint64_t places_ = 0;
};

}  // namespace

DecodeReport decode_stream(const DecodeOptions &options, const Progress &progress) {
  DecodeReport report;
  PacketSource packets(options, &report);
  OutputFile output(options.output, options.input, options.force);
  RecordingWriter recording(output,
                            options.raw ? SpeechFile::raw : speech_file_by_name(options.output));
  Excerpt excerpt(options, recording);
  Decoder decoder;
  double seconds = 0;
  for (Packet packet; !excerpt.is_complete() && packets.next(packet);) {
    excerpt.write(decoder.decode(packet));
    seconds += kFrameSeconds;
    if (progress) progress(seconds, packets.part_read());
  }
  if (!excerpt.is_begun()) {
    throw Failure(input_name(options.input) + ": the stream ends before --start " +
                  decimal(options.start_s, 3) + " s, it has " +
                  counted(report.tally.packets(), "packet") + " of 0.02 s; start earlier");
  }
  packets.finish();
  recording.finish();
  output.commit();
  report.seconds = excerpt.seconds();
  return report;
}
