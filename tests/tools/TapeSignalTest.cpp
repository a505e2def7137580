#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

#include "support/TapeSimulator.h"

namespace {

using testing::Each;
using testing::FloatEq;
using testing::FloatNear;

constexpr double sampleRate = 44100.0;
constexpr float tolerance = 1e-6F;

const std::string oneBit = "SSSSSSSSSSSS";
const std::string zeroBit = "LLLL";

/// The half-periods as letters, S and L.
std::string textOf(const HalfPeriods& signal) {
  std::string text;
  for (const HalfPeriod halfPeriod : signal) {
    text += halfPeriod == HalfPeriod::Short ? 'S' : 'L';
  }
  return text;
}

HalfPeriods signalOf(const std::string& letters) {
  HalfPeriods signal;
  for (const char letter : letters) {
    signal.push_back(letter == 'S' ? HalfPeriod::Short : HalfPeriod::Long);
  }
  return signal;
}

/// One of the two tones.
HalfPeriods toneOf(HalfPeriod halfPeriod, std::size_t count) { return {count, halfPeriod}; }

/// The lengths of the runs of samples above 0.0 and not above it.
std::vector<int> runLengths(const std::vector<float>& recording) {
  std::vector<int> lengths;
  bool wasPositive = false;
  for (const float sample : recording) {
    const bool isPositive = sample > 0.0F;
    if (lengths.empty() || isPositive != wasPositive) {
      lengths.push_back(0);
    }
    ++lengths.back();
    wasPositive = isPositive;
  }
  return lengths;
}

/// The length of the run that plays at `time`.
double runLengthAt(double time, const std::vector<float>& recording) {
  double end = 0.0;
  for (const int length : runLengths(recording)) {
    end += length;
    if (end > time * sampleRate) {
      return length;
    }
  }
  return 0.0;
}

float peakOf(const std::vector<float>& samples) {
  float peak = 0.0F;
  for (const float sample : samples) {
    peak = std::max(peak, std::abs(sample));
  }
  return peak;
}

std::vector<float> part(const std::vector<float>& samples, std::size_t from, std::size_t to) {
  return {samples.begin() + static_cast<std::ptrdiff_t>(from),
          samples.begin() + static_cast<std::ptrdiff_t>(to)};
}

/// The time before the sample with this index and after the one before.
double justBefore(int sample) { return (sample - 0.5) / sampleRate; }

double duration(int samples) { return samples / sampleRate; }

/// What is recorded where the tape has no tones: one second.
std::vector<float> recordSecondOfSilence(TapeConditions conditions) {
  conditions.silence = 0.5;
  return recordTape({}, conditions);
}

}  // namespace

TEST(TapeSignal, WritesAOneBitAsTwelveShortHalfPeriods) {
  HalfPeriods signal = signalOf("L");

  appendBit(signal, true);

  EXPECT_EQ(textOf(signal), "LSSSSSSSSSSSS");
}

TEST(TapeSignal, WritesAZeroBitAsFourLongHalfPeriods) {
  HalfPeriods signal = signalOf("S");

  appendBit(signal, false);

  EXPECT_EQ(textOf(signal), "SLLLL");
}

TEST(TapeSignal, WritesBytesMostSignificantBitFirst) {
  HalfPeriods signal = signalOf("S");

  appendBytes(signal, "\xA1\x06");

  EXPECT_EQ(textOf(signal), "S" + oneBit + zeroBit + oneBit + zeroBit + zeroBit + zeroBit +
                                zeroBit + oneBit + zeroBit + zeroBit + zeroBit + zeroBit + zeroBit +
                                oneBit + oneBit + zeroBit);
}

TEST(TapeSignal, DumpsLeaderMarkerDataAndPartOfABit) {
  EXPECT_EQ(textOf(dumpSignal("\xC0", 3)),
            oneBit + oneBit + oneBit +                                     // leader
                zeroBit +                                                  // start marker
                oneBit + oneBit + zeroBit + zeroBit + zeroBit + zeroBit +  //
                zeroBit + zeroBit +                                        // 0xC0
                "SSSS");
}

TEST(TapeSignal, DumpsALeaderOf300OnesUnlessToldOtherwise) {
  EXPECT_EQ(textOf(dumpSignal("")), std::string(3600, 'S') + zeroBit + "SSSS");
}

TEST(TapeSignal, LastsTwelveSamplesOrFortyTwo) {
  EXPECT_EQ(shortHalfPeriodSamples, 12);
  EXPECT_EQ(longHalfPeriodSamples, 42);
}

// A clean recording

