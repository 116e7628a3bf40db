// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Handles, checks and records, for decoder and encoder alike.

#include <algorithm>

#include "enc/encoder_state.h"
#include "tests/support.h"

using namespace kelp_test;

namespace {

// The calls of a family under one face.
struct family {
  const char *name;
  void *(*create)(const kelp_config *, int32_t *);
  void (*remove)(void *);
  void (*remove_other)(void *);
  int32_t (*ready)(void *);
  void (*flush)(void *);
  int32_t (*platform_init)(void *);
  void (*platform_deinit)(void *);
  kelp_config *(*config)(void *);
};
void PrintTo(const family &f, std::ostream *out) {
  *out << f.name;
}

template <typename Handle>
kelp_config *config_of(void *handle) {
  EXPECT_EQ(static_cast<Handle *>(handle)->self, handle);
  return &static_cast<Handle *>(handle)->config;
}

class Interface : public testing::TestWithParam<family> {};
INSTANTIATE_TEST_SUITE_P(
    Families, Interface,
    testing::Values(family{"Decoder", kelpd_create, kelpd_delete, kelpe_delete, kelpd_ready,
                           kelpd_flush, kelpd_platform_init, kelpd_platform_deinit,
                           config_of<kelp::decoder_handle>},
                    family{"Encoder", kelpe_create, kelpe_delete, kelpd_delete, kelpe_ready,
                           kelpe_flush, kelpe_platform_init, kelpe_platform_deinit,
                           config_of<kelp::encoder_handle>}),
    [](const auto &instance) { return std::string(instance.param.name); });

TEST_P(Interface, EveryResultCode) {
  const family &f = GetParam();
  const bool is_decoder = f.create == kelpd_create;
  kelp_init();
  int32_t err = 99;
  kelp_config config = {{1, 0xFFFFFFFF, 3}, 1};  // reserved words may hold anything
  EXPECT_TRUE(f.create(&config, nullptr) == nullptr && f.create(&config, &err) == nullptr);
  EXPECT_EQ(err, KELP_ERR_CONFIG);
  config.option = 0;
  auto *const handle = static_cast<char *>(f.create(&config, &err));
  ASSERT_TRUE(handle != nullptr && err == KELP_OK);
  EXPECT_EQ(std::string(handle, 4), is_decoder ? "DPLK" : "EPLK");
  EXPECT_EQ(std::memcmp(f.config(handle), &config, sizeof config), 0);

  uint8_t bytes[40] = {1};
  int16_t speech[KELP_FRAME_SAMPLES] = {};
  kelp_pcm_frame pcm = {};
  pcm.samples[0] = speech;
  kelp_frame_info info = {-1, -1, 41};
  const auto process = [&](void *with, uint8_t *data, int32_t length) {
    kelp_packet_desc packet = {data, 77, length};
    const kelp_pcm_frame before = pcm;
    const int32_t code = is_decoder ? kelpd_decode(with, &packet, &pcm, &info)
                                    : kelpe_encode(with, &pcm, &packet, &info);
    if (code != KELP_OK) {  // nothing is written
      EXPECT_TRUE(info.consumed == -1 && info.produced == -1 && info.calls == 41 && bytes[0] == 1);
      EXPECT_EQ(std::memcmp(&pcm, &before, sizeof pcm), 0);
    }
    return code;
  };
  EXPECT_EQ(process(nullptr, bytes, 40), KELP_ERR_HANDLE);
  EXPECT_EQ(process(handle, nullptr, 40), KELP_ERR_ARGUMENT);
  for (const int32_t length : {0, -1, kMin32}) {
    EXPECT_EQ(process(handle, bytes, length), KELP_ERR_ARGUMENT);
  }
  for (const char letter : {'X', is_decoder ? 'E' : 'D'}) {
    handle[0] = letter;
    EXPECT_EQ(process(handle, bytes, 40), KELP_ERR_HANDLE);
    f.remove(handle);  // a block of another kind is left alone
    handle[0] = f.name[0];
  }
  f.remove_other(handle);
  f.remove(nullptr);

  f.platform_deinit(handle);
  EXPECT_EQ(process(handle, bytes, 40), KELP_ERR_HANDLE);
  f.config(handle)->option = 5;
  EXPECT_EQ(f.platform_init(handle), KELP_ERR_CONFIG);
  EXPECT_EQ(process(handle, bytes, 40), KELP_ERR_HANDLE);
  f.config(handle)->option = 0;
  EXPECT_EQ(f.platform_init(handle), KELP_OK);
  EXPECT_EQ(process(handle, bytes, 40), KELP_OK);
  f.flush(handle);
  EXPECT_EQ(f.ready(handle), KELP_OK);
  EXPECT_EQ(process(handle, bytes, 40), KELP_OK);
  EXPECT_EQ(info.calls, 43u);
  if (!is_decoder) f.flush(handle);
  f.remove(handle);
}

TEST(Interface, DecoderRecords) {
  decoder decoder;
  random_numbers random(8);
  packet failed = random_speech_packet(&random, 4);
  failed[33] |= 0x40;
  const std::pair<packet, int32_t> cases[] = {{random_speech_packet(&random, 1), 4},
                                              {quarter_packet({}), 8},
                                              {random_speech_packet(&random, 3), 17},
                                              {random_speech_packet(&random, 4), 35},
                                              {failed, 34},
                                              {{14, 14}, 1},
                                              {{0, 0}, 1}};
  decoder.info.calls = UINT64_MAX;
  for (uint64_t calls = 0; const auto &[bytes, consumed] : cases) {
    decoder.decode(bytes);
    EXPECT_EQ(decoder.info.consumed, consumed) << int{bytes[0]};
    EXPECT_TRUE(decoder.info.produced == 1 && decoder.info.calls == calls++);
  }
  int16_t speech[KELP_FRAME_SAMPLES];
  kelp_pcm_frame out;
  std::memset(&out, 0x33, sizeof out);
  out.samples[0] = speech;
  kelp_pcm_frame expected = out;
  expected.sample_count[0] = 160;
  expected.byte_count[0] = 320;
  std::copy_n(std::array{1u, 16u, 8000u, 1u}.begin(), 4, expected.format);
  uint8_t lost = KELP_RATE_ERASURE;
  const kelp_packet_desc in = {&lost, 0, 1};
  EXPECT_EQ(kelpd_decode(decoder.handle, &in, &out, &decoder.info), KELP_OK);
  EXPECT_EQ(std::memcmp(&out, &expected, sizeof out), 0);
}

TEST(Interface, LibraryCallsAndInlineFunctions) {
  EXPECT_TRUE(kelp_init() == 0 && kelp_init() == 0 && kelp_q() == 0 && kelp_platform_init() == 0);
  EXPECT_TRUE(kelp_deinit(UINTPTR_MAX) == UINTPTR_MAX && kelp_platform_deinit(7) == 7);
  EXPECT_TRUE(kelp_inited == 1 && erasure_count == 0);
  for (int byte = 0; byte < 256; byte++) {
    constexpr int kBytes[16] = {0, 4, 8, 17, 35, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0};
    EXPECT_EQ(kelp_packet_bytes(static_cast<uint8_t>(byte)), byte < 16 ? kBytes[byte] : 0);
  }
  std::vector<std::string> texts;
  for (const int32_t code : {0, -2, -3, -4, -5, -8, -21, -1}) {
    texts.emplace_back(kelp_result_text(code));
    EXPECT_EQ(std::count(texts.begin(), texts.end(), texts.back()), 1) << code;
  }
}

TEST(BlockCopy, RowsAndStrides) {
  std::string target = ".........";
  kcmn_blk_mcpy(&target[6], "abcdefgh", -3, 4, 2, 2);
  for (const int32_t none : {0, -1, kMin32}) {
    kcmn_blk_mcpy(target.data(), "abcdefgh", 1, 1, none, 5);
    kcmn_blk_mcpy(target.data(), "abcdefgh", 1, 1, 5, none);
  }
  EXPECT_EQ(target, "...ef.ab.");
}

}  // namespace
