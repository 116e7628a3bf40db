// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "format/unpack.h"
#include "tests/support.h"

using namespace kelp_test;
using kelp::payload_codes;
using kelp::payload_field;

namespace {

kelp::kelpd_frame_params unpack(packet bytes, size_t size = 99, kcmn_bsr_refill refill = nullptr) {
  bytes.resize(std::min(bytes.size(), size));
  kcmn_bsr_state reader;
  kcmn_bsr_init(&reader, bytes.data(), static_cast<int32_t>(bytes.size()), refill);
  kelp::kelpd_frame_params params = {};
  EXPECT_EQ(kelp::kelpd_unpack(&reader, &params), 0);
  return params;
}

bool operator==(const payload_codes &a, const payload_codes &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// Calls visit(code, width) for every code that a rate carries, in the order of the record.
template <typename Visit>
void for_each_code(int32_t rate, payload_codes *codes, Visit visit) {
  if (rate == KELP_RATE_EIGHTH) {
    for (uint32_t &bit : codes->lsp_bit) visit(bit, 1);
    visit(codes->cb_gain[0], 2);
    return;
  }
  constexpr int kIndexBits[5] = {6, 7, 7, 6, 6};
  for (int i = 0; i < 5; i++) visit(codes->lsp_idx[i], kIndexBits[i]);
  const int gains = kelp_tbl_cb_sf[rate];
  const bool speech = rate > KELP_RATE_QUARTER;
  for (int k = 0; speech && k < 4; k++) visit(codes->pitch_lag[k], 7);
  for (int k = 0; speech && k < 4; k++) visit(codes->pitch_frac[k], 1);
  for (int k = 0; speech && k < 4; k++) visit(codes->pitch_gain[k], 3);
  for (int k = 0; speech && k < gains; k++) visit(codes->cb_idx[k], 7);
  for (int k = 0; k < gains; k++) visit(codes->cb_gain[k], gains == 16 && k % 4 == 3 ? 3 : 4);
  for (int k = 0; speech && k < gains; k++) visit(codes->cb_sign[k], 1);
}

// Where every bit of every code stands. The bits of a rate's codes are numbered from 1, in the
// record's order and from bit 0 up within a code; packet j has a bit set where bit j of its number
// is, so that together the packets tell each bit's place.
TEST(Format, PlaceOfEveryBit) {
  const std::vector<std::string> packets_of_rate[5] = {
      {},
      {"01525100", "01314500", "01074200", "01003700"},
      {"0255555555555514", "0266666666666618", "0278787878787820", "027f807f807f8000",
       "0280007fff80003c", "0200008000ffff3c"},
      {"0355555555aeada95555146bab2a555450", "036666666633363266665b6d3233666660",
       "037878787847c0c387479f91c243877970", "037f807f80fc00fc07b85fe1037ce78180",
       "0380007fff840000783fe2fffc7f0701f0", "0300008000fff8fc00007f3ffe7f18fff0",
       "0300000000f80703fffffcfe0180fffff0"},
      {"0455555555aeada2d5d5aa495257454a954557ead52d5a5aaa952d7454a95555741500",
       "04666666663336cb6619b4919b999993396867cc96ce649cccd9898666327966671980",
       "04787878783fc0f4071e381de4e3fefc21618770980877e70f1e493887c27e78792180",
       "047f807f80bc0008079fc7e207ffff00216ffac0e00f87000fdfb61ef9fc6080413e40",
       "0480007fffbc00f8781f8700040210fffe6fffff000807f0701f8700fe0180ff9e3f80",
       "0400008000bff808006080e3fcfe1f1fe161fe7f80700007802038defefdffffdf3f80",
       "0400000000c007ffffffff1fffffe0ffff6fff807078070780c0381f0101e0e01e0000",
       "0400000000f8000f8080f8000703e0e03e8e03800f7ff7f7ff3fbfde00fdffffdf3f80",
       "0400000000000000000000000000000000100000008008080000402000020000200040"}};
  for (int32_t rate = 1; rate <= 4; rate++) {
    for (size_t j = 0; j < packets_of_rate[rate].size(); j++) {
      payload_codes codes = {};
      uint32_t number = 0;
      for_each_code(rate, &codes, [&](uint32_t &code, int bits) {
        for (int b = 0; b < bits; b++) code |= (++number >> j & 1) << b;
      });
      packet bytes;
      for (size_t i = 0; i < packets_of_rate[rate][j].size(); i += 2) {
        const std::string hex = packets_of_rate[rate][j].substr(i, 2);
        bytes.push_back(static_cast<uint8_t>(std::stoi(hex, nullptr, 16)));
      }
      const kelp::kelpd_frame_params params = unpack(bytes);
      EXPECT_TRUE(params.rate == bytes[0] && params.codes == codes) << rate << ", packet " << j;
      EXPECT_EQ(params.seed, rate == KELP_RATE_EIGHTH ? bytes[1] * 256u + bytes[2] : 0u);
      EXPECT_EQ(pack(rate, codes), rate == KELP_RATE_QUARTER ? packet{} : bytes);
    }
  }
}

TEST(Format, FailedChecksMakeErasures) {
  for (uint8_t check = 1; check < 16; check++) {
    EXPECT_EQ(unpack({1, 0, 0, static_cast<uint8_t>(check << 4)}).rate, 14u);
    EXPECT_EQ(unpack({1, 0, 0, check}).rate, 1u);  // padding is not read
  }
  packet bytes(35, 0xFF);
  for (const uint8_t check : packet{0x7F, 0xBF, 0xFF}) {
    bytes[0] = 4;
    bytes[33] = check;
    const kelp::kelpd_frame_params params = unpack(bytes);
    EXPECT_TRUE(params.rate == 14 && params.codes.cb_idx[15] + params.codes.cb_sign[15] == 0);
  }
  for (const uint8_t rate : packet{0, 5, 13, 14, 15, 255}) {
    bytes[0] = rate;
    EXPECT_TRUE(unpack(bytes).rate == rate && unpack(bytes).codes == payload_codes{}) << int{rate};
  }
}

// A packet is read at once when it can be, and piece by piece when its bytes come in another way.
TEST(Format, AtOnceOrByPieces) {
  random_numbers random(4);
  for (int i = 0; i < 4000; i++) {
    packet bytes(36);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random.next());
    bytes[0] = static_cast<uint8_t>(random.between(0, 5));
    const auto other_way = [](kcmn_bsr_state *state, int32_t n) {
      return kcmn_bsr_flush(state, n);
    };
    const auto size = static_cast<size_t>(random.between(1, 36));
    const kelp::kelpd_frame_params once = unpack(bytes, size),
                                   pieces = unpack(bytes, size, other_way);
    ASSERT_TRUE(once.codes == pieces.codes && once.rate == pieces.rate && once.seed == pieces.seed)
        << int{bytes[0]} << ", " << size << " bytes";
  }
}

// Nor does it matter how a packet is written, or what stands in the codes above their bits.
TEST(Format, WrittenAtOnceOrByPieces) {
  random_numbers random(5);
  for (int i = 0; i < 4000; i++) {
    payload_codes codes = {};
    for (uint32_t *word = codes.lsp_bit; word != codes.cb_sign + 16; word++) *word = random.next();
    const int32_t rate = random.between(0, 5), size = random.between(35, 40);
    packet once(40, 0xEE), pieces = once;
    kcmn_bsw_state writers[2];
    kcmn_bsw_init(&writers[0], once.data(), size, nullptr);
    kcmn_bsw_init(&writers[1], pieces.data(), size, [](kcmn_bsw_state *, uint32_t) {});
    uint32_t seeds[2] = {7, 7};
    for (int way = 0; way < 2; way++) kelp::kelpe_pack(rate, codes, &writers[way], &seeds[way]);
    ASSERT_EQ(once, pieces) << rate;
    ASSERT_EQ(writers[0].cur - once.data(), writers[1].cur - pieces.data());
    ASSERT_TRUE(writers[0].room == writers[1].room && seeds[0] == seeds[1]);
  }
}

// A piece that a packet breaks off in, and every later one, reads as all ones.
TEST(Format, ShortPackets) {
  for (uint8_t rate = 1; rate <= 4; rate++) {
    packet whole(static_cast<size_t>(kelp_packet_bytes(rate)));
    for (size_t i = 0; i < whole.size(); i++) whole[i] = static_cast<uint8_t>(i * 37);
    whole[0] = rate;
    if (rate == 1) whole[3] = 0;
    if (rate == 4) whole[33] &= 0x3F;
    const payload_codes complete = unpack(whole).codes;
    for (size_t size = 1; size < whole.size(); size++) {
      const kelp::kelpd_frame_params params = unpack(whole, size);
      const bool erased = rate == 1 || (rate == 4 && size < 34);
      ASSERT_EQ(params.rate, erased ? 14u : rate) << size;
      size_t end = 8;
      for (const kelp::payload_piece &piece : kelp::payload_layout(rate)) {
        end += piece.width;
        if (piece.field == payload_field::check && erased) break;
        if (piece.field == payload_field::check || piece.field == payload_field::filler) continue;
        const uint32_t ones = (1u << piece.width) - 1;
        const uint32_t sent = kelp::payload_word(complete, piece) >> piece.low & ones;
        ASSERT_EQ(kelp::payload_word(params.codes, piece) >> piece.low & ones,
                  end <= 8 * size ? sent : ones)
            << int{rate} << ", " << size << " bytes";
      }
    }
  }
}

TEST(Format, BufferIsClearedAndItsEndKept) {
  for (int32_t rate = 1; rate <= 4; rate++) {
    payload_codes codes;  // all ones
    for_each_code(rate, &codes, [](uint32_t &code, int bits) { code = (1u << bits) - 1; });
    const packet whole = pack(rate, codes);
    for (size_t capacity = 1; capacity <= 40; capacity++) {
      packet buffer(48, 0xEE);
      kcmn_bsw_state writer;
      kcmn_bsw_init(&writer, buffer.data(), static_cast<int32_t>(capacity), nullptr);
      uint32_t seed = 0xFFFF;
      kelp::kelpe_pack(rate, codes, &writer, &seed);
      packet expected = whole;
      expected.resize(capacity);  // cut off, or followed by zeros
      expected.resize(48, 0xEE);
      if (capacity < whole.size()) expected[capacity] = buffer[capacity];  // one byte is at risk
      ASSERT_EQ(buffer, expected) << capacity;
      ASSERT_LE(writer.cur - writer.start, static_cast<ptrdiff_t>(capacity) + 1);
      // The seed is the packet's: its fillers are 0, and bytes beyond the buffer count as 0.
      const uint32_t packed = (capacity > 1 ? 0x7700u : 0) + (capacity > 2 ? 0x77 : 0);
      ASSERT_EQ(seed, rate == KELP_RATE_EIGHTH ? packed : 0xFFFFu);
    }
  }
}

}  // namespace
