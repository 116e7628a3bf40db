// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/info.h"

#include <algorithm>
#include <cinttypes>

#include "tools/kelp/codec.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

double frame_time(size_t k) {
  return static_cast<double>(k) * kFrameSeconds;
}

std::string json_rates(const RateTally &tally) {
  JsonObject rates;
  for (const Rate &rate : kRates) {
    rates.add(rate.name, JsonObject()
                             .add("packets", std::to_string(tally.count(rate.code)))
                             .add("share", decimal(tally.share(rate.code), 4))
                             .text());
  }
  return rates.text();
}

std::string json_pitch(const PitchRange &pitch) {
  if (pitch.median_hz == 0) return "null";
  return JsonObject()
      .add("low", decimal(pitch.low_hz, 1))
      .add("median", decimal(pitch.median_hz, 1))
      .add("high", decimal(pitch.high_hz, 1))
      .text();
}

std::string json_fault(const StreamInfo &info) {
  if (!info.fault) return "null";
  return JsonObject()
      .add("offset", std::to_string(info.fault_offset()))
      .add("message", json_string(info.fault->what()))
      .text();
}

std::string json_frames(const std::vector<FrameFacts> &frames) {
  std::string text;
  for (size_t k = 0; k < frames.size(); k++) {
    const FrameFacts &frame = frames[k];
    text += k == 0 ? "[\n" : ",\n";
    text += JsonObject()
                .add("time", decimal(frame_time(k), 2))
                .add("offset", std::to_string(frame.offset))
                .add("rate", json_string(rate_name(frame.rate)))
                .add("usable", frame.usable ? "true" : "false")
                .add("pitch_hz", frame.voiced() ? decimal(frame.pitch_hz, 1) : "null")
                .add("pitch_gain", decimal(frame.pitch_gain, 3))
                .text();
  }
  return text.empty() ? "[]" : text + "\n]";
}

}  // namespace

double StreamInfo::voiced_share() const {
  const auto voiced = std::count_if(frames.begin(), frames.end(),
                                    [](const FrameFacts &frame) { return frame.voiced(); });
  return frames.empty() ? 0 : static_cast<double>(voiced) / static_cast<double>(frames.size());
}

uint64_t StreamInfo::unusable() const {
  return static_cast<uint64_t>(std::count_if(
      frames.begin(), frames.end(), [](const FrameFacts &frame) { return !frame.usable; }));
}

StreamInfo read_info(const std::string &path, bool decode) {
  PacketReader stream(path);
  StreamInfo info;
  info.name = input_name(path);
  Decoder decoder;
  try {
    for (Packet packet; stream.next(packet);) {
      info.frames.push_back(inspect(packet, info.tally.bytes()));
      info.tally.add(packet.rate());
      if (!decode) continue;
      const auto speech = decoder.decode(packet);
      info.speech.insert(info.speech.end(), speech.begin(), speech.end());
    }
  } catch (const Failure &failure) {
    info.fault = failure;
  }
  return info;
}

std::string info_text(const StreamInfo &info) {
  std::string text = info.tally.report();
  if (!info.frames.empty()) {
    text += "\nvoiced            " + decimal(100 * info.voiced_share(), 1) + " % of the packets\n";
    const PitchRange pitch = pitch_range(info.frames);
    if (pitch.median_hz != 0) {
      text += "pitch             " + decimal(pitch.low_hz, 0) + " to " + decimal(pitch.high_hz, 0) +
              " Hz, median " + decimal(pitch.median_hz, 0) + " Hz\n";
    }
  }
  if (info.unusable() != 0) {
    const auto first = std::find_if(info.frames.begin(), info.frames.end(),
                                    [](const FrameFacts &frame) { return !frame.usable; });
    text += "unusable          " + std::to_string(info.unusable()) +
            " packets, which decoders conceal or mute; the first at byte " +
            std::to_string(first->offset) + "\n";
  }
  if (info.fault) text += "broken            at byte " + std::to_string(info.fault_offset()) + "\n";
  return text;
}

std::string info_table(const StreamInfo &info) {
  std::string text = "   frame     time s         byte  rate     pitch Hz   gain\n";
  for (size_t k = 0; k < info.frames.size(); k++) {
    const FrameFacts &frame = info.frames[k];
    const std::string pitch = frame.voiced() ? decimal(frame.pitch_hz, 1) : "-";
    text += formatted("%8zu %10.2f %12" PRIu64 "  %-8s %8s  %5.2f%s\n", k, frame_time(k),
                      frame.offset, rate_name(frame.rate), pitch.c_str(),
                      static_cast<double>(frame.pitch_gain), frame.usable ? "" : "  unusable");
  }
  return text;
}

std::string info_json(const StreamInfo &info, bool with_frames) {
  JsonObject all;
  all.add("file", json_string(info.name))
      .add("packets", std::to_string(info.tally.packets()))
      .add("seconds", decimal(info.tally.seconds(), 2))
      .add("bytes", std::to_string(info.tally.bytes()))
      .add("net_kbit_per_s", decimal(info.tally.net_kbit(), 3))
      .add("packet_kbit_per_s", decimal(info.tally.packet_kbit(), 3))
      .add("rates", json_rates(info.tally))
      .add("voiced_share", decimal(info.voiced_share(), 4))
      .add("pitch_hz", json_pitch(pitch_range(info.frames)))
      .add("unusable", std::to_string(info.unusable()))
      .add("broken", json_fault(info));
  if (with_frames) all.add("frames", json_frames(info.frames));
  return all.text() + "\n";
}