TEST(TapeRecording, HasRunsOfTheNominalLengthsFromAPositiveOneOn) {
  for (const WaveShape shape : {WaveShape::Sine, WaveShape::Square}) {
    const std::vector<float> recording =
        recordTape(signalOf("SSLLSLS"), {.shape = shape, .silence = 0.0});

    EXPECT_GT(recording.front(), 0.0F);
    EXPECT_EQ(runLengths(recording), (std::vector<int>{12, 12, 42, 42, 12, 42, 12}));
  }
}

TEST(TapeRecording, IsAPureSineAsLongAsTheToneDoesNotChange) {
  for (const auto& [halfPeriod, samples] :
       {std::pair(HalfPeriod::Short, 12.0), {HalfPeriod::Long, 42.0}}) {
    const std::vector<float> recording = recordTape(toneOf(halfPeriod, 10), {.silence = 0.0});

    ASSERT_EQ(static_cast<double>(recording.size()), 10 * samples);
    for (std::size_t i = 0; i < recording.size(); ++i) {
      const double phase = (static_cast<double>(i) + 0.5) / samples;
      ASSERT_NEAR(recording[i], 0.8 * std::sin(std::numbers::pi * phase), tolerance)
          << "sample " << i << " of half-periods of " << samples;
    }
  }
}

TEST(TapeRecording, IsASquareWaveIfAskedFor) {
  const std::vector<float> recording =
      recordTape(signalOf("SL"), {.shape = WaveShape::Square, .silence = 0.0});

  EXPECT_THAT(part(recording, 0, 12), Each(FloatEq(0.8F)));
  EXPECT_THAT(part(recording, 12, 54), Each(FloatEq(-0.8F)));
}

TEST(TapeRecording, HasAQuarterOfASecondOfSilenceBeforeAndAfter) {
  const std::vector<float> recording = recordTape(signalOf("SLS"));

  ASSERT_EQ(recording.size(), 11025U + 66U + 11025U);
  EXPECT_THAT(part(recording, 0, 11025), Each(0.0F));
  EXPECT_EQ(part(recording, 11025, 11025 + 66), recordTape(signalOf("SLS"), {.silence = 0.0}));
  EXPECT_THAT(part(recording, 11025 + 66, 22116), Each(0.0F));
}

TEST(TapeRecording, HasAsMuchSilenceAsAskedFor) {
  EXPECT_EQ(recordTape({}, {.silence = 1.0}).size(), 88200U);
  EXPECT_EQ(recordTape({}, {.silence = 0.01}).size(), 882U);
  EXPECT_EQ(recordTape({}, {.silence = 0.0}).size(), 0U);
}

// Polarity and level

TEST(TapeRecording, IsUpsideDownIfInverted) {
  const HalfPeriods signal = signalOf("SLSSL");
  const std::vector<float> upright =
      recordTape(signal, {.level = 0.9, .dcOffset = 0.3, .clipLevel = 1.0});

  const std::vector<float> inverted =
      recordTape(signal, {.level = 0.9, .dcOffset = 0.3, .clipLevel = 1.0, .inverted = true});

  ASSERT_EQ(inverted.size(), upright.size());
  for (std::size_t i = 0; i < upright.size(); ++i) {
    ASSERT_EQ(inverted[i], -upright[i]) << "sample " << i;
  }
}

TEST(TapeRecording, HasPeaksOfTheLevel) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 10);

  EXPECT_NEAR(peakOf(recordTape(tone)), 0.8F, 0.002F);
  EXPECT_NEAR(peakOf(recordTape(tone, {.level = 0.1})), 0.1F, 0.001F);
  EXPECT_FLOAT_EQ(peakOf(recordTape(tone, {.shape = WaveShape::Square, .level = 0.25})), 0.25F);
}

TEST(TapeRecording, IsShiftedByTheDcOffset) {
  const HalfPeriods tone = toneOf(HalfPeriod::Short, 4);
  const std::vector<float> centred = recordTape(tone, {.level = 0.5});

  const std::vector<float> shifted = recordTape(tone, {.level = 0.5, .dcOffset = 0.2});

  ASSERT_EQ(shifted.size(), centred.size());
  for (std::size_t i = 0; i < centred.size(); ++i) {
    ASSERT_NEAR(shifted[i], centred[i] + 0.2F, tolerance) << "sample " << i;
  }
}

