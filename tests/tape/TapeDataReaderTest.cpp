#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/time.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "models/TapeModel.h"
#include "support/Banks.h"
#include "support/OpenClasses.h"
#include "support/TapeSimulator.h"

namespace {

using Floats = std::numeric_limits<float>;
using Ints = std::vector<int>;

constexpr int bitStoreCells = 7687;
constexpr int notStored = 123;
constexpr char unwritten = '?';

// Runs of samples of one sign. A run that a flip opened gives one less as a half-period.
constexpr int shortRun = 12;
constexpr int longRun = 42;
constexpr int neitherRun = 27;

/// A signal as the lengths of its runs of samples of one sign. The first run is positive, so a flip
/// opens it too; one negative or positive sample after the last run closes that.
class Signal {
 public:
  Signal& runs(int count, int length) {
    lengths.insert(lengths.end(), static_cast<std::size_t>(count), length);
    return *this;
  }
  Signal& shorts(int count) { return runs(count, shortRun); }
  Signal& longs(int count) { return runs(count, longRun); }
  Signal& noise(int count) { return runs(count, neitherRun); }
  Signal& ones(int count) { return shorts(12 * count); }
  Signal& zeros(int count) { return longs(4 * count); }
  Signal& leader() { return ones(10).zeros(1); }

  Signal& bits(std::string_view values) {
    for (const char value : values) {
      value == '1' ? ones(1) : zeros(1);
    }
    return *this;
  }

  Signal& then(const Signal& other) {
    lengths.insert(lengths.end(), other.lengths.begin(), other.lengths.end());
    return *this;
  }

  std::vector<float> samples() const {
    std::vector<float> recording;
    float value = 0.5F;
    for (const int length : lengths) {
      recording.insert(recording.end(), static_cast<std::size_t>(length), value);
      value = -value;
    }
    recording.push_back(value);
    return recording;
  }

  /// The number of samples up to and including the one that closes the first `count` runs.
  int samplesToEndOf(int count) const {
    return std::accumulate(lengths.begin(), lengths.begin() + count, 1);
  }

 private:
  Ints lengths;
};

/// A reader at the start of a recording, which it keeps.
struct PlayingReader : OpenTapeDataReader {
  explicit PlayingReader(std::vector<float> samplesToPlay) : recording(std::move(samplesToPlay)) {
    samples = recording.data();
    numSamples = static_cast<float>(recording.size());
    lastFlipCount = notStored;
  }

  std::vector<float> recording;
};

void decode(OpenTapeDataReader& reader, std::vector<float> recording) {
  reader.readPresetData(recording.data(), static_cast<int>(recording.size()));
}

/// The bits that a decode stores, in the order of their arrival.
std::string bitsStoredOf(const Signal& signal) {
  OpenTapeDataReader reader;
  std::fill_n(reader.bitStream, bitStoreCells, unwritten);
  decode(reader, signal.samples());
  std::string bits(reader.bitStream, bitStoreCells);
  bits.resize(std::min(bits.find(unwritten), bits.size()));
  std::for_each(bits.begin(), bits.end(), [](char& bit) { bit = static_cast<char>('0' + bit); });
  return bits;
}

std::string bankDecodedOf(const Signal& signal) {
  OpenTapeDataReader reader;
  decode(reader, signal.samples());
  return reader.bank();
}

std::string randomBits(std::uint32_t seed, std::size_t count) {
  std::mt19937 random(seed);
  std::string bits(count, '0');
  std::generate(bits.begin(), bits.end(), [&random] { return "01"[random() >> 31]; });
  return bits;
}

/// A bank of zeros behind `start`.
std::string bankOfStart(const std::string& start) {
  return start + std::string(960 - start.size(), '\0');
}

/// The bank of the first 7,680 of `bits`.
std::string bankOfBits(const std::string& bits) {
  std::string bank;
  for (std::size_t i = 0; i < 7680; i += 8) {
    bank += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
  }
  return bank;
}

/// Everything that `readTillFlip` returns up to the end of `recording`, which is read from the
/// start after a sample of `before`.
Ints halfPeriodsOf(const std::vector<float>& recording, float before = 0.0F) {
  PlayingReader reader(recording);
  reader.lastSample = before;
  Ints halfPeriods;
  do {
    halfPeriods.push_back(reader.readTillFlip());
  } while (halfPeriods.back() != -1);
  return halfPeriods;
}

}  // namespace

