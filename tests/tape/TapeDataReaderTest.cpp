#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/Banks.h"
#include "support/TapeSimulator.h"
#include "tape/TapeDataReader.h"

namespace {

using Floats = std::numeric_limits<float>;

constexpr int dataBitCount = 7680;
constexpr int bitStoreCells = 7687;

// Runs of samples of one sign. A run that a flip opened gives one less as a half-period.
constexpr int shortRun = 12;
constexpr int longRun = 42;
constexpr int neitherRun = 27;

constexpr char unwritten = '?';
constexpr int notStored = 123;

/// A decoder whose memory is open to the tests.
class OpenReader : public TapeDataReader {
 public:
  using TapeDataReader::bitStream;
  using TapeDataReader::lastFlipCount;
  using TapeDataReader::lastSample;
  using TapeDataReader::lastWasShort;
  using TapeDataReader::numSamples;
  using TapeDataReader::presetData;
  using TapeDataReader::readPos;
  using TapeDataReader::samples;
  using TapeDataReader::shortCount;

  void play(std::vector<float>& recording) {
    samples = recording.data();
    numSamples = static_cast<float>(recording.size());
  }

  void decode(std::vector<float> recording) {
    readPresetData(recording.data(), static_cast<int>(recording.size()));
  }

  std::string bank() const {
    std::string bytes(960, '\xAA');
    getRawPresetBankBytes(bytes.data());
    return bytes;
  }
};

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

  friend std::ostream& operator<<(std::ostream& stream, const Signal& signal) {
    for (std::size_t i = 0; i < signal.lengths.size();) {
      std::size_t next = i;
      while (next < signal.lengths.size() && signal.lengths[next] == signal.lengths[i]) {
        ++next;
      }
      stream << next - i << " x " << signal.lengths[i] << ", ";
      i = next;
    }
    return stream;
  }

 private:
  std::vector<int> lengths;
};

/// The bits that a decode stores, in the order of their arrival.
std::string bitsStoredOf(const Signal& signal) {
  OpenReader reader;
  std::fill_n(reader.bitStream, bitStoreCells, unwritten);
  reader.decode(signal.samples());
  std::string bits;
  for (const char cell : reader.bitStream) {
    if (cell == unwritten) {
      break;
    }
    bits += static_cast<char>('0' + cell);
  }
  return bits;
}

std::string dataBitsStoredOf(const Signal& data) {
  return bitsStoredOf(Signal().leader().then(data));
}

std::string randomBits(std::uint32_t seed, std::size_t count) {
  std::mt19937 random(seed);
  std::string bits;
  while (bits.size() < count) {
    bits += (random() >> 16) % 2 == 0 ? '0' : '1';
  }
  return bits;
}

/// A new decoder where memory was not zero before.
OpenReader& readerInUsedMemory() {
  alignas(OpenReader) static unsigned char memory[sizeof(OpenReader)];
  for (volatile unsigned char& byte : memory) {
    byte = 0x55;
  }
  // Without parentheses, which would clear the memory before the constructor runs.
  return *new (memory) OpenReader;
}

/// The bank of the first 7,680 of `bits`.
std::string bankOf(const std::string& bits) {
  std::string bank;
  for (std::size_t i = 0; i < dataBitCount; i += 8) {
    bank += static_cast<char>(std::stoi(bits.substr(i, 8), nullptr, 2));
  }
  return bank;
}

std::string bankDecodedOf(const Signal& signal) {
  OpenReader reader;
  reader.decode(signal.samples());
  return reader.bank();
}

}  // namespace

// The sign of a sample

namespace {

struct Sign {
  float sample;
  int sign;
};

const Sign signs[] = {
    {0.0F, -1},
    {-0.0F, -1},
    {Floats::quiet_NaN(), -1},
    {0.5F, 1},
    {-0.5F, -1},
    {-Floats::quiet_NaN(), -1},
    {1.0F, 1},
    {-1.0F, -1},
    {Floats::denorm_min(), 1},
    {Floats::min(), 1},
    {-Floats::min(), -1},
    {-Floats::denorm_min(), -1},
    {Floats::max(), 1},
    {Floats::lowest(), -1},
    {Floats::infinity(), 1},
    {-Floats::infinity(), -1},
};

class TapeSignTest : public testing::TestWithParam<Sign> {};

}  // namespace

TEST_P(TapeSignTest, IsPositiveAboveZeroAlone) {
  EXPECT_EQ(TapeDataReader::getSign(GetParam().sample), GetParam().sign) << GetParam().sample;
}

TEST_P(TapeSignTest, DecidesWhetherASampleFlips) {
  for (const float before : {-1.0F, 1.0F}) {
    std::vector<float> recording{GetParam().sample};
    OpenReader reader;
    reader.play(recording);
    reader.lastSample = before;
    const bool flips = (before > 0.0F) != (GetParam().sign > 0);

    EXPECT_EQ(reader.readTillFlip(), flips ? 0 : -1) << GetParam().sample << " after " << before;
  }
}

TEST_P(TapeSignTest, DecidesWhetherTheNextSampleFlips) {
  for (const float next : {-1.0F, 1.0F}) {
    std::vector<float> recording{next};
    OpenReader reader;
    reader.play(recording);
    reader.lastSample = GetParam().sample;
    const bool flips = (next > 0.0F) != (GetParam().sign > 0);

    EXPECT_EQ(reader.readTillFlip(), flips ? 0 : -1) << next << " after " << GetParam().sample;
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, TapeSignTest, testing::ValuesIn(signs));

// Half-periods

namespace {

/// Everything that `readTillFlip` returns up to the end of `recording`, which is read from the
/// start after a sample of `before`.
std::vector<int> halfPeriodsOf(std::vector<float> recording, float before = 0.0F) {
  OpenReader reader;
  reader.play(recording);
  reader.lastSample = before;
  std::vector<int> halfPeriods;
  do {
    halfPeriods.push_back(reader.readTillFlip());
  } while (halfPeriods.back() != -1);
  return halfPeriods;
}

using HalfPeriodLengths = std::vector<int>;

}  // namespace

TEST(ReadTillFlip, CountsTheSamplesBeforeTheOneThatFlips) {
  EXPECT_EQ(halfPeriodsOf({1, 1, 1, -1, -1, 1, 1, 1}), (HalfPeriodLengths{0, 2, 1, -1}));
}

TEST(ReadTillFlip, GivesEveryRunLessOne) {
  const std::vector<float> recording =
      Signal().runs(1, 12).runs(1, 41).runs(1, 1).runs(1, 2).runs(1, 100).samples();

  EXPECT_EQ(halfPeriodsOf(recording), (HalfPeriodLengths{0, 11, 40, 0, 1, 99, -1}));
}

TEST(ReadTillFlip, GivesTheWholeFirstRunIfThatIsNegative) {
  EXPECT_EQ(halfPeriodsOf({-1, -1, -1, 1}), (HalfPeriodLengths{3, -1}));
}

TEST(ReadTillFlip, TakesUpTheRunOfTheSampleBefore) {
  EXPECT_EQ(halfPeriodsOf({1, 1, -1, -1, 1}, 1.0F), (HalfPeriodLengths{2, 1, -1}));
}

TEST(ReadTillFlip, NeverCountsTheLastRun) {
  EXPECT_EQ(halfPeriodsOf({-1, -1, -1, -1, -1}), (HalfPeriodLengths{-1}));
  EXPECT_EQ(halfPeriodsOf({1, 1, 1, 1, 1}), (HalfPeriodLengths{0, -1}));
  EXPECT_EQ(halfPeriodsOf({1, 1, 1, 1, 1}, 1.0F), (HalfPeriodLengths{-1}));
}

TEST(ReadTillFlip, IgnoresTheAmplitude) {
  EXPECT_EQ(halfPeriodsOf({1e-30F, 1.0F, 1e-30F, -1e-30F, -1.0F, 1e-30F}),
            (HalfPeriodLengths{0, 2, 1, -1}));
}

TEST(ReadTillFlip, StopsRightAfterTheFlip) {
  std::vector<float> recording{-1, -2, -3, 4, 5, -6};
  OpenReader reader;
  reader.play(recording);

  EXPECT_EQ(reader.readTillFlip(), 3);
  EXPECT_EQ(reader.readPos, 4);
  EXPECT_EQ(reader.lastSample, 4.0F);
  EXPECT_EQ(reader.readTillFlip(), 1);
  EXPECT_EQ(reader.readPos, 6);
  EXPECT_EQ(reader.lastSample, -6.0F);
}

TEST(ReadTillFlip, ReadsTheUnfinishedRunToItsEnd) {
  std::vector<float> recording{-1, -2, -3};
  OpenReader reader;
  reader.play(recording);

  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, 3);
  EXPECT_EQ(reader.lastSample, -3.0F);
  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, 3);
  EXPECT_EQ(reader.lastSample, -3.0F);
}