TEST(TapeRecording, IsCutOffAtTheClipLevel) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 10);
  const std::vector<float> whole = recordTape(tone, {.level = 0.8});

  const std::vector<float> clipped = recordTape(tone, {.level = 0.8, .clipLevel = 0.5});

  ASSERT_EQ(clipped.size(), whole.size());
  for (std::size_t i = 0; i < whole.size(); ++i) {
    ASSERT_EQ(clipped[i], std::clamp(whole[i], -0.5F, 0.5F)) << "sample " << i;
  }
}

TEST(TapeRecording, IsCutOffAtFullScaleUnlessToldOtherwise) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 10);

  EXPECT_EQ(peakOf(recordTape(tone, {.level = 1.5})), 1.0F);
  EXPECT_NEAR(peakOf(recordTape(tone, {.level = 1.5, .clipLevel = 2.0})), 1.5F, 0.005F);
}

// Speed

namespace {

struct Speed {
  double speed;
  int shortSamples;
  int longSamples;
};

class TapeSpeedTest : public testing::TestWithParam<Speed> {};

}  // namespace

TEST_P(TapeSpeedTest, SetsTheLengthOfTheHalfPeriods) {
  const auto [speed, shortSamples, longSamples] = GetParam();
  for (const WaveShape shape : {WaveShape::Sine, WaveShape::Square}) {
    const std::vector<float> recording =
        recordTape(signalOf("SSLLSL"), {.shape = shape, .speed = speed, .silence = 0.0});

    EXPECT_EQ(runLengths(recording), (std::vector<int>{shortSamples, shortSamples, longSamples,
                                                       longSamples, shortSamples, longSamples}))
        << "speed " << speed;
  }
}

INSTANTIATE_TEST_SUITE_P(Speeds, TapeSpeedTest,
                         testing::Values(Speed{2.0, 6, 21}, Speed{0.5, 24, 84}, Speed{0.75, 16, 56},
                                         Speed{1.5, 8, 28}));

TEST(TapeRecording, IsShorterAtAHigherSpeed) {
  const std::vector<float> recording =
      recordTape(toneOf(HalfPeriod::Long, 1000), {.speed = 1.05, .silence = 0.0});

  EXPECT_NEAR(static_cast<double>(recording.size()), 40000.0, 1.0);
}

namespace {

/// Two seconds and more of the low tone, whose half-periods show the speed.
const HalfPeriods longTone = toneOf(HalfPeriod::Long, 2200);

/// Half-periods of 42 samples played at `speed`, give or take the sample at their end.
auto isLongAt(double speed) { return testing::DoubleNear(42.0 / speed, 1.0); }

}  // namespace

TEST(TapeRecording, SwingsSlowlyWithTheWow) {
  const std::vector<float> recording =
      recordTape(longTone, {.wowDepth = 0.2, .wowFrequency = 1.0, .silence = 0.0});

  EXPECT_THAT(runLengthAt(0.25, recording), isLongAt(1.2));
  EXPECT_THAT(runLengthAt(0.50, recording), isLongAt(1.0));
  EXPECT_THAT(runLengthAt(0.75, recording), isLongAt(0.8));
  EXPECT_THAT(runLengthAt(1.25, recording), isLongAt(1.2));
}

TEST(TapeRecording, SwingsFastWithTheFlutter) {
  const std::vector<float> recording =
      recordTape(longTone, {.flutterDepth = 0.2, .flutterFrequency = 5.0, .silence = 0.0});

  EXPECT_THAT(runLengthAt(0.05, recording), isLongAt(1.2));
  EXPECT_THAT(runLengthAt(0.10, recording), isLongAt(1.0));
  EXPECT_THAT(runLengthAt(0.15, recording), isLongAt(0.8));
  EXPECT_THAT(runLengthAt(1.25, recording), isLongAt(1.2));
}

TEST(TapeRecording, SwingsAtTheUsualFrequenciesUnlessToldOtherwise) {
  const std::vector<float> wow = recordTape(longTone, {.wowDepth = 0.2, .silence = 0.0});
  const std::vector<float> flutter = recordTape(longTone, {.flutterDepth = 0.2, .silence = 0.0});

  EXPECT_THAT(runLengthAt(0.25 / 0.7, wow), isLongAt(1.2));
  EXPECT_THAT(runLengthAt(0.75 / 0.7, wow), isLongAt(0.8));
  EXPECT_THAT(runLengthAt(0.25 / 12.0, flutter), isLongAt(1.2));
  EXPECT_THAT(runLengthAt(0.75 / 12.0, flutter), isLongAt(0.8));
}

