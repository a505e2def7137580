#include "recovery/ChannelMix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "recovery/Filter.h"

namespace recovery {

namespace {

constexpr double longestLag = 0.0015;  // seconds
constexpr double levelReach = 0.005;   // seconds to either side over which a level is taken

/// How much later than the first channel the second one is, and which way up.
struct Fit {
  int lag = 0;  // samples
  float sign = 1.0F;
};

Fit findFit(const std::vector<float>& first, const std::vector<float>& second, int longest) {
  Fit fit;
  double highest = 0.0;
  const int size = static_cast<int>(std::min(first.size(), second.size()));
  for (int lag = -longest; lag <= longest; ++lag) {
    double sum = 0.0;
    for (int i = std::max(0, -lag); i < size - std::max(0, lag); ++i) {
      sum += static_cast<double>(first[static_cast<std::size_t>(i)] *
                                 second[static_cast<std::size_t>(i + lag)]);
    }
    if (std::abs(sum) > highest) {
      highest = std::abs(sum);
      fit = {lag, sum < 0.0 ? -1.0F : 1.0F};
    }
  }
  return fit;
}

}  // namespace

std::vector<float> mixChannels(const std::vector<float>& first, const std::vector<float>& second,
                               double sampleRate) {
  std::vector<float> a = first;
  std::vector<float> b = second;
  removeBass(a, sampleRate);  // hum is the same in both, whatever the tones are
  removeBass(b, sampleRate);
  const Fit fit = findFit(a, b, static_cast<int>(longestLag * sampleRate));
  const auto reach = static_cast<std::size_t>(levelReach * sampleRate);
  const std::vector<float> firstLevels = levelsAround(a, reach, 1.0);
  const std::vector<float> secondLevels = levelsAround(b, reach, 1.0);
  std::vector<float> mix = first;
  const auto size = static_cast<std::ptrdiff_t>(std::min(first.size(), second.size()));
  for (std::ptrdiff_t i = std::max(0, -fit.lag); i < size - std::max(0, fit.lag); ++i) {
    const auto at = static_cast<std::size_t>(i);
    const auto later = static_cast<std::size_t>(i + fit.lag);
    const float all = firstLevels[at] + secondLevels[later];
    if (all > 0.0F) {
      mix[at] =
          (firstLevels[at] * first[at] + fit.sign * secondLevels[later] * second[later]) / all;
    }
  }
  return mix;
}

}  // namespace recovery
