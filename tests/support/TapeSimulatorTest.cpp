#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <numeric>
#include <vector>

#include "support/TapeSimulator.h"

namespace {

using Samples = std::vector<float>;

constexpr double sampleRate = 44100.0;
constexpr HalfPeriod S = HalfPeriod::Short;
constexpr HalfPeriod L = HalfPeriod::Long;

const HalfPeriods lowTone(2200, L);  // more than two seconds
const HalfPeriods shortTone(20, S);

/// The lengths of the runs of samples above 0.0 and not above it.
std::vector<int> runLengths(const Samples& recording) {
  std::vector<int> lengths;
  for (std::size_t i = 0; i < recording.size(); ++i) {
    if (i == 0 || (recording[i] > 0.0F) != (recording[i - 1] > 0.0F)) {
      lengths.push_back(0);
    }
    ++lengths.back();
  }
  return lengths;
}

/// The speed that the length of the half-period of 42 samples at `time` shows.
double speedAt(double time, const Samples& recording) {
  int end = 0;
  for (const int length : runLengths(recording)) {
    end += length;
    if (end > time * sampleRate) {
      return 42.0 / length;
    }
  }
  return 0.0;
}

Samples part(const Samples& samples, std::ptrdiff_t from, std::ptrdiff_t to) {
  return {samples.begin() + from, samples.begin() + to};
}

double rootMeanSquare(const Samples& samples) {
  return std::sqrt(std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0) /
                   static_cast<double>(samples.size()));
}

/// What is recorded where the tape has no tones: one second.
Samples recordSecondOfSilence(TapeConditions conditions) {
  conditions.silence = 0.5;
  return recordTape({}, conditions);
}

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

TEST(TapeSimulator, RecordsACleanTapeAsItIs) {
  EXPECT_EQ(recordTape({S, L, L, S}, {}), recordTape({S, L, L, S}));
  EXPECT_EQ(recordTape({}, {.silence = 0.01}).size(), 882U);
}

