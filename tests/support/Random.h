#pragma once

#include <cmath>
#include <cstdint>
#include <random>

/// Random numbers that are the same with every compiler and library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : bits(seed) {}

  /// From `low` to `high`, evenly.
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(bits() >> 11) * 0x1p-53;
  }

  /// From `low` to `high`, evenly by ratio; both above 0.
  double byRatio(double low, double high) {
    return std::exp(between(std::log(low), std::log(high)));
  }

  /// 0 to `count` - 1.
  int below(int count) { return static_cast<int>(between(0.0, count)); }

  bool chance(double probability) { return between(0.0, 1.0) < probability; }

  /// Normally distributed but for the tails, which end at 3.5: a sum of four even ones.
  float normal() {
    const std::uint64_t four = bits();
    const auto sum = static_cast<std::int64_t>((four & 0xFFFF) + (four >> 16 & 0xFFFF) +
                                               (four >> 32 & 0xFFFF) + (four >> 48));
    return static_cast<float>(sum - 131070) * (1.7320508F / 65536.0F);
  }

  std::uint64_t next() { return bits(); }

 private:
  std::mt19937_64 bits;
};
