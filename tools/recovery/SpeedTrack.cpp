#include "recovery/SpeedTrack.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "recovery/Crossing.h"
#include "recovery/Filter.h"
#include "recovery/Quantile.h"
#include "signal/Tones.h"

namespace recovery {

namespace {

constexpr double nominalRatio = static_cast<double>(longHalfPeriodSamples) / shortHalfPeriodSamples;
constexpr double window = 0.1;       // seconds to either side of a point of the track
constexpr double lowestLevel = 0.3;  // of the tones' usual peak: weaker cycles do not count
constexpr double dominance = 1.3;    // how much stronger one tone must be than the other to count

struct Range {
  double lowest;
  double highest;

  bool contains(double value) const { return value >= lowest && value <= highest; }
};

constexpr Range shortPeriods{1.0 / 2700.0, 1.0 / 1100.0};  // seconds of a whole cycle
constexpr Range longPeriods{1.0 / 720.0, 1.0 / 390.0};
constexpr Range ratios{2.4, 4.9};

struct Cycle {
  double time;
  double period;
};

/// The height of a tone around each sample, as a sine of the same energy has it: what is sharp in
/// the other tone's waves is high, but holds little energy.
std::vector<float> heightsOf(const std::vector<float>& tone, double rate) {
  constexpr double reach = 0.0007;  // seconds
  return levelsAround(tone, static_cast<std::size_t>(reach * rate), 2.0);
}

/// The cycles of `tone`, between crossings in the same direction, where it outweighs the other one.
std::vector<Cycle> cyclesOf(const std::vector<float>& tone, const std::vector<float>& heights,
                            const std::vector<float>& otherHeights, Range periods, double rate) {
  std::vector<Cycle> cycles;
  double last[2] = {-1.0, -1.0};
  for (std::size_t i = 1; i < tone.size(); ++i) {
    const bool rises = tone[i - 1] <= 0.0F && tone[i] > 0.0F;
    const bool falls = tone[i - 1] > 0.0F && tone[i] <= 0.0F;
    if (!rises && !falls) {
      continue;
    }
    const double crossing =
        (static_cast<double>(i) - 1.0 + crossingBetween(tone[i - 1], tone[i])) / rate;
    double& before = last[rises ? 1 : 0];
    const double period = crossing - before;
    if (before >= 0.0 && periods.contains(period)) {
      const auto middle = static_cast<std::size_t>((crossing - period / 2.0) * rate);
      if (static_cast<double>(heights[middle]) > lowestLevel &&
          static_cast<double>(heights[middle]) >
              dominance * static_cast<double>(otherHeights[middle])) {
        cycles.push_back({crossing - period / 2.0, period});
      }
    }
    before = crossing;
  }
  return cycles;
}

/// For each hop the median period of the cycles around it; 0 where there are fewer than `fewest`.
std::vector<double> medianPeriods(const std::vector<Cycle>& cycles, std::size_t hops,
                                  std::size_t fewest) {
  std::vector<double> medians(hops, 0.0);
  std::vector<double> around;
  std::size_t begin = 0;
  std::size_t end = 0;
  for (std::size_t hop = 0; hop < hops; ++hop) {
    const double time = static_cast<double>(hop) * SpeedTrack::hop;
    while (begin < cycles.size() && cycles[begin].time < time - window) {
      ++begin;
    }
    while (end < cycles.size() && cycles[end].time < time + window) {
      ++end;
    }
    if (end - begin < fewest || end <= begin) {
      continue;
    }
    around.clear();
    for (std::size_t i = begin; i < end; ++i) {
      around.push_back(cycles[i].period);
    }
    medians[hop] = median(around);
  }
  return medians;
}

/// Draws a straight line over the gaps (zeros); the ends are continued.
void fillGaps(std::vector<double>& values) {
  std::size_t known = values.size();
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i] <= 0.0) {
      continue;
    }
    const std::size_t begin = known == values.size() ? 0 : known + 1;
    for (std::size_t gap = begin; gap < i; ++gap) {
      const double part = known == values.size()
                              ? 1.0
                              : static_cast<double>(gap - known) / static_cast<double>(i - known);
      const double from = known == values.size() ? values[i] : values[known];
      values[gap] = from + (values[i] - from) * part;
    }
    known = i;
  }
  if (known < values.size()) {
    std::fill(values.begin() + static_cast<std::ptrdiff_t>(known) + 1, values.end(), values[known]);
  }
}