// Signs and half-periods

TEST(GetSign, IsPositiveAboveZeroAlone) {
  for (const float positive :
       {0.5F, 1.0F, Floats::denorm_min(), Floats::max(), Floats::infinity()}) {
    EXPECT_EQ(TapeDataReader::getSign(positive), 1) << positive;
    EXPECT_EQ(halfPeriodsOf({positive}), (Ints{0, -1})) << positive;
    EXPECT_EQ(halfPeriodsOf({-1.0F}, positive), (Ints{0, -1})) << positive;
    EXPECT_EQ(TapeDataReader::getSign(-positive), -1) << -positive;
  }
  for (const float negative : {0.0F, -0.0F, Floats::quiet_NaN(), -Floats::quiet_NaN(), -0.5F}) {
    EXPECT_EQ(TapeDataReader::getSign(negative), -1) << negative;
    EXPECT_EQ(halfPeriodsOf({negative}), (Ints{-1})) << negative;
    EXPECT_EQ(halfPeriodsOf({1.0F}, negative), (Ints{0, -1})) << negative;
  }
}

TEST(ReadTillFlip, CountsTheSamplesBeforeTheOneThatFlips) {
  EXPECT_EQ(halfPeriodsOf({1, 1, 1, -1, -1, 1, 1, 1}), (Ints{0, 2, 1, -1}));
  EXPECT_EQ(halfPeriodsOf(Signal().runs(1, 12).runs(1, 41).runs(1, 1).runs(1, 100).samples()),
            (Ints{0, 11, 40, 0, 99, -1}));
  EXPECT_EQ(halfPeriodsOf({-1, -1, -1, 1}), (Ints{3, -1}));             // the whole first run
  EXPECT_EQ(halfPeriodsOf({1, 1, -1, -1, 1}, 1.0F), (Ints{2, 1, -1}));  // the run before goes on
  EXPECT_EQ(halfPeriodsOf({1e-30F, 1, 1e-30F, -1e-30F, -1, 1e-30F}), (Ints{0, 2, 1, -1}));
}

TEST(ReadTillFlip, NeverCountsTheLastRun) {
  EXPECT_EQ(halfPeriodsOf({-1, -1, -1, -1, -1}), (Ints{-1}));
  EXPECT_EQ(halfPeriodsOf({1, 1, 1, 1, 1}), (Ints{0, -1}));
  EXPECT_EQ(halfPeriodsOf({}), (Ints{-1}));
}

