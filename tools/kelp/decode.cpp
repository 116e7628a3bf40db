// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/decode.h"

#include "kelp.h"
#include "tools/kelp/codec.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/recording.h"

DecodeReport decode_stream(const DecodeOptions &options, const Progress &progress) {
  PacketReader stream(options.input);
  OutputFile output(options.output, options.input, options.force);
  RecordingWriter recording(output);
  Decoder decoder;
  DecodeReport report;
  size_t skip = options.trim ? KELP_LOOKAHEAD_SAMPLES : 0;
  Packet packet;
  while (stream.next(packet)) {
    report.tally.add(packet.rate());
    recording.write(decoder.decode(packet).subspan(skip));
    skip = 0;
    if (progress) progress(report.tally.seconds());
  }
  recording.finish();
  output.commit();
  report.seconds = report.tally.seconds();
  return report;
}
