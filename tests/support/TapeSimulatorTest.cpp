#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <vector>

#include "support/TapeSimulator.h"

namespace {

using Samples = std::vector<float>;

constexpr double sampleRate = 44100.0;
constexpr HalfPeriod S = HalfPeriod::Short;
constexpr HalfPeriod L = HalfPeriod::Long;

void expectNear(const Samples& recording, const Samples& expected) {
  ASSERT_EQ(recording.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(recording[i], expected[i], 1e-6) << "sample " << i;
  }
}

/// The start of the sample with this index; the length of so many samples.
double start(int sample) { return (sample - 0.5) / sampleRate; }
double duration(int samples) { return samples / sampleRate; }

}  // namespace

TEST(TapeSimulator, ChangesEachSample) {
  const auto isIn = [](int sample, int first, int count) {
    return sample >= first && sample < first + count;
  };
  // The five half-periods are the samples 11,025 to 11,144.
  const auto click = [](TapeConditions conditions) {
    conditions.clickStart = start(11085);
    conditions.clickDuration = duration(15);
    return conditions;
  };
  const struct {
    TapeConditions conditions;
    std::function<float(float x, int sample)> change;
  } rows[] = {
      {{.level = 0.4}, [](float x, int) { return x / 2; }},
      {{.level = 1.6, .clipLevel = 2.0}, [](float x, int) { return 2 * x; }},
      {{.clipLevel = 0.5}, [](float x, int) { return std::clamp(x, -0.5F, 0.5F); }},
      {{.dcOffset = 0.3, .inverted = true}, [](float x, int) { return -std::min(x + 0.3F, 1.0F); }},
      {{.shape = WaveShape::Square},
       [](float x, int) { return x == 0.0F ? 0.0F : std::copysign(0.8F, x); }},
      {{.hum = 0.1, .humFrequency = 60.0},
       [](float x, int i) {
         return x +
                0.1F * std::sin(static_cast<float>(2.0 * std::numbers::pi * 60.0 * i / sampleRate));
       }},
      {{.dcOffset = 0.1,
        .dropOutStart = start(11055),
        .dropOutDuration = duration(30),
        .dropOutLevel = 0.25},
       [&](float x, int i) { return 0.1F + (isIn(i, 11055, 30) ? x / 4 : x); }},
      {click({.clipLevel = 0.5}),
       [&](float x, int i) { return isIn(i, 11085, 15) ? 0.5F : std::clamp(x, -0.5F, 0.5F); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Samples expected = recordTape({S, L, S, S, L});
    int sample = 0;
    for (float& x : expected) {
      x = row.change(x, sample++);
    }
    expectNear(recordTape({S, L, S, S, L}, row.conditions), expected);
  }
}