TEST(ReadTillFlip, StopsRightAfterTheFlipAndChangesNoCounter) {
  PlayingReader reader({-1, -2, -3, 4, 5, -6, -7});
  reader.lastWasShort = 1;
  reader.shortCount = 7;
  const struct {
    int count;
    int readPos;
    float lastSample;
  } calls[] = {{3, 4, 4.0F}, {1, 6, -6.0F}, {-1, 7, -7.0F}, {-1, 7, -7.0F}};
  for (const auto& [count, readPos, lastSample] : calls) {
    EXPECT_EQ(reader.readTillFlip(), count);
    EXPECT_EQ(reader.readPos, readPos);
    EXPECT_EQ(reader.lastSample, lastSample);
  }
  EXPECT_EQ(reader.lastWasShort, 1);
  EXPECT_EQ(reader.shortCount, 7);
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

// The end of the samples

namespace {

constexpr int largestExactCount = 16777216;  // beyond it a float does not hold every integer

struct Free {
  void operator()(float* memory) const { std::free(memory); }
};
using Zeros = std::unique_ptr<float, Free>;

Zeros zeros(int count) {
  return Zeros(static_cast<float*>(std::calloc(static_cast<std::size_t>(count), sizeof(float))));
}

#ifndef _WIN32
/// Decodes `count` samples of 0.0 and ends the process: with status 0 when the decode is done, by
/// SIGVTALRM when it has taken `seconds` of processor time.
[[noreturn]] void decodeZeros(int count, int seconds) {
  const itimerval limit{{0, 0}, {seconds, 0}};
  setitimer(ITIMER_VIRTUAL, &limit, nullptr);
  TapeDataReader().readPresetData(zeros(count).get(), count);
  _exit(0);
}
#endif

}  // namespace

TEST(TapeEnd, IsComparedInSinglePrecision) {
  const Zeros samples = zeros(largestExactCount + 8);
  // 16,777,217 rounds down to 16,777,216, 16,777,219 up to 16,777,220 and 16,777,221 down to that.
  const struct {
    int count;
    int end;
  } rows[] = {{1, 1},
              {16777215, 16777215},
              {16777216, 16777216},
              {16777217, 16777216},
              {16777218, 16777218},
              {16777219, 16777219},
              {16777220, 16777219},
              {16777221, 16777219},
              {16777222, 16777222}};
  for (const auto& [count, end] : rows) {
    const auto search = [&samples, at = count](auto operation) {
      OpenTapeDataReader reader;
      reader.samples = samples.get();
      reader.numSamples = static_cast<float>(at);
      reader.readPos = std::max(0, at - 10);
      operation(reader);
      return reader.readPos;
    };
    EXPECT_EQ(search([](TapeDataReader& reader) { reader.readTillFlip(); }), end) << count;
    EXPECT_EQ(search([](TapeDataReader& reader) { reader.readConsec(9); }), end) << count;
    EXPECT_EQ(search([](TapeDataReader& reader) { reader.waitforZero(); }), end) << count;
  }
}

TEST(TapeEnd, LeavesTheLastFlipBeforeItToBeFound) {
  const Zeros samples = zeros(largestExactCount + 8);
  samples.get()[largestExactCount + 2] = 1.0F;
  OpenTapeDataReader reader;
  reader.samples = samples.get();
  reader.numSamples = static_cast<float>(largestExactCount + 4);
  reader.readPos = largestExactCount - 6;
  EXPECT_EQ(reader.readTillFlip(), 8);
  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, largestExactCount + 3);
}

#ifndef _WIN32  // which has no limit of processor time that ends a test
// The decodes that end take a fifth of a second without optimisation.
TEST(TapeEndDeathTest, IsNeverReachedWhereTheCountAsAFloatIsReachedFirst) {
  for (const int count : {16777217, 16777220}) {
    EXPECT_EXIT(decodeZeros(count, 1), testing::KilledBySignal(SIGVTALRM), "") << count;
  }
  for (const int count : {16777216, 16777218, 16777219}) {
    EXPECT_EXIT(decodeZeros(count, 10), testing::ExitedWithCode(0), "") << count;
  }
}
#endif

// Classes of half-periods

