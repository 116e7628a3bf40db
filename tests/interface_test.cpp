// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Handles, checks and records, for decoder and encoder alike.

#include <algorithm>
#include <functional>

#include "enc/encoder_state.h"
#include "tests/support.h"

using namespace kelp_test;

namespace {

// The calls of a family under one face.
struct family {
  std::string name;  // also what its tags begin with
  void *(*create)(const kelp_config *, int32_t *);
  void (*remove)(void *);
  void (*remove_other)(void *);
  int32_t (*ready)(void *);
  void (*flush)(void *);
  int32_t (*platform_init)(void *);
  void (*platform_deinit)(void *);
  size_t size;           // of a handle
  size_t config_offset;  // in it
  bool decodes() const { return create == kelpd_create; }
};
const family kFamilies[] = {{"Decoder", kelpd_create, kelpd_delete, kelpe_delete, kelpd_ready,
                             kelpd_flush, kelpd_platform_init, kelpd_platform_deinit,
                             sizeof(kelp::decoder_handle), offsetof(kelp::decoder_handle, config)},
                            {"Encoder", kelpe_create, kelpe_delete, kelpd_delete, kelpe_ready,
                             kelpe_flush, kelpe_platform_init, kelpe_platform_deinit,
                             sizeof(kelp::encoder_handle), offsetof(kelp::encoder_handle, config)}};

// A handle with its caller's records, all of them in one block to compare.
struct caller {
  explicit caller(const family &its_family) : f(its_family) {
    kelp_init();
    pcm.samples[0] = speech;
    handle = static_cast<uint8_t *>(f.create(&config, nullptr));
  }
  caller(const caller &) = delete;
  ~caller() {
    if (!f.decodes()) f.flush(handle);
    f.remove(handle);
  }
  int32_t process(void *with, uint8_t *data, int32_t length) {
    packet_desc = {data, 77, length};
    return f.decodes() ? kelpd_decode(with, &packet_desc, &pcm, &info)
                       : kelpe_encode(with, &pcm, &packet_desc, &info);
  }
  kelp_config &own_config() { return *reinterpret_cast<kelp_config *>(handle + f.config_offset); }
  // Everything that a refused call must leave alone.
  std::vector<uint8_t> all() const {
    std::vector<uint8_t> bytes(handle, handle + f.size);
    const auto add = [&bytes](const auto &record) {
      const auto *const first = reinterpret_cast<const uint8_t *>(&record);
      bytes.insert(bytes.end(), first, first + sizeof record);
    };
    add(packet_bytes);
    add(speech);
    add(pcm);
    add(info);
    return bytes;
  }

