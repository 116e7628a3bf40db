// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Packets as decoders see them before they decode.
#ifndef KELP_TOOLS_KELP_PACKET_CHECK_H
#define KELP_TOOLS_KELP_PACKET_CHECK_H

#include "format/unpack.h"
#include "tools/kelp/packet_file.h"

// Unpacks a packet that is no erasure. False when decoders refuse it and conceal its frame, or at
// quarter rate are silent: its check bits are not 0, or its line spectral pairs not those of
// speech.
[[nodiscard]] bool unpack_packet(const Packet &packet, kelp::kelpd_frame_params *params);

// False when decoders refuse the packet. An erasure they obey.
[[nodiscard]] bool is_usable(const Packet &packet);

#endif  // KELP_TOOLS_KELP_PACKET_CHECK_H