TEST(TapeClasses, AreTheSameInEachSearch) {
  enum RunClass { Neither, Short, Long };
  const struct {
    int length;
    RunClass runClass;
  } rows[] = {{1, Neither},  {4, Neither},  {5, Short},     {12, Short},      {19, Short},
              {20, Neither}, {27, Neither}, {34, Neither},  {35, Long},       {41, Long},
              {49, Long},    {50, Neither}, {100, Neither}, {100000, Neither}};
  for (const auto& [length, runClass] : rows) {
    SCOPED_TRACE(length);
    const auto leaderEnd = [](const Signal& signal) {
      PlayingReader reader(signal.samples());
      reader.readConsec(9);
      return reader.readPos;
    };
    const Signal inAOne = Signal().shorts(119).runs(1, length).shorts(24);
    EXPECT_EQ(leaderEnd(inAOne), inAOne.samplesToEndOf(Ints{121, 120, 119 + 1 + 12}[runClass]));
    const Signal inTheLeader = Signal().ones(9).runs(4, length).ones(12);
    EXPECT_EQ(leaderEnd(inTheLeader),
              inTheLeader.samplesToEndOf(Ints{108 + 4 + 12, 120, 108 + 4 + 120}[runClass]));

    const Signal inTheMarker = Signal().longs(3).runs(1, length).longs(8);
    PlayingReader reader(inTheMarker.samples());
    reader.waitforZero();
    EXPECT_EQ(reader.readPos, inTheMarker.samplesToEndOf(Ints{5, 3 + 1 + 4, 4}[runClass]));

    const Signal inTheData =
        Signal().leader().shorts(11).runs(1, length).shorts(12).longs(7).runs(1, length);
    EXPECT_EQ(bitsStoredOf(Signal(inTheData).longs(4).ones(1)),
              (std::vector<std::string>{"1001", "11001", "10001"}[runClass]));
  }
}

// The leader and the start marker

namespace {

/// What comes before the end of a search, and how many runs that reads.
struct Search {
  const char* name;
  Signal signal;
  int runsRead;
};

}  // namespace

TEST(ReadConsec, EndsWithTheTenthOneBit) {
  const Search rows[] = {
      {"ten ones", Signal().ones(10), 120},
      {"more ones than needed", Signal().ones(40), 120},
      {"noise before", Signal().noise(3).runs(5, 2).ones(10), 128},
      {"longs before", Signal().longs(3).ones(10), 123},
      {"zeros before", Signal().zeros(3).ones(10), 132},
      {"a long inside", Signal().ones(5).shorts(6).longs(1).ones(5), 60 + 6 + 1 + 60},
      {"three longs inside", Signal().ones(5).shorts(6).longs(3).ones(5), 60 + 6 + 3 + 60},
      {"a zero inside", Signal().ones(5).zeros(1).ones(10), 60 + 4 + 120},
      {"a zero after nine ones", Signal().ones(9).zeros(1).ones(10), 108 + 4 + 120},
      {"five longs inside", Signal().ones(5).longs(5).ones(10), 60 + 5 + 120},
      {"eight longs inside", Signal().ones(5).longs(8).ones(10), 60 + 8 + 120},
      {"longs parted by a short", Signal().ones(5).longs(3).shorts(1).longs(3).ones(5), 127},
      {"longs parted by a one", Signal().ones(4).longs(3).ones(1).longs(3).ones(5), 126},
      {"longs parted by noise", Signal().ones(5).longs(3).noise(1).longs(1).ones(10), 185},
      {"noise inside a one", Signal().shorts(6).noise(2).shorts(6).ones(9), 122},
      {"a glitch inside a one", Signal().shorts(11).runs(1, 2).shorts(1).ones(9), 121},
      {"ones cut short", Signal().shorts(11).longs(1).shorts(11).longs(1).ones(10), 144},
  };
  for (const auto& [name, leader, runsRead] : rows) {
    SCOPED_TRACE(name);
    const Signal signal = Signal(leader).ones(30);
    PlayingReader reader(signal.samples());
    reader.readConsec(9);
    EXPECT_EQ(reader.readPos, signal.samplesToEndOf(runsRead));
    EXPECT_EQ(reader.shortCount, 0);
    EXPECT_EQ(reader.lastWasShort, 1);
    EXPECT_EQ(reader.lastFlipCount, notStored);
  }
}

TEST(ReadConsec, SearchesOneBitMoreThanAskedFor) {
  const Signal signal = Signal().ones(30);
  for (const int ones : {0, 1, 9, 10, 28}) {
    PlayingReader reader(signal.samples());
    reader.readConsec(ones);
    EXPECT_EQ(reader.readPos, signal.samplesToEndOf(12 * (ones + 1))) << ones;
  }
  PlayingReader reader(signal.samples());
  reader.readConsec(-1);
  EXPECT_EQ(reader.readPos, 0);
}