TEST(TapeSimulator, ChangesEachSample) {
  const auto hum = [](double peak, double frequency, int sample) {
    return static_cast<float>(peak *
                              std::sin(2.0 * std::numbers::pi * frequency * sample / sampleRate));
  };
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
      {{.level = 1.6}, [](float x, int) { return std::clamp(2 * x, -1.0F, 1.0F); }},
      {{.level = 1.6, .clipLevel = 2.0}, [](float x, int) { return 2 * x; }},
      {{.clipLevel = 0.5}, [](float x, int) { return std::clamp(x, -0.5F, 0.5F); }},
      {{.level = 0.4, .dcOffset = 0.2}, [](float x, int) { return x / 2 + 0.2F; }},
      {{.dcOffset = 0.3, .inverted = true}, [](float x, int) { return -std::min(x + 0.3F, 1.0F); }},
      {{.shape = WaveShape::Square},
       [](float x, int) { return x == 0.0F ? 0.0F : std::copysign(0.8F, x); }},
      {{.hum = 0.1}, [&](float x, int i) { return x + hum(0.1, 50.0, i); }},
      {{.hum = 0.1, .humFrequency = 60.0}, [&](float x, int i) { return x + hum(0.1, 60.0, i); }},
      {{.dcOffset = 0.1,
        .dropOutStart = start(11055),
        .dropOutDuration = duration(30),
        .dropOutLevel = 0.25},
       [&](float x, int i) { return 0.1F + (isIn(i, 11055, 30) ? x / 4 : x); }},
      {click({}), [&](float x, int i) { return isIn(i, 11085, 15) ? 1.0F : x; }},
      {click({.hum = 0.05, .dcOffset = -0.1}),
       [&](float x, int i) { return isIn(i, 11085, 15) ? 1.0F : x - 0.1F + hum(0.05, 50.0, i); }},
      {click({.clipLevel = 0.5}),
       [&](float x, int i) { return isIn(i, 11085, 15) ? 0.5F : std::clamp(x, -0.5F, 0.5F); }},
      {click({.inverted = true}), [&](float x, int i) { return isIn(i, 11085, 15) ? -1.0F : -x; }},
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

TEST(TapeSimulator, PlaysAtTheSpeed) {
  const struct {
    TapeConditions conditions;
    double time;
    double speed;
  } rows[] = {
      {{.speed = 1.5, .silence = 0.0}, 0.5, 1.5},
      {{.wowDepth = 0.2, .silence = 0.0}, 0.25 / 0.7, 1.2},
      {{.wowDepth = 0.2, .silence = 0.0}, 0.75 / 0.7, 0.8},
      {{.wowDepth = 0.2, .wowFrequency = 1.0, .silence = 0.0}, 1.25, 1.2},
      {{.flutterDepth = 0.2, .silence = 0.0}, 0.25 / 12.0, 1.2},
      {{.flutterDepth = 0.2, .flutterFrequency = 5.0, .silence = 0.0}, 0.15, 0.8},
      {{.speed = 0.5,
        .wowDepth = 0.1,
        .wowFrequency = 0.5,
        .flutterDepth = 0.1,
        .flutterFrequency = 2.5,
        .dcOffset = 1e-9,
        .silence = 0.3},
       0.5,
       0.6},
  };
  for (const auto& [conditions, time, speed] : rows) {
    EXPECT_NEAR(speedAt(time, recordTape(lowTone, conditions)), speed, 0.03) << time;
  }
}

TEST(TapeSimulator, FiltersTheTones) {
  const struct {
    HalfPeriod tone;
    TapeConditions conditions;
    double gain;
    double tolerance;
  } rows[] = {
      {L, {.lowCut = 525.0, .silence = 0.0}, 0.707, 0.04},
      {S, {.highCut = 1837.5, .silence = 0.0}, 0.707, 0.04},
      {S, {.lowCut = 183.75, .silence = 0.0}, 1.0, 0.03},
      {L, {.highCut = 5250.0, .silence = 0.0}, 1.0, 0.03},
      {S, {.highCut = 183.75, .silence = 0.0}, 0.1, 0.02},
      {L, {.lowCut = 5250.0, .silence = 0.0}, 0.1, 0.05},
  };
  for (const auto& [tone, conditions, gain, tolerance] : rows) {
    const Samples recording = recordTape(HalfPeriods(400, tone), conditions);
    const auto size = static_cast<std::ptrdiff_t>(recording.size());
    EXPECT_NEAR(rootMeanSquare(part(recording, size / 2, size)), gain * 0.8 / std::sqrt(2.0),
                tolerance);
  }
  expectNear(recordSecondOfSilence({.lowCut = 5000.0, .highCut = 10.0, .dcOffset = 0.25}),
             Samples(44100, 0.25F));
}

TEST(TapeSimulator, AddsNoise) {
  const Samples noise = recordSecondOfSilence({.noise = 0.1});
  const double neighbours = std::inner_product(noise.begin() + 1, noise.end(), noise.begin(), 0.0);
  EXPECT_NEAR(rootMeanSquare(noise), 0.1, 0.002);
  EXPECT_NEAR(neighbours / sampleRate, 0.0, 0.0002);
  EXPECT_EQ(noise, recordSecondOfSilence({.noise = 0.1, .noiseSeed = 1}));
  EXPECT_NE(noise, recordSecondOfSilence({.noise = 0.1, .noiseSeed = 2}));
  EXPECT_EQ(noise, recordSecondOfSilence({.noise = 0.0625, .noiseInSilence = 0.0375}));

  const Samples clean = recordTape(shortTone);
  const Samples noisySilence = recordTape(shortTone, {.noiseInSilence = 0.1});
  EXPECT_EQ(part(noisySilence, 11025, 11265), part(clean, 11025, 11265));
  EXPECT_NEAR(rootMeanSquare(part(noisySilence, 0, 11025)), 0.1, 0.005);
  EXPECT_NEAR(rootMeanSquare(part(noisySilence, 11265, 22290)), 0.1, 0.005);
}