TEST(TapeRecording, SwingsAroundTheSpeedFromTheStartOfTheRecordingOn) {
  const std::vector<float> recording = recordTape(longTone, {.speed = 0.5,
                                                             .wowDepth = 0.1,
                                                             .wowFrequency = 0.5,
                                                             .flutterDepth = 0.1,
                                                             .flutterFrequency = 2.5,
                                                             .dcOffset = 1e-9,
                                                             .silence = 0.3});

  EXPECT_THAT(runLengthAt(0.5, recording), isLongAt(0.5 * (1.0 + 0.1 + 0.1)));
  EXPECT_THAT(runLengthAt(1.5, recording), isLongAt(0.5 * (1.0 - 0.1 - 0.1)));
}

// The player's filter

namespace {

/// The peaks of a tone when the filter has settled, as parts of what goes in.
float gain(HalfPeriod halfPeriod, TapeConditions conditions) {
  conditions.level = 0.5;
  conditions.silence = 0.0;
  const std::vector<float> recording = recordTape(toneOf(halfPeriod, 400), conditions);
  return peakOf(part(recording, recording.size() / 2, recording.size())) / 0.5F;
}

}  // namespace

TEST(TapeRecording, LosesThreeDecibelsAtTheCornerFrequencies) {
  EXPECT_NEAR(gain(HalfPeriod::Long, {.lowCut = 525.0}), 0.707F, 0.04F);
  EXPECT_NEAR(gain(HalfPeriod::Short, {.highCut = 1837.5}), 0.707F, 0.04F);
}

TEST(TapeRecording, LosesTheToneBeyondTheCornerFrequencyAndKeepsTheOther) {
  EXPECT_NEAR(gain(HalfPeriod::Short, {.lowCut = 183.75}), 1.0F, 0.03F);
  EXPECT_NEAR(gain(HalfPeriod::Long, {.highCut = 5250.0}), 1.0F, 0.03F);
  EXPECT_NEAR(gain(HalfPeriod::Short, {.highCut = 183.75}), 0.1F, 0.02F);
  EXPECT_NEAR(gain(HalfPeriod::Long, {.lowCut = 5250.0}), 0.1F, 0.05F);
}

TEST(TapeRecording, FiltersTheTonesAlone) {
  EXPECT_THAT(recordSecondOfSilence({.lowCut = 5000.0, .highCut = 10.0, .dcOffset = 0.25}),
              Each(FloatEq(0.25F)));
}

// Noise and hum

TEST(TapeRecording, HasWhiteNoiseOfTheStandardDeviation) {
  const std::vector<float> noise = recordSecondOfSilence({.noise = 0.1});

  const double mean = std::accumulate(noise.begin(), noise.end(), 0.0) / sampleRate;
  const double power = std::inner_product(noise.begin(), noise.end(), noise.begin(), 0.0);
  const double neighbours = std::inner_product(noise.begin() + 1, noise.end(), noise.begin(), 0.0);
  ASSERT_EQ(noise.size(), 44100U);
  EXPECT_NEAR(mean, 0.0, 0.002);
  EXPECT_NEAR(std::sqrt(power / sampleRate), 0.1, 0.002);
  EXPECT_NEAR(neighbours / power, 0.0, 0.02);
}

TEST(TapeRecording, HasTheNoiseOfTheSeed) {
  EXPECT_EQ(recordSecondOfSilence({.noise = 0.1, .noiseSeed = 5}),
            recordSecondOfSilence({.noise = 0.1, .noiseSeed = 5}));
  EXPECT_NE(recordSecondOfSilence({.noise = 0.1, .noiseSeed = 5}),
            recordSecondOfSilence({.noise = 0.1, .noiseSeed = 6}));
}

TEST(TapeRecording, HasTheNoiseOnTopOfTheTones) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 100);
  const std::vector<float> clean = recordTape(tone, {.silence = 0.0});

  std::vector<float> noise = recordTape(tone, {.noise = 0.01, .silence = 0.0});

  std::transform(noise.begin(), noise.end(), clean.begin(), noise.begin(), std::minus<>());
  const double power = std::inner_product(noise.begin(), noise.end(), noise.begin(), 0.0);
  EXPECT_NEAR(std::sqrt(power / static_cast<double>(noise.size())), 0.01, 0.001);
}

TEST(TapeRecording, HasTheNoiseOfSilenceInTheSilenceAlone) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 10);
  const std::vector<float> clean = recordTape(tone);

  const std::vector<float> noisy = recordTape(tone, {.noiseInSilence = 0.1});

  ASSERT_EQ(noisy.size(), clean.size());
  EXPECT_EQ(part(noisy, 11025, 11025 + 420), part(clean, 11025, 11025 + 420));
  EXPECT_EQ(std::count(noisy.begin(), noisy.begin() + 11025, 0.0F), 0);
  EXPECT_EQ(std::count(noisy.end() - 11025, noisy.end(), 0.0F), 0);
}