TEST(ReadTillFlip, ChangesNoCounter) {
  std::vector<float> recording = Signal().shorts(12).longs(4).samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastWasShort = 1;
  reader.shortCount = 7;
  reader.lastFlipCount = notStored;
  while (reader.readTillFlip() != -1) {
  }

  EXPECT_EQ(reader.lastWasShort, 1);
  EXPECT_EQ(reader.shortCount, 7);
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

// The end of the samples

namespace {

struct End {
  float numSamples;
  int samplesRead;
};

class TapeEndTest : public testing::TestWithParam<End> {
 protected:
  void SetUp() override {
    reader.play(recording);
    reader.numSamples = GetParam().numSamples;
  }

  std::vector<float> recording = std::vector<float>(8, -1.0F);
  OpenReader reader;
};

}  // namespace

TEST_P(TapeEndTest, IsWhereAHalfPeriodEndsForWantOfSamples) {
  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, GetParam().samplesRead) << "numSamples " << GetParam().numSamples;
}

TEST_P(TapeEndTest, IsWhereTheLeaderSearchEnds) {
  reader.readConsec(9);
  EXPECT_EQ(reader.readPos, GetParam().samplesRead) << "numSamples " << GetParam().numSamples;
}

TEST_P(TapeEndTest, IsWhereTheMarkerSearchEnds) {
  reader.waitforZero();
  EXPECT_EQ(reader.readPos, GetParam().samplesRead) << "numSamples " << GetParam().numSamples;
}

INSTANTIATE_TEST_SUITE_P(Counts, TapeEndTest,
                         testing::Values(End{0.0F, 0}, End{-0.0F, 0}, End{-1.0F, 0}, End{-1e30F, 0},
                                         End{-Floats::infinity(), 0}, End{Floats::quiet_NaN(), 0},
                                         End{Floats::denorm_min(), 1}, End{0.5F, 1}, End{1.0F, 1},
                                         End{1.5F, 2}, End{5.0F, 5}, End{5.5F, 6}, End{5.999F, 6},
                                         End{8.0F, 8}));

namespace {

constexpr int largestExactCount = 16777216;  // beyond it a float does not hold every integer

/// More samples of 0.0 than a float can count one by one.
class TapeEndBeyondExactCountsTest : public testing::Test {
 protected:
  static constexpr std::size_t size = largestExactCount + 8;

  struct Free {
    void operator()(float* memory) const { std::free(memory); }
  };

  std::unique_ptr<float, Free> buffer{static_cast<float*>(std::calloc(size, sizeof(float)))};
};

struct DistantEnd {
  int count;
  int end;
};

class TapeDistantEndTest : public TapeEndBeyondExactCountsTest,
                           public testing::WithParamInterface<DistantEnd> {
 protected:
  void SetUp() override {
    reader.samples = buffer.get();
    reader.numSamples = static_cast<float>(GetParam().count);
    reader.readPos = largestExactCount - 4;
  }

  OpenReader reader;
};

}  // namespace

TEST_P(TapeDistantEndTest, IsComparedInSinglePrecision) {
  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, GetParam().end) << "count " << GetParam().count;
}

TEST_P(TapeDistantEndTest, IsComparedInSinglePrecisionByTheLeaderSearch) {
  reader.readConsec(9);
  EXPECT_EQ(reader.readPos, GetParam().end) << "count " << GetParam().count;
}

TEST_P(TapeDistantEndTest, IsComparedInSinglePrecisionByTheMarkerSearch) {
  reader.waitforZero();
  EXPECT_EQ(reader.readPos, GetParam().end) << "count " << GetParam().count;
}

// 16,777,217 rounds down to 16,777,216, 16,777,219 up to 16,777,220 and 16,777,221 down to that.
INSTANTIATE_TEST_SUITE_P(
    Counts, TapeDistantEndTest,
    testing::Values(DistantEnd{16777215, 16777215}, DistantEnd{16777216, 16777216},
                    DistantEnd{16777217, 16777216}, DistantEnd{16777218, 16777218},
                    DistantEnd{16777219, 16777219}, DistantEnd{16777220, 16777219},
                    DistantEnd{16777221, 16777219}, DistantEnd{16777222, 16777222}));

TEST_F(TapeEndBeyondExactCountsTest, LeavesTheLastFlipBeforeItToBeFound) {
  buffer.get()[largestExactCount + 2] = 1.0F;
  OpenReader reader;
  reader.samples = buffer.get();
  reader.numSamples = static_cast<float>(largestExactCount + 4);
  reader.readPos = largestExactCount - 6;

  EXPECT_EQ(reader.readTillFlip(), 8);
  EXPECT_EQ(reader.readPos, largestExactCount + 3);
  EXPECT_EQ(reader.readTillFlip(), -1);
  EXPECT_EQ(reader.readPos, largestExactCount + 3);
}

// Half-periods against their rule

namespace {

/// The rule of `readTillFlip`, a sample at a time.
struct FlipModel {
  const float* samples = nullptr;
  float numSamples = 0.0F;
  int readPos = 0;
  float lastSample = 0.0F;

  static bool isPositive(float sample) { return sample > 0.0F; }

  int readTillFlip() {
    int count = 0;
    for (;;) {
      if (!(numSamples > static_cast<float>(readPos))) {
        return -1;
      }
      const float sample = samples[readPos];
      readPos = readPos + 1;
      if (isPositive(sample) == isPositive(lastSample)) {
        count = count + 1;
        lastSample = sample;
        continue;
      }
      lastSample = sample;
      return count;
    }
  }
};

/// Samples between two places where memory must not be touched.
class GuardedMemory {
 public:
  explicit GuardedMemory(std::size_t most)
      : size((most * sizeof(float) + pageSize - 1) / pageSize * pageSize) {
    void* mapped =
        mmap(nullptr, size + 2 * pageSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED ||
        mprotect(static_cast<char*>(mapped) + pageSize, size, PROT_READ | PROT_WRITE) != 0) {
      throw std::runtime_error("can't make guarded memory");
    }
    start = static_cast<char*>(mapped);
  }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;
  ~GuardedMemory() { munmap(start, size + 2 * pageSize); }