/// Takes out single points that the neighbours do not bear out, then rounds the corners.
void smooth(std::vector<double>& values) {
  constexpr std::ptrdiff_t reach = 2;
  const auto size = static_cast<std::ptrdiff_t>(values.size());
  std::vector<double> medians(values.size());
  std::vector<double> around;
  for (std::ptrdiff_t i = 0; i < size; ++i) {
    const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(0, i - reach);
    const std::ptrdiff_t end = std::min(size, i + reach + 1);
    around.assign(values.begin() + begin, values.begin() + end);
    medians[static_cast<std::size_t>(i)] = median(around);
  }
  for (std::ptrdiff_t i = 0; i < size; ++i) {
    const auto before = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, i - 1));
    const auto after = static_cast<std::size_t>(std::min(size - 1, i + 1));
    values[static_cast<std::size_t>(i)] =
        (medians[before] + 2.0 * medians[static_cast<std::size_t>(i)] + medians[after]) / 4.0;
  }
}

}  // namespace

std::optional<SpeedTrack> SpeedTrack::measure(const std::vector<float>& samples,
                                              double sampleRate) {
  const std::vector<float> low = bandOf(samples, lowTone, sampleRate);
  const std::vector<float> high = bandOf(samples, highTone, sampleRate);
  const std::vector<float> lowHeights = heightsOf(low, sampleRate);
  const std::vector<float> highHeights = heightsOf(high, sampleRate);
  const auto hops =
      static_cast<std::size_t>(static_cast<double>(samples.size()) / sampleRate / hop) + 2;
  std::vector<double> shorts =
      medianPeriods(cyclesOf(high, highHeights, lowHeights, shortPeriods, sampleRate), hops, 8);
  const std::vector<double> longs =
      medianPeriods(cyclesOf(low, lowHeights, highHeights, longPeriods, sampleRate), hops, 3);

  SpeedTrack track;
  std::vector<double> measuredRatios;
  for (std::size_t i = 0; i < hops; ++i) {
    if (shorts[i] > 0.0 && longs[i] > 0.0) {
      measuredRatios.push_back(longs[i] / shorts[i]);
    }
  }
  if (!measuredRatios.empty()) {
    const double measured = median(measuredRatios);
    track.longToShort = ratios.contains(measured) ? measured : nominalRatio;
  }
  bool isMeasured = false;
  for (std::size_t i = 0; i < hops; ++i) {
    if (shorts[i] <= 0.0 && longs[i] > 0.0) {
      shorts[i] = longs[i] / track.longToShort;
    }
    shorts[i] /= 2.0;
    isMeasured = isMeasured || shorts[i] > 0.0;
  }
  if (!isMeasured) {
    return std::nullopt;
  }
  fillGaps(shorts);
  smooth(shorts);
  track.shortLengths = std::move(shorts);
  return track;
}

void SpeedTrack::holdAfter(double time) {
  const std::size_t last =
      std::min(static_cast<std::size_t>(std::max(time, 0.0) / hop), shortLengths.size() - 1);
  std::fill(shortLengths.begin() + static_cast<std::ptrdiff_t>(last), shortLengths.end(),
            shortLengths[last]);
}

double SpeedTrack::shortHalfPeriod(double time) const {
  const double last = static_cast<double>(shortLengths.size()) - 1.0;
  const double position = std::clamp(time / hop, 0.0, last);
  const auto index = static_cast<std::size_t>(std::min(position, std::max(last - 1.0, 0.0)));
  const double part = position - static_cast<double>(index);
  const std::size_t next = std::min(index + 1, shortLengths.size() - 1);
  return shortLengths[index] * (1.0 - part) + shortLengths[next] * part;
}

}  // namespace recovery
