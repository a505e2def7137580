#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "recovery/Bank.h"
#include "recovery/ConverterReading.h"
#include "recovery/Framing.h"
#include "recovery/Measurement.h"
#include "support/Banks.h"
#include "support/RealRecording.h"
#include "support/Search.h"
#include "support/TapeChain.h"

namespace recovery {

void PrintTo(Verdict verdict, std::ostream* out) {
  *out << (verdict == Verdict::Sure       ? "sure"
           : verdict == Verdict::Doubtful ? "doubtful"
                                          : "missing");
}

namespace {

using Kind = TapeChain::Neighbour::Kind;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

/// A recording of randomBank(1), with other dumps of randomBank(2).
RealRecording record(const TapeChain& chain) {
  Random random(1);
  return recordThrough(chain, randomBank(1), randomBank(2), random);
}

std::vector<Take> search(const RealRecording& recording, std::size_t framesAtATime = 4096) {
  return ::search(recording.samples, recording.sampleRate, recording.channels, framesAtATime).takes;
}

/// The only dump of a recording; an empty one where there are none or several.
Take onlyTake(const RealRecording& recording) {
  const std::vector<Take> takes = search(recording);
  EXPECT_THAT(takes, SizeIs(1));
  if (takes.size() == 1) {
    return takes.front();
  }
  Take none;
  none.bits.resize(bitsPerBank);
  return none;
}

BankReading read(const std::vector<Take>& takes) { return readBank(takes); }

void expectAllSure(const BankReading& reading) {
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount);
  EXPECT_EQ(bytesOf(reading.bank), bytesOf(randomBank(1)));
}

// Whole recordings

class RecoveryOf : public testing::TestWithParam<const char*> {};

TEST_P(RecoveryOf, IsWhole) {
  const Outcome outcome = measure(GetParam(), 1, 1);
  EXPECT_TRUE(outcome.whole) << outcome.faults;
  EXPECT_EQ(outcome.sureAndWrong, 0) << outcome.faults;
}

INSTANTIATE_TEST_SUITE_P(Faults, RecoveryOf,
                         testing::Values("tones-severe", "shape-severe", "speed-severe",
                                         "run-up-severe", "bass loss-severe", "phase-severe",
                                         "hiss-typical", "drop-outs-mild", "hum-severe",
                                         "DC-severe", "clipping-severe", "codec-mild",
                                         "voice before-mild", "hiss before-mild", "leader-severe",
                                         "end-severe", "channel-severe", "typical", "grid"));
INSTANTIATE_TEST_SUITE_P(OtherSounds, RecoveryOf, testing::Values("voice", "music", "noise"));

TEST(RecoveryTest, IsNeverSureAndWrong) {
  for (std::uint32_t seed = 0; seed < 4; ++seed) {
    const Outcome outcome = measure("severe", seed, 1);
    EXPECT_EQ(outcome.sureAndWrong, 0) << seed << ": " << outcome.faults;
  }
}

TEST(RecoveryTest, ReadsAnyRate) {
  for (const double rate : {8000.0, 11025.0, 48000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    expectAllSure(read(search(record({.sampleRate = rate}))));
  }
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
  const std::vector<Take> reference = search(recording, 1'000'000'000);
  ASSERT_THAT(reference, SizeIs(1));
  for (const std::size_t frames : {std::size_t{7}, std::size_t{4099}}) {
    const std::vector<Take> takes = search(recording, frames);
    ASSERT_THAT(takes, SizeIs(1));
    for (std::size_t bit = 0; bit < bitsPerBank; ++bit) {
      const BitReading& expected = reference.front().bits[bit];
      const BitReading& actual = takes.front().bits[bit];
      ASSERT_EQ(actual.value, expected.value) << "bit " << bit << ", blocks of " << frames;
      ASSERT_EQ(actual.margin, expected.margin) << "bit " << bit << ", blocks of " << frames;
      ASSERT_EQ(actual.start, expected.start) << "bit " << bit << ", blocks of " << frames;
    }
  }
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

TEST(RecoveryTest, SaysWhereTheBitsAre) {
  const RealRecording recording = record({.speed = 1.04});
  const Take take = onlyTake(recording);
  ASSERT_THAT(take.bits, SizeIs(bitsPerBank));
  EXPECT_NEAR(take.bits.front().start, recording.dumps[0].start, 0.0005);
  EXPECT_NEAR(take.bits.back().end, recording.dumps[0].end, 0.0005);
  const BankReading reading = read({take});
  EXPECT_NEAR(reading.presets[0].span.start, recording.dumps[0].start, 0.0005);
  EXPECT_NEAR(reading.presets[39].span.end, recording.dumps[0].end, 0.0005);
}

TEST(RecoveryTest, SaysHowTheDumpBeginsAndEnds) {
  const Take take = onlyTake(record({.leaderOnes = 120}));
  EXPECT_TRUE(take.beginningIsSure);
  EXPECT_TRUE(take.endIsClean);
  EXPECT_NEAR(take.leaderOnes, 120, 1);
  EXPECT_NEAR(take.leader.start, 0.5, 0.01);
  EXPECT_NEAR(take.leader.end, take.marker.start, 0.0005);
  EXPECT_NEAR(take.marker.end, take.bits.front().start, 0.0005);
  EXPECT_FALSE(take.isInverted);
  EXPECT_TRUE(onlyTake(record({.inverted = true})).isInverted);
}

struct Fact {
  const char* name;
  TapeChain chain;
  decltype(&SignalFacts::humLevel) fact;
  double expected;
  double tolerance;
};

void PrintTo(const Fact& fact, std::ostream* out) { *out << fact.name; }

class FactOfTheSignal : public testing::TestWithParam<Fact> {};

TEST_P(FactOfTheSignal, IsMeasured) {
  const Fact& fact = GetParam();
  EXPECT_NEAR(onlyTake(record(fact.chain)).signal.*fact.fact, fact.expected, fact.tolerance);
}

const Fact facts[] = {
    {"toneLevel", {.peak = -20.0}, &SignalFacts::toneLevel, -20.0, 1.0},
    {"peakLevel", {.peak = -20.0}, &SignalFacts::peakLevel, -20.0, 1.0},
    {"humFrequency", {.hum = -15.0, .humFrequency = 60.0}, &SignalFacts::humFrequency, 60.0, 0.0},
    {"noHum", {}, &SignalFacts::humFrequency, 0.0, 0.0},
    {"dcOffset", {.dcOffset = 0.2, .peak = -6.0}, &SignalFacts::dcOffset, 0.1, 0.01},
    {"shortHalfPeriod", {.shortSamples = 13.5}, &SignalFacts::shortHalfPeriod, 13.5 / 44100, 5e-6},
    {"longHalfPeriod", {.longSamples = 40.0}, &SignalFacts::longHalfPeriod, 40.0 / 44100, 1e-5},
    {"speedMedian", {.speed = 0.94}, &SignalFacts::speedMedian, 0.94, 0.01},
    {"speedWander", {.wow = 0.02}, &SignalFacts::speedWander, 0.015, 0.006},
};

const auto nameOf = [](const auto& info) { return std::string(info.param.name); };

INSTANTIATE_TEST_SUITE_P(All, FactOfTheSignal, testing::ValuesIn(facts), nameOf);

TEST(RecoveryTest, NotesADropOut) {
  const RealRecording recording = record({.dropOuts = {{0.5, 0.03, 25.0}}});
  const Take take = onlyTake(recording);
  ASSERT_THAT(take.dropOuts, SizeIs(1));
  const double start = (recording.dumps[0].start + recording.dumps[0].end) / 2.0;
  EXPECT_NEAR(take.dropOuts[0].span.start, start, 0.015);
  EXPECT_NEAR(take.dropOuts[0].span.end, start + 0.03, 0.015);
  EXPECT_GT(take.dropOuts[0].depth, 12.0);
}

TEST(RecoveryTest, SaysWhatTheRecordingHolds) {
  const RealRecording recording =
      record({.peak = -12.0, .wiring = Wiring::SecondWeak, .wiringStrength = 20.0});
  const RecordingFacts said = ::search(recording.samples, 44100.0, 2).facts;
  EXPECT_EQ(said.sampleRate, 44100.0);
  EXPECT_EQ(said.channels, 2);
  EXPECT_NEAR(said.duration, static_cast<double>(recording.samples.size()) / 2 / 44100.0, 1e-6);
  ASSERT_THAT(said.channelPeaks, SizeIs(2));
  EXPECT_NEAR(said.channelPeaks[0], 0.25, 0.03);
  EXPECT_NEAR(said.channelPeaks[1], 0.025, 0.004);
  EXPECT_LE(said.levels.size(), 4000U);
  EXPECT_NEAR(said.levelStep * static_cast<double>(said.levels.size()), said.duration,
              2.0 * said.levelStep);
}

// Channels

TEST(RecoveryTest, TakesTheSecondChannel) {
  const Take take = onlyTake(record({.wiring = Wiring::FirstDead}));
  EXPECT_EQ(take.channelIndex, 1);
  expectAllSure(read({take}));
}

TEST(RecoveryTest, TakesBothChannels) {
  for (const Wiring wiring : {Wiring::Antiphase, Wiring::SecondWeak}) {
    expectAllSure(read(search(record({.hiss = 40.0, .wiring = wiring, .wiringStrength = 20.0}))));
  }
}

// Several dumps, and parts of one

TEST(RecoveryTest, FindsEveryDump) {
  const RealRecording recording =
      record({.before = {{Kind::Silence, 0.3}, {Kind::Dump}, {Kind::Silence, 1.0}},
              .after = {{Kind::Voice, 3.0, 0.5}, {Kind::Dump}, {Kind::Silence, 0.3}}});
  const std::vector<Take> takes = search(recording);
  ASSERT_THAT(takes, SizeIs(3));
  const PresetBank expected[] = {randomBank(2), randomBank(1), randomBank(2)};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(bytesOf(readBank({&takes[i], 1}).bank), bytesOf(expected[i])) << i;
    EXPECT_NEAR(takes[i].bits.front().start, recording.dumps[i].start, 0.001) << i;
  }
}

TEST(RecoveryTest, PrefersTheCompleteDump) {
  const std::vector<Take> takes =
      search(record({.before = {{Kind::DumpsBeginning, 15.0}, {Kind::Silence, 1.0}}}));
  ASSERT_GE(bestTake(takes), 0);
  expectAllSure(readBank({&takes[static_cast<std::size_t>(bestTake(takes))], 1}));
  EXPECT_EQ(bestTake({}), -1);
}

TEST(RecoveryTest, GivesThePresetsBeforeAMissingEnd) {
  const RealRecording recording = record({.missingAfter = 8.0});
  const BankReading reading = read({onlyTake(recording)});
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    const bool isThere = recording.dumps[0].isRecorded[preset];
    EXPECT_EQ(reading.presets[preset].verdict == Verdict::Sure, isThere) << preset;
    EXPECT_TRUE(!isThere || isRight(reading, bytesOf(randomBank(1)), preset)) << preset;
  }
  EXPECT_EQ(reading.presets[39].verdict, Verdict::Missing);
  EXPECT_EQ(reading.presets[39].reason, Reason::NotRecorded);
  EXPECT_THAT(bytesOf(reading.bank).substr(39 * presetSize), Each('\0'));
}

TEST(RecoveryTest, GivesThePresetsAfterAMissingBeginning) {
  const RealRecording recording = record({.missingBefore = 8.0});
  const BankReading reading = read({onlyTake(recording)});
  EXPECT_EQ(sureAndWrong(reading, &recording.dumps[0]), 0);
  EXPECT_EQ(reading.presets[0].verdict, Verdict::Missing);
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    EXPECT_TRUE(!recording.dumps[0].isRecorded[preset] ||
                isRight(reading, bytesOf(randomBank(1)), preset))
        << preset;
  }
}

// Certainty

TEST(RecoveryTest, TakesNoSteadyToneForADump) {
  for (const double frequency : {525.0, 1837.5}) {
    RealRecording recording{.sampleRate = 44100.0, .channels = 1};
    for (int i = 0; i < 30 * 44100; ++i) {
      recording.samples.push_back(
          static_cast<float>(0.5 * std::sin(i * frequency * 2.0 * std::numbers::pi / 44100.0)));
    }
    EXPECT_THAT(search(recording), SizeIs(0)) << frequency;
  }
}

TEST(RecoveryTest, ReadsABankOfOneValue) {
  for (const char value : {'\x00', '\xFF'}) {
    PresetBank bank;
    bank.fill(value);
    Random random(1);
    const BankReading reading =
        read({onlyTake(recordThrough({.hiss = 30.0, .clicks = 5}, bank, bank, random))});
    EXPECT_EQ(bytesOf(reading.bank), bytesOf(bank)) << int{value};
  }
}

TEST(RecoveryTest, DoubtsALongSilentDropOut) {
  // Six zeros last as long as seven ones, so what is lost here can't be known.
  for (const double duration : {0.03, 0.06, 0.12}) {
    const RealRecording recording = record({.hiss = 45.0, .dropOuts = {{0.51, duration, 80.0}}});
    const BankReading reading = read(search(recording));
    EXPECT_EQ(sureAndWrong(reading, &recording.dumps[0]), 0) << duration;
    EXPECT_LT(reading.count(Verdict::Sure), presetCount) << duration;
  }
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

TEST(RecoveryTest, LetsTakesHelpEachOther) {
  const Take first = onlyTake(record({.hiss = 45.0, .dropOuts = {{0.21, 0.06, 80.0}}}));
  const Take second = onlyTake(record({.hiss = 45.0, .dropOuts = {{0.71, 0.06, 80.0}}}));
  EXPECT_LT(read({first}).count(Verdict::Sure), presetCount);
  EXPECT_LT(read({second}).count(Verdict::Sure), presetCount);
  expectAllSure(read({first, second}));
}

TEST(RecoveryTest, RecognisesTakesOfDifferentDumps) {
  const Take first = onlyTake(record({}));
  const Take second = onlyTake(record({.speed = 1.05}));
  Random random(1);
  const Take other = onlyTake(recordThrough({}, randomBank(3), randomBank(4), random));
  const std::vector<Take> same{first, second};
  EXPECT_FALSE(findDifferentDumps(same).found());
  const std::vector<Take> different{first, second, other};
  const DifferentDumps pair = findDifferentDumps(different);
  EXPECT_EQ(pair.second, 2);
  EXPECT_THAT(pair.first, testing::AnyOf(0, 1));
}

// The vote, of takes made by hand

/// A take of ones that are all as sure as `margin`.
Take takeOfOnes(float margin) {
  Take take;
  take.beginningIsSure = true;
  take.endIsClean = true;
  for (int bit = 0; bit < bitsPerBank; ++bit) {
    const double start = 1.0 + bit * 0.003265;
    take.bits.push_back({.start = start, .end = start + 0.003265, .margin = margin, .value = 1});
  }
  return take;
}

TEST(BankTest, OfNoTakesIsMissing) {
  const BankReading reading = readBank({});
  EXPECT_EQ(reading.count(Verdict::Missing), presetCount);
  EXPECT_THAT(reading.bank, Each('\0'));
}

TEST(BankTest, OfSureBitsIsSure) {
  const BankReading reading = read({takeOfOnes(1000.0F)});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount);
  EXPECT_THAT(reading.bank, Each('\xFF'));
  EXPECT_EQ(reading.presets[3].margin, 1000.0F);
  EXPECT_EQ(reading.presets[3].reason, Reason::None);
}

TEST(BankTest, DoubtsThePresetOfOneUnsureBit) {
  Take take = takeOfOnes(1000.0F);
  take.bits[192 * 5 + 10].margin = 0.5F;
  const BankReading reading = read({take});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount - 1);
  const PresetReading& preset = reading.presets[5];
  EXPECT_EQ(preset.verdict, Verdict::Doubtful);
  EXPECT_EQ(preset.reason, Reason::Noise);
  EXPECT_EQ(preset.margin, 0.5F);
  EXPECT_EQ(preset.worstTime, take.bits[192 * 5 + 10].start);
  std::array<std::uint8_t, presetSize> doubtful{};
  doubtful[1] = 0x20;
  EXPECT_EQ(preset.doubtfulBits, doubtful);
}

