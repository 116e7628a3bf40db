// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/packet_check.h"

#include "dec/dequant.h"

bool unpack_packet(const Packet &packet, kelp::kelpd_frame_params *params) {
  kcmn_bsr_state reader = {};
  kcmn_bsr_init(&reader, packet.bytes.data(), packet.length, nullptr);
  *params = {};
  kelp::kelpd_unpack(&reader, params);
  if (params->rate != packet.rate()) return false;
  return params->rate == KELP_RATE_EIGHTH ||
         kelp::kelpd_iq_lsp_erasure_check(params->rate, params->codes.lsp_idx) == KELP_OK;
}

bool is_usable(const Packet &packet) {
  kelp::kelpd_frame_params params;
  return packet.rate() == KELP_RATE_ERASURE || unpack_packet(packet, &params);
}
