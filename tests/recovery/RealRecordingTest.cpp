#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "support/Banks.h"
#include "support/OpenClasses.h"
#include "support/RealRecording.h"

namespace {

/// What the converter's reader makes of the only channel.
std::string readByConverter(RealRecording recording) {
  OpenTapeDataReader reader;
  reader.readPresetData(recording.samples.data(), static_cast<int>(recording.samples.size()));
  return reader.bank();
}

TEST(RealRecordingTest, IsTheSameEachTime) {
  EXPECT_EQ(makeRecording("typical", 7).samples, makeRecording("typical", 7).samples);
}

TEST(RealRecordingTest, TakesShareTheBankAndNothingElse) {
  const RealRecording first = makeRecording("typical", 7, 0);
  const RealRecording second = makeRecording("typical", 7, 1);
  EXPECT_EQ(first.dumps.at(static_cast<std::size_t>(first.mainDump)).bank,
            second.dumps.at(static_cast<std::size_t>(second.mainDump)).bank);
  EXPECT_NE(first.faults, second.faults);
}

TEST(RealRecordingTest, HoldsTheDumpItSays) {
  for (const char* mixture : {"wow-mild", "shape-severe", "clipping-mild", "end-mild"}) {
    const RealRecording recording = makeRecording(mixture, 1);
    EXPECT_EQ(readByConverter(recording), bytesOf(recording.dumps.at(0).bank)) << mixture;
  }
}

TEST(RealRecordingTest, SaysWhereTheDumpIs) {
  const RealRecording recording = makeRecording("wow-mild", 1);
  const RecordedDump& dump = recording.dumps.at(0);
  // 0.5 s of silence, 300 one bits and a zero bit; then 7,680 bits, at about nominal speed
  EXPECT_NEAR(dump.start, 0.5 + (300 * 144 + 168) / 44100.0, 0.01);
  int ones = 0;
  for (const char byte : dump.bank) {
    for (int bit = 0; bit < 8; ++bit) {
      ones += byte >> bit & 1;
    }
  }
  EXPECT_NEAR(dump.end - dump.start, (ones * 144 + (7680 - ones) * 168) / 44100.0, 0.05);
}

TEST(RealRecordingTest, NotesWhichPresetsAreMissing) {
  for (std::uint32_t seed = 0; seed < 5; ++seed) {
    const RealRecording recording = makeRecording("incomplete", seed);
    const auto& isRecorded = recording.dumps.at(0).isRecorded;
    EXPECT_FALSE(isRecorded.front() && isRecorded.back()) << recording.faults;
  }
}

TEST(RealRecordingTest, StaysWithinFullScale) {
  for (const char* mixture : {"typical", "severe", "grid", "voice", "music", "noise", "modem"}) {
    const RealRecording recording = makeRecording(mixture, 3);
    EXPECT_GT(recording.samples.size(), 1'000'000U) << mixture;
    EXPECT_TRUE(std::all_of(recording.samples.begin(), recording.samples.end(), [](float sample) {
      return std::abs(sample) <= 1.0F;
    })) << mixture;
  }
}

}  // namespace