TEST(BankTest, BlamesADoubtfulCountForMostOfAPreset) {
  Take take = takeOfOnes(1000.0F);
  const auto reasonOf = [&take](std::size_t unsureBits, bool countIsDoubtful) {
    for (std::size_t bit = 0; bit < unsureBits; ++bit) {
      take.bits[bit].margin = 2.0F;
    }
    take.doubtfulPlaces.resize(1);
    take.doubtfulPlaces[0].countIsDoubtful = countIsDoubtful;
    return read({take}).presets[0].reason;
  };
  EXPECT_EQ(reasonOf(1, true), Reason::Noise);
  EXPECT_EQ(reasonOf(192, false), Reason::Noise);
  EXPECT_EQ(reasonOf(192, true), Reason::Count);
}

TEST(BankTest, DoubtsThePresetOfOneBitThatIsNotThere) {
  Take take = takeOfOnes(1000.0F);
  take.bits[192 * 39 + 191] = {};
  const BankReading reading = read({take});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount - 1);
  EXPECT_EQ(reading.presets[39].verdict, Verdict::Doubtful);
  EXPECT_EQ(reading.presets[39].reason, Reason::NotRecorded);
  EXPECT_EQ(reading.presets[39].worstTime, take.bits[192 * 39].start);
}

TEST(BankTest, TakesTheSurerOfTwo) {
  Take unsure = takeOfOnes(1000.0F);
  unsure.bits[7].value = 0;
  unsure.bits[7].margin = 0.5F;
  const BankReading reading = read({unsure, takeOfOnes(1000.0F)});
  EXPECT_EQ(reading.presets[0].verdict, Verdict::Sure);
  EXPECT_EQ(reading.presets[0].take, 1);
  EXPECT_THAT(reading.bank, Each('\xFF'));
}

