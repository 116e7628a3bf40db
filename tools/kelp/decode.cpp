// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <array>
#include <cinttypes>
#include <cstdio>
#include <memory>

#include "kelp.h"
#include "tools/kelp/commands.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/output_file.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording.h"

namespace {

struct DecoderDelete {
  void operator()(void *handle) const { kelpd_delete(handle); }
};

}  // namespace

void decode_stream(const Options &options) {
  PacketReader stream(options.input);
  OutputFile output(options.output, options.input, options.force);
  RecordingWriter recording(output.descriptor(), options.output);

  const kelp_config config = {};
  int32_t code = KELP_OK;
  const std::unique_ptr<void, DecoderDelete> decoder(kelpd_create(&config, &code));
  if (!decoder) throw Failure(std::string("the decoder cannot start: ") + kelp_result_text(code));

  std::array<int16_t, KELP_FRAME_SAMPLES> speech;
  kelp_pcm_frame frame = {};
  frame.samples[0] = speech.data();
  kelp_frame_info info = {};
  RateTally tally;

  size_t skip = options.trim ? KELP_LOOKAHEAD_SAMPLES : 0;
  Packet packet;
  while (stream.next(packet)) {
    const kelp_packet_desc in = {packet.bytes.data(), 0, packet.length};
    code = kelpd_decode(decoder.get(), &in, &frame, &info);
    if (code != KELP_OK) {
      throw Failure(options.input + ": packet " + std::to_string(tally.packets()) +
                    " cannot be decoded: " + kelp_result_text(code));
    }
    tally.add(packet.rate());
    recording.write({speech.data() + skip, speech.size() - skip});
    skip = 0;
  }
  recording.finish();
  output.commit();

  if (!options.quiet) {
    std::printf("%s: %" PRIu64 " packets decoded, %.3f s", options.output.c_str(), tally.packets(),
                tally.seconds());
    const uint64_t lost = tally.count(KELP_RATE_ERASURE);
    if (lost != 0) std::printf(", %" PRIu64 " of them concealed erasures", lost);
    std::printf("\n");
  }
}