TEST(ReadConsec, GoesOnWithAGroupOfShortsBegunBefore) {
  const Signal signal = Signal().shorts(30);
  for (const bool wasShort : {false, true}) {
    PlayingReader reader(signal.samples());
    reader.lastWasShort = wasShort ? 1 : 0;
    reader.shortCount = 11;
    reader.readConsec(0);
    EXPECT_EQ(reader.readPos, signal.samplesToEndOf(wasShort ? 1 : 12));
  }
}

TEST(ReadConsec, SearchesToTheEndOfTheSamples) {
  PlayingReader reader(Signal().ones(9).shorts(11).longs(2).samples());
  reader.readConsec(9);
  EXPECT_EQ(reader.readPos, static_cast<int>(reader.recording.size()));
  EXPECT_EQ(reader.shortCount, 11);
  EXPECT_EQ(reader.lastWasShort, 0);
}

TEST(WaitforZero, EndsWithTheFirstCompleteZeroBit) {
  const Search rows[] = {
      {"a zero", Signal().zeros(1), 4},
      {"two zeros", Signal().zeros(2), 4},
      {"ones before", Signal().ones(5).zeros(1), 64},
      {"part of a one before", Signal().shorts(7).zeros(1), 11},
      {"three longs before", Signal().longs(3).shorts(1).zeros(1), 8},
      {"three longs and a one before", Signal().longs(3).ones(1).zeros(1), 19},
      {"noise inside", Signal().longs(2).noise(3).longs(2), 7},
      {"noise before", Signal().noise(4).zeros(1), 8},
  };
  for (const auto& [name, marker, runsRead] : rows) {
    SCOPED_TRACE(name);
    const Signal signal = Signal(marker).zeros(3).ones(3);
    PlayingReader reader(signal.samples());
    reader.waitforZero();
    EXPECT_EQ(reader.readPos, signal.samplesToEndOf(runsRead));
    EXPECT_EQ(reader.lastFlipCount, longRun - 1);
    EXPECT_EQ(reader.lastWasShort, 0);
  }
}

TEST(WaitforZero, CountsOnesButStoresThemNowhere) {
  const struct {
    int lastWasShort;
    int shortCount;
    int shorts;
    int expected;
  } rows[] = {{0, 0, 5, 5}, {0, 0, 12, 0}, {0, 0, 13, 1}, {1, 7, 3, 10},
              {1, 7, 5, 0}, {0, 7, 3, 3},  {0, 7, 0, 7},  {1, 7, 0, 7}};
  for (const auto& [lastWasShort, shortCount, shorts, expected] : rows) {
    PlayingReader reader(Signal().shorts(shorts).zeros(1).samples());
    reader.lastWasShort = lastWasShort;
    reader.shortCount = shortCount;
    reader.waitforZero();
    EXPECT_EQ(reader.shortCount, expected) << shorts << " shorts after " << shortCount;
    EXPECT_EQ(std::count(reader.bitStream, reader.bitStream + bitStoreCells, '\0'), bitStoreCells);
  }
}