/// A take of ones but for bit 7, which is as sure of `value` as `margin`, played with a swing of so
/// many seconds.
Take unsureTake(int value, float margin, double swing) {
  Take take = takeOfOnes(1000.0F);
  for (int bit = 0; bit < bitsPerBank; ++bit) {
    take.bits[static_cast<std::size_t>(bit)].start += swing * std::sin(bit * 0.001);
  }
  take.bits[7].value = static_cast<std::int8_t>(value);
  take.bits[7].margin = margin;
  return take;
}

struct Vote {
  Take first;
  Take second;
  Verdict verdict;
  char byte;  // the first of the bank
};

TEST(BankTest, AddsUpWhatTakesSayOfABit) {
  const Vote votes[] = {
      {unsureTake(1, 10.0F, 0.0), unsureTake(1, 7.0F, 0.01), Verdict::Sure, '\xFF'},
      {unsureTake(1, 10.0F, 0.0), unsureTake(1, 5.0F, 0.01), Verdict::Doubtful, '\xFF'},
      {unsureTake(1, 10.0F, 0.0), unsureTake(0, 12.0F, 0.01), Verdict::Doubtful, '\xFE'},
      {unsureTake(1, 10.0F, 0.0), unsureTake(0, 7.0F, 0.01), Verdict::Doubtful, '\xFF'},
      // The same recording twice says no more than once.
      {unsureTake(1, 10.0F, 0.0), unsureTake(1, 10.0F, 0.0), Verdict::Doubtful, '\xFF'},
  };
  for (const Vote& vote : votes) {
    const BankReading reading = read({vote.first, vote.second});
    EXPECT_EQ(reading.presets[0].verdict, vote.verdict) << vote.second.bits[7].margin;
    EXPECT_EQ(reading.bank[0], vote.byte) << vote.second.bits[7].margin;
  }
}

