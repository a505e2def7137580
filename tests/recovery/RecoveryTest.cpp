#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "recovery/Bank.h"
#include "recovery/Measurement.h"
#include "support/Banks.h"
#include "support/RealRecording.h"
#include "support/Search.h"
#include "support/TapeChain.h"

namespace recovery {
namespace {

using Kind = TapeChain::Neighbour::Kind;
using testing::Each;
using testing::SizeIs;

/// A recording of randomBank(1), with other dumps of randomBank(2).
RealRecording record(const TapeChain& chain) {
  Random random(1);
  return recordThrough(chain, randomBank(1), randomBank(2), random);
}

std::vector<Take> search(const RealRecording& recording, std::size_t framesAtATime = 4096) {
  return ::search(recording.samples, recording.sampleRate, recording.channels, framesAtATime).takes;
}

/// The only dump of a recording.
Take onlyTake(const RealRecording& recording) {
  const std::vector<Take> takes = search(recording);
  EXPECT_THAT(takes, SizeIs(1));
  return takes.at(0);
}

BankReading read(const std::vector<Take>& takes) { return readBank(takes); }

void expectAllSure(const BankReading& reading) {
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount);
  EXPECT_EQ(bytesOf(reading.bank), bytesOf(randomBank(1)));
}

// Whole recordings

TEST(RecoveryTest, ReadsRecordingsOfEachFault) {
  for (const char* mixture : {"tones-severe",
                              "shape-severe",
                              "speed-severe",
                              "run-up-severe",
                              "bass loss-severe",
                              "phase-severe",
                              "hiss-typical",
                              "drop-outs-mild",
                              "hum-severe",
                              "DC-severe",
                              "clipping-severe",
                              "codec-mild",
                              "voice before-mild",
                              "hiss before-mild",
                              "leader-severe",
                              "end-severe",
                              "channel-severe",
                              "typical",
                              "grid",
                              "voice",
                              "music",
                              "noise",
                              "modem"}) {
    const Outcome outcome = measure(mixture, 1, 1);
    EXPECT_TRUE(outcome.whole) << mixture << ": " << outcome.faults;
    EXPECT_EQ(outcome.sureAndWrong, 0) << mixture << ": " << outcome.faults;
  }
}

TEST(RecoveryTest, IsNeverSureAndWrong) {
  for (const auto& [mixture, seed] :
       {std::pair("severe", 0U), {"severe", 1U}, {"severe", 2U}, {"drop-outs-severe", 12U}}) {
    const Outcome outcome = measure(mixture, seed, 1);
    EXPECT_EQ(outcome.sureAndWrong, 0) << mixture << " " << seed << ": " << outcome.faults;
  }
}

TEST(RecoveryTest, ReadsAWholeDump) {
  const TapeChain chains[] = {
      {.sampleRate = 8000.0},
      {.sampleRate = 48000.0},
      {.sampleRate = 192000.0},
      {.peak = -95.0, .bitsPerSample = 0},
      {.peak = -105.0, .bitsPerSample = 0},
      {.hum = 20.0, .peak = -24.0},
      {.wiring = Wiring::FirstDead},
      {.squareness = 1.0, .lowCut = {2500.0, 180.0}, .hiss = 30.0},
      // Part of another dump is no choice.
      {.before = {{Kind::DumpsBeginning, 15.0}, {Kind::Silence, 1.0}}},
      {.after = {{Kind::Silence, 0.1}, {Kind::DumpsBeginning, 15.0}, {Kind::Silence, 0.5}}},
  };
  for (const TapeChain& chain : chains) {
    SCOPED_TRACE(&chain - chains);
    const std::vector<Take> takes = search(record(chain));
    ASSERT_GE(bestTake(takes), 0);
    expectAllSure(read({takes[static_cast<std::size_t>(bestTake(takes))]}));
  }
}

TEST(RecoveryTest, JoinsChannelsThatComeAndGo) {
  RealRecording recording = record({.hiss = 40.0, .wiring = Wiring::BothComeAndGo});
  std::vector<float>& samples = recording.samples;
  for (std::size_t i = samples.size() / 2 - 1; i >= 60; --i) {
    samples[2 * i + 1] = -samples[2 * (i - 60) + 1];  // later, and upside down
  }
  expectAllSure(read({onlyTake(recording)}));
}

TEST(RecoveryTest, RefusesOtherRatesAndNoChannels) {
  const std::vector<float> samples(1000, 0.5F);
  for (const double rate : {0.0, 3999.0, 1000001.0, std::nan("")}) {
    EXPECT_THAT(::search(samples, rate, 1).takes, SizeIs(0)) << rate;
  }
  EXPECT_THAT(::search(samples, 44100.0, 0).takes, SizeIs(0));
}

TEST(RecoveryTest, DoesNotDependOnTheBlocks) {
  const RealRecording recording = record({.hiss = 30.0, .wiring = Wiring::Stereo});
  const auto bitsOf = [&recording](std::size_t framesAtATime) {
    std::vector<std::tuple<int, float, double>> bits;
    const std::vector<Take> takes = search(recording, framesAtATime);
    for (const BitReading& bit : takes.at(0).bits) {
      bits.emplace_back(bit.value, bit.margin, bit.start);
    }
    return bits;
  };
  EXPECT_EQ(bitsOf(7), bitsOf(1'000'000'000));
  EXPECT_EQ(bitsOf(7), bitsOf(4099));
}

TEST(RecoveryTest, BearsAnythingAFloatCanHold) {
  RealRecording recording = record({});
  using Limits = std::numeric_limits<float>;
  constexpr std::array odd = {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(),
                              Limits::max(), Limits::denorm_min()};
  for (std::size_t i = 0; i < odd.size(); ++i) {
    recording.samples[1000 + i] = odd[i];              // in the silence
    recording.samples[400'000 + 50'000 * i] = odd[i];  // within the data
  }
  const auto [takes, facts] = ::search(recording.samples, recording.sampleRate, 1);
  const BankReading reading = read(takes);
  EXPECT_EQ(sureAndWrong(reading, &recording.dumps[0]), 0);
  EXPECT_GE(reading.count(Verdict::Sure), presetCount - 5);
  EXPECT_TRUE(std::isfinite(facts.channelPeaks[0]));
  EXPECT_TRUE(std::all_of(facts.levels.begin(), facts.levels.end(),
                          [](float level) { return std::isfinite(level); }));
}

// What is said of a dump

TEST(RecoveryTest, SaysWhereEverythingIs) {
  const RealRecording recording =
      record({.leaderOnes = 120, .speed = 1.04, .before = {{Kind::Silence, 5.0}}});
  const Take take = onlyTake(recording);
  ASSERT_THAT(take.bits, SizeIs(bitsPerBank));
  EXPECT_TRUE(take.beginningIsSure);
  EXPECT_TRUE(take.endIsClean);
  EXPECT_FALSE(take.isInverted);
  EXPECT_NEAR(take.leaderOnes, 120, 1);
  EXPECT_NEAR(take.leader.start, 5.0, 0.01);
  EXPECT_NEAR(take.leader.end, take.marker.start, 0.0005);
  EXPECT_NEAR(take.marker.end, take.bits.front().start, 0.0005);
  EXPECT_NEAR(take.bits.front().start, recording.dumps[0].start, 0.0005);
  EXPECT_NEAR(take.bits.back().end, recording.dumps[0].end, 0.0005);
  EXPECT_NEAR(take.speed.front().time, recording.dumps[0].start, 0.025);
  EXPECT_NEAR(take.speed.back().time, recording.dumps[0].end, 0.025);
  const BankReading reading = read({take});
  EXPECT_NEAR(reading.presets[0].span.start, recording.dumps[0].start, 0.0005);
  EXPECT_NEAR(reading.presets[39].span.end, recording.dumps[0].end, 0.0005);
}

TEST(RecoveryTest, MeasuresTheSignal) {
  using Facts = SignalFacts;
  const struct {
    TapeChain chain;
    decltype(&Facts::humLevel) fact;
    double expected;
    double tolerance;
  } rows[] = {
      {{.peak = -20.0}, &Facts::toneLevel, -20.0, 1.0},
      {{.peak = -20.0}, &Facts::peakLevel, -20.0, 1.0},
      {{.hum = -15.0, .humFrequency = 60.0}, &Facts::humFrequency, 60.0, 0.0},
      {{}, &Facts::humFrequency, 0.0, 0.0},
      {{.dcOffset = 0.2, .peak = -6.0}, &Facts::dcOffset, 0.1, 0.01},
      {{.shortSamples = 13.5}, &Facts::shortHalfPeriod, 13.5 / 44100, 5e-6},
      {{.longSamples = 40.0}, &Facts::longHalfPeriod, 40.0 / 44100, 1e-5},
      {{.speed = 0.94}, &Facts::speedMedian, 0.94, 0.01},
      {{.wow = 0.02}, &Facts::speedWander, 0.015, 0.006},
      {{.clip = 10.0}, &Facts::clippedShare, 0.795, 0.03},  // where a sine is above 0.316
      {{.dropOuts = {{0.5, 0.2, 200.0}}}, &Facts::clippedShare, 0.0, 0.001},
      {{.peak = -25.0, .bitsPerSample = 8}, &Facts::clippedShare, 0.0, 0.0},
      {{.codecNoise = 30.0, .codecBandwidth = 4000.0}, &Facts::bandwidth, 4000.0, 100.0},
  };
  for (const auto& [chain, fact, expected, tolerance] : rows) {
    EXPECT_NEAR(onlyTake(record(chain)).signal.*fact, expected, tolerance);
  }
}

TEST(RecoveryTest, NotesADropOut) {
  const RealRecording recording = record({.hiss = 25.0,
                                          .dropOuts = {{0.5, 0.06, 80.0}},
                                          .inverted = true,
                                          .before = {{Kind::Silence, 5.0}}});
  const Take take = onlyTake(recording);
  EXPECT_TRUE(take.isInverted);
  ASSERT_THAT(take.dropOuts, SizeIs(1));
  const double start = (recording.dumps[0].start + recording.dumps[0].end) / 2.0;
  EXPECT_NEAR(take.dropOuts[0].span.start, start, 0.015);
  EXPECT_NEAR(take.dropOuts[0].span.end, start + 0.06, 0.015);
  EXPECT_GT(take.dropOuts[0].depth, 12.0);
  ASSERT_THAT(take.doubtfulPlaces, SizeIs(1));
  EXPECT_NEAR(take.doubtfulPlaces[0].span.start, start, 0.015);
  EXPECT_NEAR(take.doubtfulPlaces[0].wave.start, start + 0.015, 0.015);
}

TEST(RecoveryTest, SaysWhatTheRecordingHolds) {
  const RealRecording recording = record({.peak = -12.0,
                                          .wiring = Wiring::SecondWeak,
                                          .wiringStrength = 20.0,
                                          .sampleRate = 8000.0,
                                          .after = {{Kind::Silence, 60.0}}});
  const RecordingFacts said = ::search(recording.samples, 8000.0, 2).facts;
  EXPECT_EQ(said.sampleRate, 8000.0);
  EXPECT_EQ(said.channels, 2);
  EXPECT_NEAR(said.duration, static_cast<double>(recording.samples.size()) / 2 / 8000.0, 1e-6);
  ASSERT_THAT(said.channelPeaks, SizeIs(2));
  EXPECT_NEAR(said.channelPeaks[0], 0.25, 0.03);
  EXPECT_NEAR(said.channelPeaks[1], 0.025, 0.004);
  EXPECT_LE(said.levels.size(), 4000U);
  EXPECT_NEAR(said.levelStep * static_cast<double>(said.levels.size()), said.duration,
              2.0 * said.levelStep);
}

// Several dumps, and parts of one

TEST(RecoveryTest, FindsEveryDump) {
  const RealRecording recording =
      record({.before = {{Kind::Silence, 0.3}, {Kind::Dump}, {Kind::Silence, 0.1}},
              .after = {{Kind::Voice, 3.0, 0.5}, {Kind::Dump}, {Kind::Silence, 0.3}}});
  const std::vector<Take> takes = search(recording);
  ASSERT_THAT(takes, SizeIs(3));
  const PresetBank expected[] = {randomBank(2), randomBank(1), randomBank(2)};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(bytesOf(readBank({&takes[i], 1}).bank), bytesOf(expected[i])) << i;
    EXPECT_NEAR(takes[i].bits.front().start, recording.dumps[i].start, 0.001) << i;
  }
}

TEST(RecoveryTest, GivesThePresetsOfAPart) {
  for (const TapeChain& chain : {TapeChain{.missingBefore = 8.0}, TapeChain{.missingAfter = 8.0}}) {
    const RealRecording recording = record(chain);
    const BankReading reading = read({onlyTake(recording)});
    EXPECT_EQ(sureAndWrong(reading, &recording.dumps[0]), 0);
    for (std::size_t preset = 0; preset < presetCount; ++preset) {
      EXPECT_TRUE(!recording.dumps[0].isRecorded[preset] ||
                  isRight(reading, bytesOf(randomBank(1)), preset))
          << preset;
      // Where the beginning is missing, it is not sure that all before the end was data.
      EXPECT_EQ(reading.presets[preset].verdict == Verdict::Sure,
                chain.missingAfter > 0.0 && recording.dumps[0].isRecorded[preset])
          << preset;
    }
    const std::size_t missing = chain.missingAfter > 0.0 ? 39 : 0;
    EXPECT_EQ(reading.presets[missing].verdict, Verdict::Missing);
    EXPECT_EQ(reading.presets[missing].reason, Reason::NotRecorded);
    EXPECT_THAT(bytesOf(reading.bank).substr(missing * presetSize, presetSize), Each('\0'));
  }
}

// Certainty

TEST(RecoveryTest, ReadsABankOfOneValue) {
  for (const char value : {'\x00', '\xFF'}) {
    for (const TapeChain& chain :
         {TapeChain{}, TapeChain{.leaderOnes = 5}, TapeChain{.hiss = 30.0, .clicks = 5}}) {
      PresetBank bank;
      bank.fill(value);
      Random random(1);
      const BankReading reading = read({onlyTake(recordThrough(chain, bank, bank, random))});
      EXPECT_EQ(bytesOf(reading.bank), bytesOf(bank)) << int{value};
      EXPECT_EQ(reading.count(Verdict::Sure), presetCount) << int{value};
    }
  }
}

TEST(RecoveryTest, ReadsABankWithoutOnesAfterAVoice) {
  const TapeChain chain{.dropOuts = {{0.3, 0.005, 25.0}, {0.6, 0.005, 25.0}},
                        .before = {{Kind::Voice, 10.0, 0.5}, {Kind::Silence, 0.3}}};
  const PresetBank bank{};
  Random random(1);
  const BankReading reading = read({onlyTake(recordThrough(chain, bank, bank, random))});
  EXPECT_EQ(bytesOf(reading.bank), bytesOf(bank));
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount);
}

TEST(RecoveryTest, IsSureOfNothingWhereSamplesAreLost) {
  RealRecording recording = record({});
  recording.samples.erase(recording.samples.begin() + 700'000, recording.samples.begin() + 700'500);
  EXPECT_EQ(read(search(recording)).count(Verdict::Doubtful), presetCount);
}

TEST(RecoveryTest, ReadsTheSignsOfWhatIsFarTooFaint) {
  RealRecording recording = record({});
  for (std::size_t i = 0; i < 6'000; ++i) {
    recording.samples[800'000 + i] *= 1.0e-5F;
  }
  const BankReading reading = read(search(recording));
  EXPECT_LT(reading.count(Verdict::Sure), presetCount);
  EXPECT_EQ(bytesOf(reading.bank), bytesOf(randomBank(1)));
}

}  // namespace
}  // namespace recovery