TEST(WaitforZero, SearchesToTheEndOfTheSamples) {
  PlayingReader reader(Signal().longs(3).samples());
  reader.recording.resize(reader.recording.size() + 20, reader.recording.back());
  reader.samples = reader.recording.data();
  reader.numSamples += 20.0F;
  reader.waitforZero();
  EXPECT_EQ(reader.readPos, static_cast<int>(reader.recording.size()));
  EXPECT_EQ(reader.lastFlipCount, -1);
  reader.lastFlipCount = notStored;
  reader.waitforZero();  // nothing is left to read
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

// Data bits

TEST(TapeData, IsTheCompleteGroupsOfHalfPeriods) {
  const struct {
    Signal data;
    const char* bits;
  } rows[] = {
      {Signal(), ""},
      {Signal().longs(3), ""},
      {Signal().longs(7), "0"},
      {Signal().longs(8), "00"},
      {Signal().shorts(11), ""},
      {Signal().shorts(23), "1"},
      {Signal().shorts(24), "11"},
      {Signal().longs(3).shorts(1).longs(3), ""},
      {Signal().longs(3).ones(1).longs(1), "1"},
      {Signal().longs(3).ones(1).longs(4), "10"},
      {Signal().shorts(11).longs(1).shorts(11), ""},
      {Signal().shorts(11).zeros(1).shorts(1), "0"},
      {Signal().shorts(11).zeros(1).ones(1), "01"},
      {Signal().longs(2).noise(1).longs(2), "0"},
      {Signal().shorts(6).noise(3).shorts(6), "1"},
      {Signal().shorts(11).runs(1, 5000).shorts(1), "1"},
      {Signal().longs(3).runs(2, 2).longs(1).shorts(3).runs(2, 1).shorts(9), "01"},
      {Signal().zeros(1).noise(2).ones(1), "01"},
      {Signal().shorts(6).noise(1).longs(4).noise(1).shorts(6), "0"},
      {Signal().longs(4).shorts(24).longs(4).shorts(48).longs(4), "011011110"},
  };
  for (const auto& [data, bits] : rows) {
    EXPECT_EQ(bitsStoredOf(Signal().leader().then(data)), bits);
  }
}

TEST(TapeData, BeginsWithTheHalfPeriodAfterTheMarker) {
  const struct {
    Signal signal;
    const char* bits;
  } rows[] = {
      {Signal().ones(10).zeros(1).bits("0110"), "0110"},
      {Signal().ones(17).zeros(1).bits("100"), "100"},
      {Signal().ones(10).shorts(5).zeros(1).shorts(7).zeros(1), "0"},
      {Signal().ones(9).zeros(1).bits("1").zeros(1).bits("01"), ""},
      {Signal().ones(50).longs(3), ""},
      {Signal().ones(10).longs(3).ones(1).zeros(1).bits("10"), "10"},
  };
  for (const auto& [signal, bits] : rows) {
    EXPECT_EQ(bitsStoredOf(signal), bits);
  }
}

TEST(TapeData, FormsBytesFromTheMostSignificantBitOnUpsideDownToo) {
  std::vector<float> recording = Signal().leader().bits("011011111").samples();
  for (int turn = 0; turn < 2; ++turn) {
    OpenTapeDataReader reader;
    decode(reader, recording);
    EXPECT_EQ(reader.bank(), bankOfStart("\x6F\x80"));
    std::for_each(recording.begin(), recording.end(), [](float& sample) { sample = -sample; });
  }
}

TEST(TapeData, OfACleanRecordingIsTheBank) {
  const std::string bank = bytesOf(randomBank(1));
  OpenTapeDataReader reader;
  testing::internal::CaptureStdout();
  decode(reader, recordTape(dumpSignal(bank)));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(reader.bank(), bank);
  std::string record(25, '\xAA');
  for (int preset = 0; preset < 40; ++preset) {
    reader.getRawPresetBytes(preset, record.data());
    EXPECT_EQ(record, bank.substr(24 * static_cast<std::size_t>(preset), 24) + '\xAA') << preset;
  }
  for (const int outside : {-1, 40, INT_MIN, INT_MAX}) {
    std::string untouched(24, '\xAA');
    reader.getRawPresetBytes(outside, untouched.data());
    EXPECT_EQ(untouched, std::string(24, '\xAA')) << outside;
  }
  EXPECT_EQ(reader.bank(), bank);
}

TEST(TapeData, IsNotChangedByWhatFollowsIt) {
  const std::string bits = randomBits(2, 7680);
  const Signal dump = Signal().leader().bits(bits);
  EXPECT_EQ(bankDecodedOf(dump), bankOfBits(bits));
  EXPECT_EQ(bankDecodedOf(Signal(dump).ones(20)), bankOfBits(bits));
  EXPECT_EQ(bankDecodedOf(Signal(dump).leader().bits(randomBits(3, 40000))), bankOfBits(bits));
}

TEST(TapeData, MovesUpByOneBitIfAZeroIsLost) {
  std::string bits = randomBits(4, 7680);
  bits[1001] = '0';
  const Signal signal =
      Signal().leader().bits(bits.substr(0, 1001)).longs(3).ones(1).bits(bits.substr(1002)).ones(1);
  EXPECT_EQ(bankDecodedOf(signal),
            bankOfBits(bits.substr(0, 1001) + "1" + bits.substr(1002) + "1"));
}

// The bit store

TEST(TapeBitStore, HoldsSevenBitsMoreThanTheBankAndDropsTheRest) {
  const std::string bits = randomBits(5, 40000);
  EXPECT_EQ(bitsStoredOf(Signal().leader().bits(bits)), bits.substr(0, bitStoreCells));
  struct {
    OpenTapeDataReader reader;
    char behind[30000];
  } memory;
  std::fill_n(memory.behind, sizeof memory.behind, unwritten);
  decode(memory.reader, Signal().leader().bits(bits).samples());
  EXPECT_EQ(std::count(memory.behind, memory.behind + sizeof memory.behind, unwritten), 30000);
}

TEST(TapeBitStore, KeepsTheBitsThatALaterDecodeDoesNotReach) {
  const std::string first = randomBits(7, 7680);
  const std::string second = randomBits(8, 1001);
  const std::string both = bankOfBits(second + first.substr(1001));
  OpenTapeDataReader reader;
  decode(reader, Signal().leader().bits(first).samples());
  decode(reader, Signal().leader().bits(second).samples());
  EXPECT_EQ(reader.bank(), both);
  decode(reader, Signal().ones(50).samples());
  EXPECT_EQ(reader.bank(), both);
  decode(reader, std::vector<float>(50000, 0.0F));
  EXPECT_EQ(reader.bank(), both);
  for (const int count : {0, -1, INT_MIN}) {
    reader.readPresetData(nullptr, count);
    EXPECT_EQ(reader.bank(), both) << count;
  }
}

TEST(TapeBitStore, IsRegroupedAndPackedByTheLowestBits) {
  const std::string bits = randomBits(10, 7680);
  OpenTapeDataReader reader;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    reader.bitStream[i] = static_cast<char>(((i * 2) & 0xFE) | (bits[i] == '1' ? 1U : 0U));
  }
  decode(reader, {});
  for (std::size_t i = 0; i < bits.size(); ++i) {
    char& slot = reader.presetData[i / 192][i % 192 / 8][i % 8];
    ASSERT_EQ(slot, bits[i] - '0') << "bit " << i;
    slot = reader.bitStream[i];
  }
  EXPECT_EQ(reader.bank(), bankOfBits(bits));
}