TEST(BankTest, DoubtsSureBitsAfterAnUnsureBeginning) {
  Take take = takeOfOnes(1000.0F);
  take.beginningIsSure = false;
  const BankReading reading = read({take});
  EXPECT_EQ(reading.count(Verdict::Doubtful), presetCount);
  EXPECT_EQ(reading.presets[0].reason, Reason::Beginning);
  EXPECT_THAT(reading.presets[0].doubtfulBits, Each(0xFF));
  take.bits[7].value = 0;
  EXPECT_FALSE(findDifferentDumps(std::array{take, takeOfOnes(1000.0F)}).found());
}

TEST(BankTest, DoubtsWhatTwoTakesReadDifferently) {
  Take other = takeOfOnes(1000.0F);
  other.bits[7].value = 0;
  const BankReading reading = read({takeOfOnes(1000.0F), other});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount - 1);
  EXPECT_EQ(reading.presets[0].verdict, Verdict::Doubtful);
  EXPECT_EQ(reading.presets[0].reason, Reason::TakesDisagree);
  const std::vector<Take> merged = mergeTakes({takeOfOnes(1000.0F)}, {other});
  ASSERT_THAT(merged, SizeIs(1));
  EXPECT_EQ(read(merged).presets[0].verdict, Verdict::Doubtful);
}

