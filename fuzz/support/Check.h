#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/// What the fuzzer hands to a target.
inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

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
  const auto a = std::as_bytes(actual);
  const auto e = std::as_bytes(expected);
  if (a.empty() || std::memcmp(a.data(), e.data(), a.size()) == 0) {
    return;
  }
  const auto byte = std::mismatch(a.begin(), a.end(), e.begin()).first - a.begin();
  const std::size_t index = static_cast<std::size_t>(byte) / sizeof(T);
  reportFirstDifference(index, actual.size(), actual[index], expected[index], what);
}