TEST(TapeDataReader, IsAllZerosAtFirst) {
  alignas(OpenTapeDataReader) static unsigned char memory[sizeof(OpenTapeDataReader)];
  for (volatile unsigned char& byte : memory) {
    byte = 0x55;
  }
  // Without parentheses, which would clear the memory before the constructor runs.
  const OpenTapeDataReader& reader = *new (memory) OpenTapeDataReader;
  EXPECT_EQ(std::string(reader.bitStream, bitStoreCells), std::string(bitStoreCells, '\0'));
  EXPECT_EQ(reader.bank(), bankOfStart(""));
  EXPECT_EQ(reader.samples, nullptr);
  EXPECT_EQ(reader.numSamples, 0.0F);
  EXPECT_EQ(reader.readPos, 0);
  EXPECT_EQ(reader.lastWasShort, 0);
  EXPECT_EQ(reader.shortCount, 0);
  EXPECT_EQ(reader.lastFlipCount, 0);
  EXPECT_EQ(reader.lastSample, 0.0F);
}

// A whole decode

TEST(TapeDecode, BeginsAnew) {
  for (const int count : {0, -1, INT_MIN}) {
    PlayingReader reader({1.0F});
    reader.readPos = 17;
    reader.lastWasShort = 1;
    reader.shortCount = 11;
    reader.lastSample = 1.0F;
    reader.readPresetData(nullptr, count);
    EXPECT_EQ(reader.samples, nullptr);
    EXPECT_EQ(reader.numSamples, static_cast<float>(count));
    EXPECT_EQ(reader.readPos, 0);
    EXPECT_EQ(reader.lastWasShort, 0);
    EXPECT_EQ(reader.shortCount, 0);
    EXPECT_EQ(reader.lastSample, 0.0F);
    EXPECT_EQ(reader.lastFlipCount, notStored);
  }
}

