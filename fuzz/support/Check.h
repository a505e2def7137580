#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// What the fuzzer hands to a target.
using Bytes = std::span<const std::uint8_t>;

/// Ends the run with a finding unless `holds`, naming `expectation`.
void check(bool holds, const char* expectation);

/// Ends the run with a finding unless both are equal, naming `what` is compared and both numbers.
void checkEqual(long long actual, long long expected, const char* what);

/// Ends the run with a finding that names the first of `size` elements that differs.
[[noreturn]] void reportFirstDifference(std::size_t index, std::size_t size, double actual,
                                        double expected, const char* what);

/// Ends the run with a finding unless both are equal, bit for bit.
template <typename T>
void checkSame(std::span<const T> actual, std::span<const T> expected, const char* what) {
  checkEqual(static_cast<long long>(actual.size()), static_cast<long long>(expected.size()), what);
  if (actual.empty() || std::memcmp(actual.data(), expected.data(), actual.size_bytes()) == 0) {
    return;
  }
  const auto isSame = [](const T& a, const T& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin(), isSame);
  reportFirstDifference(static_cast<std::size_t>(a - actual.begin()), actual.size(), *a, *e, what);
}