  /// A copy of `content` which ends where the memory ends.
  float* placeAtEnd(const std::vector<float>& content) {
    float* end = reinterpret_cast<float*>(start + pageSize + size);
    std::copy(content.begin(), content.end(), end - content.size());
    return end - content.size();
  }

  /// A copy of `content` which starts where the memory starts.
  float* placeAtStart(const std::vector<float>& content) {
    float* first = reinterpret_cast<float*>(start + pageSize);
    std::copy(content.begin(), content.end(), first);
    return first;
  }

 private:
  const std::size_t pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::size_t size;
  char* start = nullptr;
};

/// Samples that count as negative or positive, of all kinds.
class RandomSamples {
 public:
  explicit RandomSamples(std::uint32_t seed) : random(seed) {}

  /// A number from `lowest` to `highest`.
  int number(int lowest, int highest) {
    return lowest + static_cast<int>(random() % static_cast<unsigned>(highest - lowest + 1));
  }

  float sample(bool isPositive) {
    static const float positives[] = {0.25F, 1.0F, 1e-20F, Floats::denorm_min(),
                                      Floats::infinity()};
    static const float negatives[] = {-0.25F, -1.0F, -1e-20F, 0.0F, -0.0F, Floats::quiet_NaN()};
    return isPositive ? positives[number(0, 4)] : negatives[number(0, 5)];
  }

  /// Runs of 1 to 60 samples, `count` samples in all.
  std::vector<float> runs(std::size_t count) {
    std::vector<float> samples;
    bool isPositive = number(0, 1) == 1;
    while (samples.size() < count) {
      for (int left = number(1, 60); left > 0 && samples.size() < count; --left) {
        samples.push_back(sample(isPositive));
      }
      isPositive = !isPositive;
    }
    return samples;
  }

 private:
  std::mt19937 random;
};

std::string signsOf(const std::vector<float>& samples) {
  std::string text;
  for (const float sample : samples) {
    text += FlipModel::isPositive(sample) ? '+' : '-';
  }
  return text;
}

std::uint32_t bitsOf(float sample) { return std::bit_cast<std::uint32_t>(sample); }

/// Compares the decoder with the model, call by call until past the end. Says whether they agree.
bool expectFlipsOfModel(float* samples, float numSamples, float before) {
  OpenReader reader;
  reader.samples = samples;
  reader.numSamples = numSamples;
  reader.lastSample = before;
  FlipModel model{samples, numSamples, 0, before};
  for (int callsAtEnd = 0; callsAtEnd < 3;) {
    const int expected = model.readTillFlip();
    EXPECT_EQ(reader.readTillFlip(), expected);
    EXPECT_EQ(reader.readPos, model.readPos);
    EXPECT_EQ(bitsOf(reader.lastSample), bitsOf(model.lastSample));
    callsAtEnd += expected == -1 ? 1 : 0;
    if (testing::Test::HasFailure()) {
      return false;
    }
  }
  return true;
}

class ReadTillFlipModelTest : public testing::TestWithParam<int> {
 protected:
  RandomSamples random{static_cast<std::uint32_t>(GetParam())};
  GuardedMemory memory{256};
};

}  // namespace

TEST_P(ReadTillFlipModelTest, AgreesUpToTheEndOfMemory) {
  for (std::size_t length = 0; length <= 200; ++length) {
    const std::vector<float> samples = random.runs(length);
    const float before = random.sample(random.number(0, 1) == 1);

    ASSERT_TRUE(expectFlipsOfModel(memory.placeAtEnd(samples), static_cast<float>(length), before))
        << signsOf(samples) << " after " << before;
  }
}

TEST_P(ReadTillFlipModelTest, AgreesFromTheStartOfMemory) {
  for (std::size_t length = 0; length <= 200; ++length) {
    const std::vector<float> samples = random.runs(length);
    const float before = random.sample(random.number(0, 1) == 1);

    ASSERT_TRUE(
        expectFlipsOfModel(memory.placeAtStart(samples), static_cast<float>(length), before))
        << signsOf(samples) << " after " << before;
  }
}

TEST_P(ReadTillFlipModelTest, AgreesAtEveryAlignmentWithSamplesBehindTheEnd) {
  for (std::size_t length = 0; length <= 200; ++length) {
    for (std::size_t behind = 1; behind <= 16; ++behind) {
      const std::vector<float> samples = random.runs(length + behind);
      const float before = random.sample(random.number(0, 1) == 1);

      ASSERT_TRUE(
          expectFlipsOfModel(memory.placeAtEnd(samples), static_cast<float>(length), before))
          << signsOf(samples) << " after " << before << ", the last " << behind
          << " behind the end";
    }
  }
}

