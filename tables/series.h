// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TABLES_SERIES_H
#define KELP_TABLES_SERIES_H

namespace kelp {

inline constexpr double kPi = 3.14159265358979323846;

// Taylor series, exact to a few units of double precision for 0 <= x <= pi / 2. For tables made at
// compile time, so that no library's idea of a cosine enters.
consteval double series_cos(double x) {
  double sum = 0;
  for (int n = 22; n > 0; n -= 2) sum = (1 - sum) * (x * x) / (n * (n - 1));
  return 1 - sum;
}
consteval double series_sin(double x) {
  double sum = 0;
  for (int n = 23; n > 1; n -= 2) sum = (1 - sum) * (x * x) / (n * (n - 1));
  return x * (1 - sum);
}

}  // namespace kelp

#endif  // KELP_TABLES_SERIES_H
