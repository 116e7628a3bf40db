// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The exported arithmetic. Its errors and wraps are part of the codec's bits, outside the stated
// domains too.

#include "common/fixed_point.h"

#include "tests/support.h"

using namespace kelp_test;

namespace {

constexpr int32_t kMin = kMin32, kMax = kMax32;

template <typename Result, typename X>
void unary(Result (*function)(X), const rows<2> &cases) {
  for (const auto &[x, result] : cases) EXPECT_EQ(function(static_cast<X>(x)), result) << x;
}
template <typename Result, typename A, typename B>
void binary(Result (*function)(A, B), const rows<3> &cases) {
  for (const auto &[a, b, result] : cases) {
    EXPECT_EQ(function(static_cast<A>(a), static_cast<B>(b)), result) << a << ", " << b;
  }
}

// clang-format off
TEST(FixedPoint, ProductsAndQuotients) {
  binary(kelp_mul_32_32,
         {{1 << 30, 1 << 30, 0x20000000}, {kMin, kMin, kMin}, {kMax, kMax, 2147483644},
          {kMin, kMax, -2147483646}, {-1, -1, 0}, {0x12345678, -0x76543210, -282343727}});
  binary(kelp_mul_32_16, {{kMax, 16384, 0x3FFFFFFF}, {kMin, -32768, kMin}, {-1, 1, -1},
                          {0x12345678, -12345, -115063740}});
  binary(kelp_div_32_32,  // a divisor that is not normalised gives 32767 or 0
         {{0x20000000, 1 << 30, 1073741816}, {0x12345678, 0x76543210, 330382096},
          {kMax - 1, kMax, 2147483636}, {-5, 0x50000000, -12}, {0x70000000, 1 << 30, -536870936},
          {1, 0x3FFF0000, 32767}, {-9, 0x3FFFFFFF, 32767}, {5, 0x3FFEFFFF, 0}, {5, -7, 0}});
  binary(kelp_div_16_16,
         {{8192, 16384, 16384}, {5, 4, 0}, {-1, 4, 0}, {-4, -2, 0}, {0, -1, 0}, {0, 0, 32767},
          {7, 7, 32767}, {1, 3, 10922}, {32766, 32767, 32766}, {0, 5, 0}});
}

TEST(FixedPoint, NormalisationAndRoots) {
  unary(kelp_norm_32, {{0, 0}, {1, 30}, {-1, 31}, {-2, 30}, {1 << 30, 0}, {0x3FFFFFFF, 1},
                       {-0x40000000, 1}, {-0x40000001, 0}, {kMax, 0}, {kMin, 0}});
  unary(kelp_norm_16, {{0, 0}, {1, 14}, {-1, 15}, {-32768, 0}, {0x4000, 0}, {-0x4000, 1}, {255, 7}});
  unary(kelp_squar_rt, {{1 << 30, 23188}, {0x60000000, 28378}, {kMax, 32767}, {1 << 29, 16694},
                        {0, 8064}, {-1, 8061}, {kMin, 24576}});
  unary(kelp_inv_sqrt, {{1, 1073709056}, {2, 759234560}, {3, 619937792}, {4, 536854528},
                        {100, 107372544}, {1 << 30, 32767}, {kMax, 23170}, {0, 0x3FFFFFFF},
                        {-5, 0x3FFFFFFF}});
}

TEST(FixedPoint, Logarithms) {
  unary(kelp_log2, {{1 << 30, -66519040}, {0x60000000, -27819008}, {kMax, -436829},
                    {1, -2079784960}, {160, -1589258496}, {0, -43646976}, {-5, -1924198656}});
  unary(kelp_log, {{1 << 30, -46107390}, {kMax, -302787}, {1, -1441594110}, {0, -30253716}});
  unary(kelp_log10, {{1 << 30, -20023920}, {kMax, -131497}, {1, -626068080}, {160, -478407160},
                     {0, -13138848}, {kMin, -5945526}});
}

// Ratios of energies: nothing or less counts as 0, enormous ones saturate.
TEST(FixedPoint, Q8Ratio) {
  binary(kelp::ratio_q8, {{0, 5, 0}, {5, 0, 0}, {-5, 5, 0}, {5, -5, 0}, {kMax, 3, kMax},
                          {1000, 10, 25599}, {5059644, 3200000, 404}, {7, 4000, 0},
                          {123456789, 1000, 31604937}});
}
// clang-format on

}  // namespace