TEST(BankTest, TakesTheOpinionThatHasTheSureOnesRight) {
  PresetBank other;
  other.fill('\xFF');
  other[0] = '\xFD';  // bit 6
  Take take = unsureTake(1, 10.0F, 0.0);
  takeOpinion(take, other);
  EXPECT_EQ(read({take}).bank[0], '\xFD');
  EXPECT_EQ(read({take}).presets[0].verdict, Verdict::Doubtful);

  other[0] = '\xFB';
  other[presetBankSize - 1] = '\xFE';  // wrong in a sure preset
  takeOpinion(take, other);
  EXPECT_EQ(read({take}).bank[0], '\xFD');
}

TEST(BankTest, KeepsTakesApartThatHardlyOverlap) {
  Take later = takeOfOnes(1000.0F);
  for (BitReading& bit : later.bits) {
    bit.start += 24.0;  // of 25 s
    bit.end += 24.0;
  }
  EXPECT_THAT(mergeTakes({takeOfOnes(1000.0F)}, {later}), SizeIs(2));
}

TEST(BankTest, BlamesADropOutOnlyNearby) {
  Take take = takeOfOnes(1000.0F);
  take.bits[7].margin = 0.5F;
  for (const auto& [gap, reason] :
       {std::pair(0.005, Reason::DropOut), std::pair(0.02, Reason::Noise)}) {
    const double end = take.bits[7].start - gap;
    take.dropOuts = {{{end - 0.01, end}, 20.0}};
    EXPECT_EQ(read({take}).presets[0].reason, reason) << gap;
  }
}