TEST(TapeRecording, HasTheNoiseOfSilenceBesidesTheOther) {
  EXPECT_EQ(recordSecondOfSilence({.noise = 0.25, .noiseInSilence = 0.125}),
            recordSecondOfSilence({.noise = 0.375}));
}

namespace {

void expectHum(const std::vector<float>& recording, double peak, double frequency) {
  for (std::size_t i = 0; i < recording.size(); ++i) {
    const double turns = frequency * static_cast<double>(i) / sampleRate;
    ASSERT_NEAR(recording[i], peak * std::sin(2.0 * std::numbers::pi * turns), tolerance)
        << "sample " << i;
  }
}

}  // namespace

TEST(TapeRecording, HasAHumOf50HertzUnlessToldOtherwise) {
  expectHum(recordSecondOfSilence({.hum = 0.3}), 0.3, 50.0);
  expectHum(recordSecondOfSilence({.hum = 0.2, .humFrequency = 60.0}), 0.2, 60.0);
}

TEST(TapeRecording, HasTheHumOnTopOfTheTones) {
  const HalfPeriods tone = toneOf(HalfPeriod::Long, 100);
  const std::vector<float> clean = recordTape(tone, {.silence = 0.0});

  std::vector<float> hum = recordTape(tone, {.hum = 0.1, .silence = 0.0});

  std::transform(hum.begin(), hum.end(), clean.begin(), hum.begin(), std::minus<>());
  expectHum(hum, 0.1, 50.0);
}

// Drop-outs and clicks

TEST(TapeRecording, LosesTheTonesInADropOut) {
  const HalfPeriods tone = toneOf(HalfPeriod::Short, 20);
  const std::vector<float> whole = recordTape(tone, {.dcOffset = 0.1, .silence = 0.0});

  const std::vector<float> recording = recordTape(tone, {.dcOffset = 0.1,
                                                         .dropOutStart = justBefore(100),
                                                         .dropOutDuration = duration(30),
                                                         .silence = 0.0});

  ASSERT_EQ(recording.size(), 240U);
  EXPECT_EQ(part(recording, 0, 100), part(whole, 0, 100));
  EXPECT_THAT(part(recording, 100, 130), Each(FloatEq(0.1F)));
  EXPECT_EQ(part(recording, 130, 240), part(whole, 130, 240));
}

TEST(TapeRecording, KeepsThePartOfTheTonesThatADropOutLeaves) {
  const HalfPeriods tone = toneOf(HalfPeriod::Short, 20);
  const TapeConditions conditions{.shape = WaveShape::Square,
                                  .level = 0.8,
                                  .dropOutStart = justBefore(11025 + 120),
                                  .dropOutDuration = duration(12),
                                  .dropOutLevel = 0.25};

  const std::vector<float> recording = recordTape(tone, conditions);

  EXPECT_THAT(part(recording, 11025 + 120, 11025 + 132), Each(FloatNear(0.2F, tolerance)));
  EXPECT_THAT(part(recording, 11025 + 132, 11025 + 144), Each(FloatEq(-0.8F)));
}

namespace {

struct Click {
  const char* name;
  TapeConditions conditions;
  float level;
};

class TapeClickTest : public testing::TestWithParam<Click> {};

}  // namespace

TEST_P(TapeClickTest, StandsAtTheEndOfTheScale) {
  TapeConditions conditions = GetParam().conditions;
  const std::vector<float> whole = recordTape(signalOf("LLL"), conditions);
  conditions.clickStart = justBefore(11025 + 60);
  conditions.clickDuration = duration(15);

  const std::vector<float> recording = recordTape(signalOf("LLL"), conditions);

  ASSERT_EQ(recording.size(), whole.size());
  EXPECT_EQ(part(recording, 0, 11085), part(whole, 0, 11085));
  EXPECT_THAT(part(recording, 11085, 11100), Each(GetParam().level));
  EXPECT_EQ(part(recording, 11100, whole.size()), part(whole, 11100, whole.size()));
}

INSTANTIATE_TEST_SUITE_P(Clicks, TapeClickTest,
                         testing::Values(Click{"Clean", {}, 1.0F},
                                         Click{"WithHum", {.hum = 0.3, .dcOffset = -0.2}, 1.0F},
                                         Click{"Clipped", {.clipLevel = 0.5}, 0.5F},
                                         Click{"Inverted", {.inverted = true}, -1.0F}),
                         [](const auto& row) { return row.param.name; });
