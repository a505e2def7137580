#pragma once

#include <array>
#include <cstddef>

namespace recovery {

inline constexpr int slack = 5;  // tape samples by which a bit may be longer or shorter
inline constexpr double leastSlackDeviation = 0.8;  // tape samples
inline constexpr double mostSlackDeviation = 2.0;

/// What no path may do, in nats.
inline constexpr double impossible = -1.0e30;

/// What a bit costs, in nats, that is some tape samples longer or shorter than it should be.
class SlackCosts {
 public:
  /// `deviation` of the lengths, in tape samples, more than 0.
  explicit SlackCosts(double deviation) {
    for (int by = -slack; by <= slack; ++by) {
      costs[static_cast<std::size_t>(by + slack)] = by * by / (2.0 * deviation * deviation);
    }
  }

  double operator()(int by) const { return costs[static_cast<std::size_t>(by + slack)]; }

 private:
  std::array<double, 2 * slack + 1> costs{};
};

}  // namespace recovery