  const family &f;
  uint8_t *handle;
  kelp_config config = {{1, 0xFFFFFFFF, 3}, 0};  // reserved words may hold anything
  uint8_t packet_bytes[40] = {1};
  int16_t speech[KELP_FRAME_SAMPLES] = {};
  kelp_packet_desc packet_desc = {};
  kelp_pcm_frame pcm = {};
  kelp_frame_info info = {-1, -1, 41};
};

// A call that is wrong and defined to survive, and what it returns; 0 where it returns nothing.
struct misuse {
  const char *what;
  int64_t expected;
  std::function<int64_t(caller &)> call;
};

int64_t created(const caller &c, uint32_t option, bool wants_code) {
  const kelp_config config = {{0, 0, 0}, option};
  int32_t err = 99;
  EXPECT_EQ(c.f.create(&config, wants_code ? &err : nullptr), nullptr);
  return err;
}

int64_t with_tag(caller &c, char letter) {
  c.handle[0] = static_cast<uint8_t>(letter);
  const int32_t code = c.process(c.handle, c.packet_bytes, 40);
  c.f.remove(c.handle);
  c.handle[0] = static_cast<uint8_t>(c.f.name[0]);
  return code;
}

const misuse kMisuses[] = {
    {"no handle", KELP_ERR_HANDLE,
     [](caller &c) { return c.process(nullptr, c.packet_bytes, 40); }},
    {"overwritten tag", KELP_ERR_HANDLE, [](caller &c) { return with_tag(c, 'X'); }},
    {"the other kind's tag", KELP_ERR_HANDLE,
     [](caller &c) { return with_tag(c, c.f.decodes() ? 'E' : 'D'); }},
    {"a handle of the other kind", KELP_ERR_HANDLE,
     [](caller &c) {
       caller other(kFamilies[c.f.decodes() ? 1 : 0]);
       return c.process(other.handle, c.packet_bytes, 40);
     }},
    {"no packet", KELP_ERR_ARGUMENT, [](caller &c) { return c.process(c.handle, nullptr, 40); }},
    {"length 0", KELP_ERR_ARGUMENT,
     [](caller &c) { return c.process(c.handle, c.packet_bytes, 0); }},
    {"length -1", KELP_ERR_ARGUMENT,
     [](caller &c) { return c.process(c.handle, c.packet_bytes, -1); }},
    {"smallest length", KELP_ERR_ARGUMENT,
     [](caller &c) { return c.process(c.handle, c.packet_bytes, kMin32); }},
    {"operations removed", KELP_ERR_HANDLE,
     [](caller &c) {
       c.f.platform_deinit(c.handle);
       const int32_t code = c.process(c.handle, c.packet_bytes, 40);
       EXPECT_EQ(c.f.platform_init(c.handle), KELP_OK);
       return code;
     }},
    {"operations put back under an option", KELP_ERR_CONFIG,
     [](caller &c) {
       c.own_config().option = 5;
       const int32_t code = c.f.platform_init(c.handle);
       c.own_config().option = 0;
       return code;
     }},
    {"deleting nothing", 0,
     [](caller &c) {
       c.f.remove(nullptr);
       return 0;
     }},
    {"deleting the other kind", 0,
     [](caller &c) {
       c.f.remove_other(c.handle);
       return 0;
     }},
    {"an option", KELP_ERR_CONFIG, [](caller &c) { return created(c, 1, true); }},
    {"an option and no place for the code", 99,
     [](caller &c) { return created(c, UINT32_MAX, false); }},
    {"no kelp_init", KELP_ERR_STATE,
     [](caller &c) {
       kelp_inited = 0;  // as a host finds it
       const int64_t code = created(c, 0, true);
       kelp_init();
       return code;
     }},
    {"freeing nothing", 0,
     [](caller &) {
       kcmn_mfree_align32(nullptr);
       return 0;
     }},
    {"rows of no bytes", 0,
     [](caller &c) {
       for (const int32_t none : {0, -1, kMin32}) {
         kcmn_blk_mcpy(c.packet_bytes, "abcdefgh", 1, 1, none, 5);
         kcmn_blk_mcpy(c.packet_bytes, "abcdefgh", 1, 1, 5, none);
       }
       return 0;
     }},
    {"reading a buffer of no bytes", 0xFFFFFFFF,
     [](caller &c) {
       kcmn_bsr_state reader;
       kcmn_bsr_init(&reader, c.packet_bytes, c.f.decodes() ? 0 : kMin32, nullptr);
       return int64_t{kcmn_bsr_read(&reader, 8)};
     }},
    {"refilling with no bytes", -2,
     [](caller &c) {
       kcmn_bsr_state reader;
       kcmn_bsr_init(&reader, c.packet_bytes, 40, nullptr);
       return kcmn_bsr_flush(&reader, 0) + kcmn_bsr_le_flush(&reader, kMin32);
     }},
    {"writing to a buffer of no bytes", -2,
     [](caller &c) {
       kcmn_bsw_state writer;
       kcmn_bsw_init(&writer, c.packet_bytes, c.f.decodes() ? 0 : kMin32, nullptr);
       return kcmn_bsw_write1(&writer, 1) + kcmn_bsw_write(&writer, 255, 8);
     }},
    {"writing no bits", 0,
     [](caller &c) {
       kcmn_bsw_state writer;
       kcmn_bsw_init(&writer, c.packet_bytes, 40, nullptr);
       return kcmn_bsw_write(&writer, 255, 0) + kcmn_bsw_write(&writer, 255, kMin32);
     }},
};

TEST(Interface, MisuseIsRefusedAndChangesNothing) {
  for (const family &f : kFamilies) {
    caller misused(f), proper(f);
    for (const auto &[what, expected, call] : kMisuses) {
      const std::vector<uint8_t> before = misused.all();
      EXPECT_EQ(call(misused), expected) << f.name << ": " << what;
      EXPECT_EQ(misused.all(), before) << f.name << ": " << what;
    }
    for (caller *each : {&misused, &proper}) {
      EXPECT_EQ(each->process(each->handle, each->packet_bytes, 40), KELP_OK);
    }
    EXPECT_TRUE(std::ranges::equal(misused.speech, proper.speech) &&
                std::ranges::equal(misused.packet_bytes, proper.packet_bytes));
  }
}

TEST(Interface, LifeOfAHandle) {
  for (const family &f : kFamilies) {
    caller c(f);
    EXPECT_EQ(std::string(c.handle, c.handle + 4), f.name.substr(0, 1) + "PLK");
    EXPECT_EQ(std::memcmp(&c.own_config(), &c.config, sizeof c.config), 0);
    int32_t err = 99;
    void *const other = f.create(&c.config, &err);
    EXPECT_EQ(err, KELP_OK);
    if (!f.decodes()) f.flush(other);
    f.remove(other);
    for (const uint64_t calls : {42U, 43U}) {
      EXPECT_EQ(c.process(c.handle, c.packet_bytes, 40), KELP_OK);
      EXPECT_EQ(c.info.calls, calls);
      f.flush(c.handle);
      EXPECT_EQ(f.ready(c.handle), KELP_OK);
    }
  }
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

TEST(Interface, BlockCopy) {
  std::string target = ".........";
  kcmn_blk_mcpy(&target[6], "abcdefgh", -3, 4, 2, 2);
  EXPECT_EQ(target, "...ef.ab.");
}

// What the encoder writes ends one byte behind a short buffer, and does reach that far.
TEST(Interface, EncoderReachesOneByteBeyondAShortBuffer) {
  caller c(kFamilies[1]);
  random_numbers random(4);
  std::array<bool, 40> reached = {};
  for (int f = 0; f < 400; f++) {
    for (int16_t &sample : c.speech) sample = static_cast<int16_t>(random.next());
    const int32_t capacity = 1 + f % 39;
    std::vector<uint8_t> buffer(48, 0xEE);
    EXPECT_EQ(c.process(c.handle, buffer.data(), capacity), KELP_OK);
    const auto behind = buffer.begin() + capacity;
    EXPECT_EQ(std::count(behind + 1, buffer.end(), 0xEE), 47 - capacity);
    reached[static_cast<size_t>(capacity)] |= *behind != 0xEE;
  }
  EXPECT_GT(std::count(reached.begin(), reached.begin() + 35, true), 10);
  EXPECT_EQ(std::count(reached.begin() + 35, reached.end(), true), 0);
}

}  // namespace