TEST(TapeDecode, BeginsAfterANegativeSample) {
  // A negative first run of four samples is a short half-period, the 120th of the leader. After a
  // positive sample it would be none, and the leader one half-period too short.
  std::vector<float> recording(4, -0.5F);
  const std::vector<float> rest = Signal().shorts(119).zeros(1).bits("1101").samples();
  recording.insert(recording.end(), rest.begin(), rest.end());
  OpenTapeDataReader reader;
  decode(reader, recording);
  EXPECT_EQ(reader.bank(), bankOfStart("\xD0"));
}

TEST(TapeDecode, ReadsUpToTheCountAndLeavesTheSamplesAsTheyAre) {
  const Signal signal = Signal().leader().bits("111");
  std::vector<float> recording = Signal(signal).bits("11111").samples();
  const std::vector<float> before = recording;
  const int end = signal.samplesToEndOf(124 + 36);
  for (const bool isClosed : {true, false}) {
    OpenTapeDataReader reader;
    reader.readPresetData(recording.data(), isClosed ? end : end - 1);
    EXPECT_EQ(reader.bank(), bankOfStart(isClosed ? "\xE0" : "\xC0"));
    EXPECT_EQ(reader.readPos, isClosed ? end : end - 1);
    EXPECT_EQ(reader.lastFlipCount, isClosed ? shortRun - 1 : -1);
    EXPECT_EQ(reader.samples, recording.data());
  }
  EXPECT_EQ(recording, before);
}

TEST(TapeDecode, GivesWhatTheModelGivesOfDamagedRecordings) {
  constexpr struct {
    int shortest;
    int longest;
    int most;
  } pieces[] = {{1, 4, 4},   {20, 34, 3}, {50, 200, 1}, {5, 19, 11}, {35, 49, 3},
                {35, 49, 8}, {4, 20, 40}, {34, 50, 8},  {5, 19, 36}};
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    const auto number = [&random](int lowest, int highest) {
      return lowest + static_cast<int>(random() % static_cast<unsigned>(highest - lowest + 1));
    };
    Signal signal;
    signal.shorts(number(118, 124));
    for (int i = 0; i < 120; ++i) {
      const auto& [shortest, longest, most] = pieces[number(0, 8)];
      for (int run = number(1, most); run > 0; --run) {
        signal.runs(1, number(shortest, longest));
      }
    }
    std::vector<float> recording = signal.samples();
    recording.resize(recording.size() - static_cast<std::size_t>(number(0, 200)));
    recording.shrink_to_fit();
    TapeModel model;
    model.decode(recording);
    OpenTapeDataReader reader;
    reader.readPresetData(recording.data(), static_cast<int>(recording.size()));
    ASSERT_EQ(std::string(reader.bitStream, bitStoreCells), model.bits) << "seed " << seed;
    ASSERT_EQ(reader.bank(), model.bank()) << "seed " << seed;
    ASSERT_EQ(reader.readPos, static_cast<int>(recording.size())) << "seed " << seed;
    ASSERT_EQ(reader.lastSample, recording.back()) << "seed " << seed;
  }
}