// Frames, of bits made by hand

/// `leader` ones, a zero, and as many data bits of zeros and ones in turn; then silence.
BitSequence sequenceOf(int leader, float markerMargin, int data, float margin) {
  BitSequence sequence;
  const auto append = [&sequence](bool value, bool hasTone, float sure) {
    const double start = 0.0035 * static_cast<double>(sequence.bits.size());
    const float gain = hasTone ? 1.0F : 0.0F;
    sequence.bits.push_back({start, start + 0.0035, value, hasTone, sure, gain, gain});
  };
  for (int i = 0; i < leader; ++i) {
    append(true, true, 1000.0F);
  }
  append(false, true, markerMargin);
  for (int i = 0; i < data; ++i) {
    append(i % 2 == 0, true, margin);
  }
  for (int i = 0; i < 100; ++i) {
    append(false, false, 0.0F);
  }
  return sequence;
}

TEST(FramingTest, IsSureOfABeginningThatIs) {
  struct Case {
    int leader;
    float markerMargin;
    bool isSure;
  };
  for (const Case& c : {Case{100, 1000.0F, true}, Case{10, 1000.0F, true}, Case{5, 1000.0F, true},
                        Case{100, 10.0F, false}, Case{5, 10.0F, false}}) {
    const std::vector<Take> takes = frameDumps(sequenceOf(c.leader, c.markerMargin, 7680, 1000.0F));
    ASSERT_THAT(takes, SizeIs(1)) << c.leader;
    EXPECT_EQ(takes[0].beginningIsSure, c.isSure) << c.leader << ", " << c.markerMargin;
    EXPECT_EQ(takes[0].leaderOnes, c.leader);
    EXPECT_TRUE(takes[0].endIsClean);
  }
}