TEST_P(ReadTillFlipModelTest, AgreesOnAFractionOfASample) {
  for (std::size_t length = 1; length <= 200; ++length) {
    const std::vector<float> samples = random.runs(length);
    const float before = random.sample(random.number(0, 1) == 1);

    ASSERT_TRUE(
        expectFlipsOfModel(memory.placeAtEnd(samples), static_cast<float>(length) - 0.5F, before))
        << signsOf(samples) << " after " << before;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ReadTillFlipModelTest, testing::Range(1, 9));

// Classes of half-periods

namespace {

enum class RunClass { Neither, Short, Long };

struct ClassedRun {
  int length;
  RunClass runClass;
};

constexpr ClassedRun classedRuns[] = {
    {1, RunClass::Neither},   {4, RunClass::Neither},      {5, RunClass::Short},
    {12, RunClass::Short},    {19, RunClass::Short},       {20, RunClass::Neither},
    {27, RunClass::Neither},  {34, RunClass::Neither},     {35, RunClass::Long},
    {41, RunClass::Long},     {49, RunClass::Long},        {50, RunClass::Neither},
    {100, RunClass::Neither}, {100000, RunClass::Neither},
};

class TapeRunClassTest : public testing::TestWithParam<ClassedRun> {
 protected:
  template <typename Value>
  Value of(Value ofShort, Value ofNeither, Value ofLong) const {
    switch (GetParam().runClass) {
      case RunClass::Short:
        return ofShort;
      case RunClass::Long:
        return ofLong;
      case RunClass::Neither:
        break;
    }
    return ofNeither;
  }

  /// The number of samples that the search for `ones` + 1 one bits reads of `signal`.
  static int leaderSearch(const Signal& signal, int ones) {
    std::vector<float> recording = signal.samples();
    OpenReader reader;
    reader.play(recording);
    reader.readConsec(ones);
    return reader.readPos;
  }

  static int markerSearch(const Signal& signal) {
    std::vector<float> recording = signal.samples();
    OpenReader reader;
    reader.play(recording);
    reader.waitforZero();
    return reader.readPos;
  }

  const int length = GetParam().length;
};

}  // namespace

TEST_P(TapeRunClassTest, CompletesOrDropsAOneBitOfTheLeader) {
  const Signal signal = Signal().shorts(119).runs(1, length).shorts(24);

  EXPECT_EQ(leaderSearch(signal, 9), signal.samplesToEndOf(of(120, 121, 119 + 1 + 12))) << length;
}

TEST_P(TapeRunClassTest, CompletesAZeroBitInTheLeader) {
  const Signal signal = Signal().ones(9).runs(4, length).ones(12);

  EXPECT_EQ(leaderSearch(signal, 9), signal.samplesToEndOf(of(120, 108 + 4 + 12, 108 + 4 + 120)))
      << length;
}

TEST_P(TapeRunClassTest, CompletesOrDropsTheStartMarker) {
  const Signal signal = Signal().longs(3).runs(1, length).longs(8);

  EXPECT_EQ(markerSearch(signal), signal.samplesToEndOf(of(3 + 1 + 4, 5, 4))) << length;
}

TEST_P(TapeRunClassTest, CompletesOrDropsDataBits) {
  const Signal data =
      Signal().shorts(11).runs(1, length).shorts(12).longs(4 + 3).runs(1, length).longs(4).ones(1);

  EXPECT_EQ(dataBitsStoredOf(data), of("11001", "1001", "10001")) << length;
}

INSTANTIATE_TEST_SUITE_P(Lengths, TapeRunClassTest, testing::ValuesIn(classedRuns),
                         [](const auto& row) { return std::to_string(row.param.length); });

// The leader

namespace {

struct Search {
  const char* name;
  Signal signal;
  int runsRead;
};

std::ostream& operator<<(std::ostream& stream, const Search& search) {
  return stream << search.signal;
}

class TapeLeaderTest : public testing::TestWithParam<Search> {};

}  // namespace

TEST_P(TapeLeaderTest, EndsWithItsTenthOneBit) {
  const Signal signal = Signal(GetParam().signal).ones(30);
  std::vector<float> recording = signal.samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastFlipCount = notStored;

  reader.readConsec(9);

  EXPECT_EQ(reader.readPos, signal.samplesToEndOf(GetParam().runsRead)) << signal;
  EXPECT_EQ(reader.shortCount, 0);
  EXPECT_EQ(reader.lastWasShort, 1);
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

INSTANTIATE_TEST_SUITE_P(
    Leaders, TapeLeaderTest,
    testing::Values(
        Search{"TenOnes", Signal().ones(10), 120},
        Search{"MoreOnesThanNeeded", Signal().ones(40), 120},
        Search{"NoiseBefore", Signal().runs(3, neitherRun).runs(5, 2).ones(10), 128},
        Search{"LongsBefore", Signal().longs(3).ones(10), 123},
        Search{"ZerosBefore", Signal().zeros(3).ones(10), 132},
        Search{"OneLongInside", Signal().ones(5).shorts(6).longs(1).ones(5), 60 + 6 + 1 + 60},
        Search{"TwoLongsInside", Signal().ones(5).shorts(6).longs(2).ones(5), 60 + 6 + 2 + 60},
        Search{"ThreeLongsInside", Signal().ones(5).shorts(6).longs(3).ones(5), 60 + 6 + 3 + 60},
        Search{"ZeroInside", Signal().ones(5).zeros(1).ones(10), 60 + 4 + 120},
        Search{"ZeroAfterNineOnes", Signal().ones(9).zeros(1).ones(10), 108 + 4 + 120},
        Search{"FiveLongsInside", Signal().ones(5).longs(5).ones(10), 60 + 5 + 120},
        Search{"SevenLongsInside", Signal().ones(5).longs(7).ones(10), 60 + 7 + 120},
        Search{"EightLongsInside", Signal().ones(5).longs(8).ones(10), 60 + 8 + 120},
        Search{"TwentyLongsInside", Signal().ones(5).longs(20).ones(10), 60 + 20 + 120},
        Search{"LongsPartedByAShort", Signal().ones(5).longs(3).shorts(1).longs(3).ones(5),
               60 + 3 + 1 + 3 + 60},
        Search{"LongsPartedByAOne", Signal().ones(4).longs(3).ones(1).longs(3).ones(5),
               48 + 3 + 12 + 3 + 60},
        Search{"LongsPartedByNoise",
               Signal().ones(5).longs(3).runs(1, neitherRun).longs(1).ones(10),
               60 + 3 + 1 + 1 + 120},
        Search{"ManyLongsInside",
               Signal().ones(1).longs(1).ones(1).longs(2).ones(1).longs(3).ones(7),
               12 + 1 + 12 + 2 + 12 + 3 + 84},
        Search{"NoiseInsideAOne", Signal().shorts(6).runs(2, neitherRun).shorts(6).ones(9), 122},
        Search{"GlitchInsideAOne", Signal().shorts(11).runs(1, 2).shorts(1).ones(9), 121},
        Search{"TwoZerosInside", Signal().ones(9).zeros(1).ones(9).zeros(1).ones(10),
               108 + 4 + 108 + 4 + 120},
        Search{"OnesCutShort", Signal().shorts(11).longs(1).shorts(11).longs(1).ones(10),
               12 + 12 + 120}),
    [](const auto& row) { return row.param.name; });

namespace {

class TapeLeaderLengthTest : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(TapeLeaderLengthTest, IsOneMoreThanAskedFor) {
  const Signal signal = Signal().ones(30);
  std::vector<float> recording = signal.samples();
  OpenReader reader;
  reader.play(recording);

  reader.readConsec(GetParam());

  EXPECT_EQ(reader.readPos, signal.samplesToEndOf(12 * (GetParam() + 1)));
}

INSTANTIATE_TEST_SUITE_P(Lengths, TapeLeaderLengthTest, testing::Values(0, 1, 4, 8, 9, 10, 28));

TEST(TapeLeader, OfNoBitsReadsNothing) {
  std::vector<float> recording = Signal().ones(2).samples();
  OpenReader reader;
  reader.play(recording);

  reader.readConsec(-1);

  EXPECT_EQ(reader.readPos, 0);
}

TEST(TapeLeader, GoesOnWithAGroupOfShortsBegunBefore) {
  const Signal signal = Signal().shorts(30);
  std::vector<float> recording = signal.samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastWasShort = 1;
  reader.shortCount = 11;

  reader.readConsec(1);

  EXPECT_EQ(reader.readPos, signal.samplesToEndOf(1 + 12));
}

TEST(TapeLeader, BeginsAGroupOfShortsAfterALong) {
  const Signal signal = Signal().shorts(30);
  std::vector<float> recording = signal.samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastWasShort = 0;
  reader.shortCount = 11;

  reader.readConsec(0);

  EXPECT_EQ(reader.readPos, signal.samplesToEndOf(12));
}

TEST(TapeLeader, IsSearchedToTheEndOfTheSamples) {
  std::vector<float> recording = Signal().ones(9).shorts(11).samples();
  OpenReader reader;
  reader.play(recording);

  reader.readConsec(9);

  EXPECT_EQ(reader.readPos, static_cast<int>(recording.size()));
  EXPECT_EQ(reader.shortCount, 11);
}

TEST(TapeLeader, LeavesTheClassOfALongBehind) {
  std::vector<float> recording = Signal().shorts(3).longs(2).samples();
  OpenReader reader;
  reader.play(recording);

  reader.readConsec(9);

  EXPECT_EQ(reader.lastWasShort, 0);
  EXPECT_EQ(reader.shortCount, 3);
}

// The start marker

namespace {

class TapeMarkerTest : public testing::TestWithParam<Search> {};

}  // namespace

TEST_P(TapeMarkerTest, IsTheFirstCompleteZeroBit) {
  const Signal signal = Signal(GetParam().signal).zeros(3).ones(3);
  std::vector<float> recording = signal.samples();
  OpenReader reader;
  reader.play(recording);

  reader.waitforZero();

  EXPECT_EQ(reader.readPos, signal.samplesToEndOf(GetParam().runsRead)) << signal;
  EXPECT_EQ(reader.lastFlipCount, longRun - 1);
  EXPECT_EQ(reader.lastWasShort, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Markers, TapeMarkerTest,
    testing::Values(
        Search{"Zero", Signal().zeros(1), 4}, Search{"TwoZeros", Signal().zeros(2), 4},
        Search{"OnesBefore", Signal().ones(5).zeros(1), 64},
        Search{"PartOfAOneBefore", Signal().shorts(7).zeros(1), 11},
        Search{"ThreeLongsBefore", Signal().longs(3).shorts(1).zeros(1), 8},
        Search{"ThreeLongsAndAOneBefore", Signal().longs(3).ones(1).zeros(1), 19},
        Search{"LongsOneByOne",
               Signal().longs(1).shorts(1).longs(1).shorts(1).longs(1).shorts(1).zeros(1), 10},
        Search{"NoiseInside", Signal().longs(2).runs(3, neitherRun).longs(2), 7},
        Search{"NoiseBefore", Signal().runs(4, neitherRun).zeros(1), 8}),
    [](const auto& row) { return row.param.name; });

TEST(TapeMarker, RemembersItsLastHalfPeriod) {
  std::vector<float> recording =
      Signal().runs(1, 36).runs(1, 37).runs(1, 38).runs(1, 39).ones(2).samples();
  OpenReader reader;
  reader.play(recording);

  reader.waitforZero();

  EXPECT_EQ(reader.lastFlipCount, 38);
}

TEST(TapeMarker, IsSearchedToTheEndOfTheSamples) {
  std::vector<float> recording = Signal().longs(3).samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastFlipCount = notStored;

  reader.waitforZero();

  EXPECT_EQ(reader.readPos, static_cast<int>(recording.size()));
  EXPECT_EQ(reader.lastFlipCount, longRun - 1);
}

TEST(TapeMarker, RemembersTheEndOfTheSamples) {
  std::vector<float> recording = Signal().longs(3).samples();
  recording.resize(recording.size() + 20, recording.back());
  OpenReader reader;
  reader.play(recording);

  reader.waitforZero();

  EXPECT_EQ(reader.lastFlipCount, -1);
}

TEST(TapeMarker, IsNotSearchedAtTheEndOfTheSamples) {
  std::vector<float> recording = Signal().zeros(1).samples();
  OpenReader reader;
  reader.play(recording);
  reader.readPos = static_cast<int>(recording.size());
  reader.lastFlipCount = notStored;

  reader.waitforZero();

  EXPECT_EQ(reader.readPos, static_cast<int>(recording.size()));
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

namespace {

struct ShortGroup {
  int lastWasShort;  // before
  int shortCount;    // before
  int shorts;
  int expected;  // short count after a marker behind the shorts
};

class TapeMarkerShortsTest : public testing::TestWithParam<ShortGroup> {};

}  // namespace

TEST_P(TapeMarkerShortsTest, AreCountedButStoredNowhere) {
  const ShortGroup& group = GetParam();
  std::vector<float> recording = Signal().shorts(group.shorts).zeros(1).samples();
  OpenReader reader;
  reader.play(recording);
  reader.lastWasShort = group.lastWasShort;
  reader.shortCount = group.shortCount;
  std::fill_n(reader.bitStream, bitStoreCells, unwritten);

  reader.waitforZero();

  EXPECT_EQ(reader.shortCount, group.expected)
      << group.shorts << " shorts after " << group.shortCount << ", lastWasShort "
      << group.lastWasShort;
  EXPECT_EQ(std::string(reader.bitStream, bitStoreCells), std::string(bitStoreCells, unwritten));
}

INSTANTIATE_TEST_SUITE_P(Groups, TapeMarkerShortsTest,
                         testing::Values(ShortGroup{0, 0, 5, 5}, ShortGroup{0, 0, 11, 11},
                                         ShortGroup{0, 0, 12, 0}, ShortGroup{0, 0, 13, 1},
                                         ShortGroup{0, 0, 29, 5}, ShortGroup{1, 7, 3, 10},
                                         ShortGroup{1, 7, 5, 0}, ShortGroup{1, 7, 8, 3},
                                         ShortGroup{0, 7, 3, 3}, ShortGroup{0, 7, 0, 7},
                                         ShortGroup{1, 7, 0, 7}));

// Data bits

namespace {

struct DataBits {
  const char* name;
  Signal data;
  const char* bits;
};

std::ostream& operator<<(std::ostream& stream, const DataBits& dataBits) {
  return stream << dataBits.data;
}

class TapeDataBitsTest : public testing::TestWithParam<DataBits> {};

}  // namespace

TEST_P(TapeDataBitsTest, AreTheCompleteGroups) {
  EXPECT_EQ(dataBitsStoredOf(GetParam().data), GetParam().bits) << GetParam().data;
}

INSTANTIATE_TEST_SUITE_P(
    Groups, TapeDataBitsTest,
    testing::Values(
        DataBits{"Nothing", Signal(), ""},  //
        DataBits{"ThreeLongs", Signal().longs(3), ""},
        DataBits{"FourLongs", Signal().longs(4), "0"},
        DataBits{"SevenLongs", Signal().longs(7), "0"},
        DataBits{"EightLongs", Signal().longs(8), "00"},
        DataBits{"ElevenShorts", Signal().shorts(11), ""},
        DataBits{"TwelveShorts", Signal().shorts(12), "1"},
        DataBits{"TwentyThreeShorts", Signal().shorts(23), "1"},
        DataBits{"TwentyFourShorts", Signal().shorts(24), "11"},
        DataBits{"LongsPartedByAShort", Signal().longs(3).shorts(1).longs(3), ""},
        DataBits{"LongsPartedByAOne", Signal().longs(3).ones(1).longs(1), "1"},
        DataBits{"ZeroAfterLongsAndAOne", Signal().longs(3).ones(1).longs(4), "10"},
        DataBits{"ShortsPartedByALong", Signal().shorts(11).longs(1).shorts(11), ""},
        DataBits{"ShortsPartedByAZero", Signal().shorts(11).zeros(1).shorts(1), "0"},
        DataBits{"OneAfterShortsAndAZero", Signal().shorts(11).zeros(1).ones(1), "01"},
        DataBits{"NoiseInsideAZero", Signal().longs(2).runs(1, neitherRun).longs(2), "0"},
        DataBits{"NoiseInsideAOne", Signal().shorts(6).runs(3, neitherRun).shorts(6), "1"},
        DataBits{"GapInsideAOne", Signal().shorts(11).runs(1, 5000).shorts(1), "1"},
        DataBits{"GlitchesInsideBits",
                 Signal().longs(3).runs(2, 2).longs(1).shorts(3).runs(2, 1).shorts(9), "01"},
        DataBits{"NoiseBetweenBits", Signal().zeros(1).runs(2, neitherRun).ones(1), "01"},
        DataBits{"NoiseBetweenPartsOfBits",
                 Signal().shorts(6).runs(1, neitherRun).longs(4).runs(1, neitherRun).shorts(6),
                 "0"},
        DataBits{"AByteAndABit",
                 Signal().longs(4).shorts(12).shorts(12).longs(4).shorts(4 * 12).longs(4),
                 "011011110"}),
    [](const auto& row) { return row.param.name; });

TEST(TapeDataBits, BeginWithTheHalfPeriodAfterTheMarker) {
  EXPECT_EQ(bitsStoredOf(Signal().ones(10).zeros(1).bits("0110")), "0110");
}

TEST(TapeDataBits, DoNotIncludeTheOnesBeforeTheMarker) {
  EXPECT_EQ(bitsStoredOf(Signal().ones(17).zeros(1).bits("100")), "100");
}

TEST(TapeDataBits, DoNotIncludeTheShortsBeforeTheMarker) {
  EXPECT_EQ(bitsStoredOf(Signal().ones(10).shorts(5).zeros(1).shorts(7).zeros(1)), "0");
}

TEST(TapeDataBits, DoNotIncludeALeaderOfNineOnes) {
  EXPECT_EQ(bitsStoredOf(Signal().ones(9).zeros(1).bits("1").zeros(1).bits("01")), "");
}

TEST(TapeDataBits, NeedAMarker) { EXPECT_EQ(bitsStoredOf(Signal().ones(50).longs(3)), ""); }

TEST(TapeDataBits, FollowTheMarkerThatFollowsPartOfOne) {
  EXPECT_EQ(bitsStoredOf(Signal().ones(10).longs(3).ones(1).zeros(1).bits("10")), "10");
}

TEST(TapeDataBits, AreTheSameUpsideDown) {
  std::vector<float> recording = Signal().leader().bits("01101111").samples();
  for (float& sample : recording) {
    sample = -sample;
  }
  OpenReader reader;
  reader.decode(recording);

  EXPECT_EQ(reader.bank(), '\x6F' + std::string(959, '\0'));
}

TEST(TapeDataBits, FormBytesFromTheMostSignificantBitOn) {
  const std::string bank =
      bankDecodedOf(Signal().leader().bits("01101111"
                                           "1"));

  EXPECT_EQ(bank, "\x6F\x80" + std::string(958, '\0'));
}

TEST(TapeDataBits, OfACleanRecordingAreTheBank) {
  const std::string bank = bytesOf(randomBank(1));
  for (const WaveShape shape : {WaveShape::Sine, WaveShape::Square}) {
    OpenReader reader;
    testing::internal::CaptureStdout();

    reader.decode(recordTape(dumpSignal(bank), {.shape = shape}));

    EXPECT_EQ(reader.bank(), bank);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  }
}

TEST(TapeDataBits, BehindTheDataDoNotChangeTheBank) {
  const std::string bits = randomBits(2, dataBitCount);

  EXPECT_EQ(bankDecodedOf(Signal().leader().bits(bits)), bankOf(bits));
  EXPECT_EQ(bankDecodedOf(Signal().leader().bits(bits).ones(20)), bankOf(bits));
  EXPECT_EQ(bankDecodedOf(Signal().leader().bits(bits).leader().bits(randomBits(3, dataBitCount))),
            bankOf(bits));
}

TEST(TapeDataBits, MoveUpByOneIfAZeroIsLost) {
  std::string bits = randomBits(4, dataBitCount);
  bits.replace(1000, 3, "101");
  const std::string before = bits.substr(0, 1001);
  const std::string after = bits.substr(1002);

  const std::string bank =
      bankDecodedOf(Signal().leader().bits(before).longs(3).bits(after).bits("1"));

  EXPECT_EQ(bank, bankOf(before + after + "1"));
}

// The bit store

TEST(TapeBitStore, HoldsSevenBitsMoreThanTheBank) {
  const std::string bits = randomBits(5, 7690);
  OpenReader reader;

  reader.decode(Signal().leader().bits(bits).samples());

  for (std::size_t i = 0; i < bitStoreCells; ++i) {
    ASSERT_EQ(reader.bitStream[i], bits[i] - '0') << "bit " << i;
  }
  EXPECT_EQ(reader.bank(), bankOf(bits));
}

TEST(TapeBitStore, DropsWhatComesWhenItIsFull) {
  struct {
    OpenReader reader;
    char behind[30000];
  } memory;
  std::fill(std::begin(memory.behind), std::end(memory.behind), unwritten);
  const std::string bits = randomBits(6, 40000);

  memory.reader.decode(Signal().leader().bits(bits).samples());

  EXPECT_EQ(memory.reader.bank(), bankOf(bits));
  EXPECT_EQ(std::string(std::begin(memory.behind), std::end(memory.behind)),
            std::string(30000, unwritten));
}

TEST(TapeBitStore, KeepsTheBitsThatASecondDecodeDoesNotReach) {
  const std::string first = randomBits(7, dataBitCount);
  const std::string second = randomBits(8, 1001);
  OpenReader reader;
  reader.decode(Signal().leader().bits(first).samples());

  reader.decode(Signal().leader().bits(second).samples());

  EXPECT_EQ(reader.bank(), bankOf(second + first.substr(1001)));
}

TEST(TapeBitStore, KeepsAllBitsWhereASecondDecodeFindsNone) {
  const std::string bits = randomBits(9, dataBitCount);
  OpenReader reader;
  reader.decode(Signal().leader().bits(bits).samples());

  reader.decode(Signal().ones(50).samples());
  EXPECT_EQ(reader.bank(), bankOf(bits));
  reader.decode(std::vector<float>(50000, 0.0F));
  EXPECT_EQ(reader.bank(), bankOf(bits));
  reader.decode({});
  EXPECT_EQ(reader.bank(), bankOf(bits));
}

TEST(TapeBitStore, IsRegroupedByItsLowestBits) {
  const std::string bits = randomBits(10, dataBitCount);
  OpenReader reader;
  for (std::size_t i = 0; i < dataBitCount; ++i) {
    const char noise = static_cast<char>(i * 2);
    reader.bitStream[i] = static_cast<char>((noise & 0xFE) | (bits[i] - '0'));
  }
  std::fill_n(&reader.presetData[0][0][0], dataBitCount, unwritten);

  reader.decode({});

  for (std::size_t i = 0; i < dataBitCount; ++i) {
    ASSERT_EQ(reader.presetData[i / 192][i % 192 / 8][i % 8], bits[i] - '0') << "bit " << i;
  }
  EXPECT_EQ(reader.bank(), bankOf(bits));
}

TEST(TapeBitStore, IsZeroAtFirst) {
  const OpenReader& reader = readerInUsedMemory();

  EXPECT_EQ(std::string(reader.bitStream, bitStoreCells), std::string(bitStoreCells, '\0'));
  EXPECT_EQ(reader.bank(), std::string(960, '\0'));
}

TEST(TapeBitStore, GivesZerosForWhatAShortRecordingLacks) {
  OpenReader& reader = readerInUsedMemory();

  reader.decode(Signal()
                    .leader()
                    .bits("11111111"
                          "1")
                    .samples());

  EXPECT_EQ(reader.bank(), "\xFF\x80" + std::string(958, '\0'));
}

TEST(TapeDataReader, HasNothingToReadAtFirst) {
  const OpenReader& reader = readerInUsedMemory();

  EXPECT_EQ(reader.samples, nullptr);
  EXPECT_EQ(reader.numSamples, 0.0F);
  EXPECT_EQ(reader.readPos, 0);
  EXPECT_EQ(reader.lastWasShort, 0);
  EXPECT_EQ(reader.shortCount, 0);
  EXPECT_EQ(reader.lastFlipCount, 0);
  EXPECT_EQ(bitsOf(reader.lastSample), bitsOf(0.0F));
}

// A whole decode

namespace {

class TapeNoSamplesTest : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(TapeNoSamplesTest, DecodeToNothingAndBeginAnew) {
  OpenReader reader;
  float sample = 1.0F;
  reader.samples = &sample;
  reader.numSamples = 1.0F;
  reader.readPos = 17;
  reader.lastWasShort = 1;
  reader.shortCount = 11;
  reader.lastSample = 1.0F;
  reader.lastFlipCount = notStored;

  reader.readPresetData(nullptr, GetParam());

  EXPECT_EQ(reader.bank(), std::string(960, '\0'));
  EXPECT_EQ(reader.samples, nullptr);
  EXPECT_EQ(reader.numSamples, static_cast<float>(GetParam()));
  EXPECT_EQ(reader.readPos, 0);
  EXPECT_EQ(reader.lastWasShort, 0);
  EXPECT_EQ(reader.shortCount, 0);
  EXPECT_EQ(bitsOf(reader.lastSample), bitsOf(0.0F));
  EXPECT_EQ(reader.lastFlipCount, notStored);
}

INSTANTIATE_TEST_SUITE_P(Counts, TapeNoSamplesTest, testing::Values(0, -1, -1000, INT_MIN));

TEST(TapeDecode, BeginsWithANegativeSampleBeforeTheFirst) {
  // A negative first run of four samples is a short half-period, the 120th of the leader. After a
  // positive sample it would be none, and the leader one half-period too short.
  std::vector<float> recording(4, -0.5F);
  const std::vector<float> rest = Signal().shorts(119).zeros(1).bits("1101").samples();
  recording.insert(recording.end(), rest.begin(), rest.end());
  OpenReader reader;
  reader.lastSample = 1.0F;

  reader.decode(recording);

  EXPECT_EQ(reader.bank(), '\xD0' + std::string(959, '\0'));
}

TEST(TapeDecode, DoesNotFillItsFirstGroupFromTheOneBefore) {
  OpenReader reader;
  reader.decode(Signal().leader().shorts(11).samples());

  reader.decode(Signal().shorts(109).zeros(1).bits("1111").samples());

  EXPECT_EQ(reader.bank(), std::string(960, '\0'));
}

TEST(TapeDecode, RemembersTheLastHalfPeriod) {
  OpenReader reader;

  reader.decode(Signal().leader().runs(1, 10).runs(1, 30).samples());
  EXPECT_EQ(reader.lastFlipCount, 29);

  reader.decode(Signal().leader().runs(1, 10).runs(2, 1).samples());
  EXPECT_EQ(reader.lastFlipCount, 0);
}

TEST(TapeDecode, RemembersTheEndOfTheSamplesInTheMiddleOfARun) {
  std::vector<float> recording = Signal().leader().runs(1, 10).samples();
  recording.push_back(recording.back());
  OpenReader reader;

  reader.decode(recording);

  EXPECT_EQ(reader.lastFlipCount, -1);
  EXPECT_EQ(reader.readPos, static_cast<int>(recording.size()));
}

TEST(TapeDecode, EndsBeforeTheLastRunIsClosed) {
  std::vector<float> recording = Signal().leader().bits("11111111").samples();
  OpenReader closed;
  OpenReader unclosed;

  closed.readPresetData(recording.data(), static_cast<int>(recording.size()));
  unclosed.readPresetData(recording.data(), static_cast<int>(recording.size()) - 1);

  EXPECT_EQ(closed.bank(), '\xFF' + std::string(959, '\0'));
  EXPECT_EQ(unclosed.bank(), '\xFE' + std::string(959, '\0'));
}

TEST(TapeDecode, ReadsNoSampleBehindTheCount) {
  std::vector<float> recording = Signal().leader().bits("111").samples();
  const auto count = static_cast<int>(recording.size());
  const std::vector<float> behind = Signal().bits("11111").samples();
  recording.insert(recording.end(), behind.begin(), behind.end());
  OpenReader reader;

  reader.readPresetData(recording.data(), count);

  EXPECT_EQ(reader.bank(), '\xE0' + std::string(959, '\0'));
  EXPECT_EQ(reader.readPos, count);
}

TEST(TapeDecode, ReadsUpToTheEndOfMemoryAndNoFurther) {
  const std::vector<float> recording = Signal().leader().bits("10010110").samples();
  GuardedMemory memory(recording.size());
  OpenReader reader;

  reader.readPresetData(memory.placeAtEnd(recording), static_cast<int>(recording.size()));

  EXPECT_EQ(reader.bank(), '\x96' + std::string(959, '\0'));
}

TEST(TapeDecode, LeavesTheSamplesAsTheyAre) {
  const std::vector<float> recording = Signal().leader().bits("10010110").samples();
  std::vector<float> decoded = recording;
  OpenReader reader;

  reader.readPresetData(decoded.data(), static_cast<int>(decoded.size()));

  EXPECT_EQ(decoded, recording);
  EXPECT_EQ(reader.samples, decoded.data());
  EXPECT_EQ(reader.numSamples, static_cast<float>(decoded.size()));
}

// A whole decode against its rules

namespace {

/// The rules of the decode, a half-period at a time, with a list for the bit store.
struct DecodeModel : FlipModel {
  int lastWasShort = 0;
  int shortCount = 0;
  int lastFlipCount = notStored;
  std::string bits;

  static bool isLong(int c) { return 34 <= c && c <= 48; }
  static bool isShort(int c) { return 4 <= c && c <= 18; }
  bool hasSamples() const { return numSamples > static_cast<float>(readPos); }

  void countLong(int& longCount) {
    longCount = lastWasShort != 0 ? 1 : longCount + 1;
    lastWasShort = 0;
  }

  /// Whether a one bit is complete.
  bool countShort() {
    shortCount = lastWasShort == 1 ? shortCount + 1 : 1;
    lastWasShort = 1;
    if (shortCount < 12) {
      return false;
    }
    shortCount = 0;
    return true;
  }

  void skipLeader() {
    int ones = 0;
    int longCount = 0;
    while (hasSamples() && ones < 10) {
      const int c = readTillFlip();
      if (isLong(c)) {
        countLong(longCount);
        ones = longCount == 4 ? 0 : ones;
      } else if (isShort(c) && countShort()) {
        ++ones;
      }
    }
  }

  void skipMarker() {
    int longCount = 0;
    while (hasSamples() && longCount < 4) {
      lastFlipCount = readTillFlip();
      if (isLong(lastFlipCount)) {
        countLong(longCount);
      } else if (isShort(lastFlipCount)) {
        countShort();
      }
    }
  }

  void decode(const float* recording, int count) {
    samples = recording;
    numSamples = static_cast<float>(count);
    skipLeader();
    skipMarker();
    int longCount = 0;
    while (readPos < count) {
      lastFlipCount = readTillFlip();
      if (isLong(lastFlipCount)) {
        countLong(longCount);
        if (longCount == 4) {
          bits += '0';
          longCount = 0;
        }
      } else if (isShort(lastFlipCount) && countShort()) {
        bits += '1';
      }
    }
  }
};

/// A damaged recording: bits of changing speed, groups cut short, glitches and gaps.
std::vector<float> damagedRecording(RandomSamples& random) {
  std::vector<int> lengths;
  const auto add = [&](int count, int lowest, int highest) {
    for (int i = 0; i < count; ++i) {
      lengths.push_back(random.number(lowest, highest));
    }
  };
  add(120 + random.number(0, 3), 5, 19);
  for (int piece = 0; piece < 120; ++piece) {
    switch (random.number(0, 9)) {
      case 0:
        add(random.number(1, 4), 1, 4);
        break;
      case 1:
        add(random.number(1, 3), 20, 34);
        break;
      case 2:
        add(1, 50, 200);
        break;
      case 3:
        add(random.number(1, 11), 5, 19);
        break;
      case 4:
        add(random.number(1, 3), 35, 49);
        break;
      case 5:
      case 6:
        add(4 * random.number(1, 3), 35, 49);
        break;
      case 7:
        add(random.number(1, 40), 4, 20);
        break;
      case 8:
        add(random.number(1, 8), 34, 50);
        break;
      default:
        add(12 * random.number(1, 3), 5, 19);
        break;
    }
  }
  std::vector<float> recording;
  bool isPositive = random.number(0, 1) == 1;
  for (const int length : lengths) {
    for (int i = 0; i < length; ++i) {
      recording.push_back(random.sample(isPositive));
    }
    isPositive = !isPositive;
  }
  return recording;
}

class TapeDecodeModelTest : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(TapeDecodeModelTest, AgreesOnADamagedRecording) {
  RandomSamples random(static_cast<std::uint32_t>(GetParam()));
  std::vector<float> recording = damagedRecording(random);
  recording.resize(recording.size() - static_cast<std::size_t>(random.number(0, 200)));
  GuardedMemory memory(recording.size());
  float* samples = memory.placeAtEnd(recording);
  const auto count = static_cast<int>(recording.size());
  DecodeModel model;
  model.decode(samples, count);
  OpenReader reader;
  reader.lastFlipCount = notStored;
  std::fill_n(reader.bitStream, bitStoreCells, unwritten);

  reader.readPresetData(samples, count);

  std::string stored(reader.bitStream, model.bits.size() + 1);
  for (char& cell : stored) {
    cell = cell == unwritten ? '?' : static_cast<char>('0' + cell);
  }
  EXPECT_EQ(stored, model.bits + '?');
  EXPECT_EQ(reader.readPos, model.readPos);
  EXPECT_EQ(reader.lastWasShort, model.lastWasShort);
  EXPECT_EQ(reader.shortCount, model.shortCount);
  EXPECT_EQ(reader.lastFlipCount, model.lastFlipCount);
  EXPECT_EQ(bitsOf(reader.lastSample), bitsOf(model.lastSample));
}

INSTANTIATE_TEST_SUITE_P(Seeds, TapeDecodeModelTest, testing::Range(1, 201));

// Decodes that never end

namespace {

/// Decodes `count` samples of 0.0 and ends the process: with status 0 when the decode is done, by
/// SIGVTALRM when it has taken `seconds` of processor time.
[[noreturn]] void decodeZeros(int count, int seconds) {
  const itimerval limit{{0, 0}, {seconds, 0}};
  setitimer(ITIMER_VIRTUAL, &limit, nullptr);
  auto* zeros = static_cast<float*>(std::calloc(static_cast<std::size_t>(count), sizeof(float)));
  TapeDataReader reader;
  reader.readPresetData(zeros, count);
  _exit(0);
}

class TapeEndlessDecodeDeathTest : public testing::TestWithParam<int> {};
class TapeLongDecodeDeathTest : public testing::TestWithParam<int> {};

}  // namespace

// The decodes that end take a fifth of a second without optimisation.
TEST_P(TapeEndlessDecodeDeathTest, NeverEndsWhereTheFloatCountIsReachedFirst) {
  EXPECT_EXIT(decodeZeros(GetParam(), 1), testing::KilledBySignal(SIGVTALRM), "");
}

INSTANTIATE_TEST_SUITE_P(Counts, TapeEndlessDecodeDeathTest, testing::Values(16777217, 16777220));

TEST_P(TapeLongDecodeDeathTest, EndsWhereTheFloatCountIsNotReachedFirst) {
  EXPECT_EXIT(decodeZeros(GetParam(), 10), testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Counts, TapeLongDecodeDeathTest,
                         testing::Values(16777216, 16777218, 16777219));

// Records

TEST(TapeRecords, AreTheBankInParts) {
  const std::string bits = randomBits(11, dataBitCount);
  const std::string bank = bankOf(bits);
  OpenReader reader;
  reader.decode(Signal().leader().bits(bits).samples());

  for (int preset = 0; preset < 40; ++preset) {
    std::string record(32, '\xAA');
    reader.getRawPresetBytes(preset, record.data());
    EXPECT_EQ(record,
              bank.substr(24 * static_cast<std::size_t>(preset), 24) + std::string(8, '\xAA'))
        << "preset " << preset;
  }
}

TEST(TapeRecords, AreTheSameHoweverOftenAsked) {
  const std::string bits = randomBits(12, dataBitCount);
  OpenReader reader;
  reader.decode(Signal().leader().bits(bits).samples());
  std::string record(24, '\0');

  EXPECT_EQ(reader.bank(), bankOf(bits));
  reader.getRawPresetBytes(39, record.data());
  EXPECT_EQ(reader.bank(), bankOf(bits));
  EXPECT_EQ(record, bankOf(bits).substr(936));
}

TEST(TapeRecords, FillTheBankToItsEndAndNoFurther) {
  OpenReader reader;
  std::string bank(1000, '\xAA');

  reader.getRawPresetBankBytes(bank.data());

  EXPECT_EQ(bank, std::string(960, '\0') + std::string(40, '\xAA'));
}

TEST(TapeRecords, ArePackedFromTheLowestBits) {
  const std::string bits = randomBits(13, dataBitCount);
  OpenReader reader;
  for (std::size_t i = 0; i < dataBitCount; ++i) {
    const char noise = static_cast<char>(i * 2);
    reader.presetData[i / 192][i % 192 / 8][i % 8] =
        static_cast<char>((noise & 0xFE) | (bits[i] - '0'));
  }
  std::string record(24, '\0');

  reader.getRawPresetBytes(20, record.data());

  EXPECT_EQ(record, bankOf(bits).substr(480, 24));
  EXPECT_EQ(reader.bank(), bankOf(bits));
}

namespace {

class TapeNoRecordTest : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(TapeNoRecordTest, IsWrittenForAnIndexOutsideTheBank) {
  OpenReader reader;
  reader.decode(Signal().leader().ones(dataBitCount).samples());
  std::string record(24, '\xAA');

  reader.getRawPresetBytes(GetParam(), record.data());

  EXPECT_EQ(record, std::string(24, '\xAA')) << "preset " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Indices, TapeNoRecordTest,
                         testing::Values(-1, 40, 41, -40, INT_MIN, INT_MAX));