TEST(FramingTest, TakesNoUnsureBitsForADump) {
  EXPECT_THAT(frameDumps(sequenceOf(100, 1000.0F, 7680, 1.0F)), SizeIs(0));
}

TEST(FramingTest, GivesBackALostBitWhereTheEndSaysSo) {
  BitSequence sequence = sequenceOf(100, 1000.0F, 7679, 1000.0F);
  for (std::size_t i = 3005; i < 101 + 7679; ++i) {
    sequence.bits[i].value = !sequence.bits[i].value;  // as they alternate if one is lost before
  }
  BitSequence::Stretch stretch{.begin = 3000, .end = 3005, .readings = {}, .other = {}};
  stretch.readings.resize(2 * farthestSlip + 1);
  stretch.readings[farthestSlip] = {0.0F,
                                    {sequence.bits.begin() + 3000, sequence.bits.begin() + 3005}};
  stretch.readings[farthestSlip + 1] = {
      5.0F, {sequence.bits.begin() + 3000, sequence.bits.begin() + 3006}};
  sequence.stretches.push_back(stretch);
  const std::vector<Take> takes = frameDumps(sequence);
  ASSERT_THAT(takes, SizeIs(1));
  EXPECT_TRUE(takes[0].endIsClean);
  EXPECT_EQ(takes[0].bits[3000 - 101].margin, 0.0F);
  EXPECT_GE(takes[0].bits[3010 - 101].margin, sureMargin);
  EXPECT_EQ(takes[0].bits[7679].value, 0);
}

// The converter's own way of reading

TEST(ConverterReadingTest, NamesTheWrongPresets) {
  const RealRecording recording = record({});
  PresetBank bank = randomBank(1);
  const auto wrongOf = [&] {
    return readAsConverter(recording.samples.data(), static_cast<int>(recording.samples.size()),
                           bank);
  };
  EXPECT_EQ(wrongOf().wrongPresets, 0);
  bank[24 * 7] ^= 1;
  bank[24 * 39 + 23] ^= 1;
  const ConverterReading reading = wrongOf();
  EXPECT_EQ(reading.wrongPresets, 2);
  EXPECT_TRUE(reading.isWrong[7]);
  EXPECT_TRUE(reading.isWrong[39]);
  EXPECT_FALSE(reading.isWrong[8]);
}

}  // namespace
}  // namespace recovery
