#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "recovery/Measurement.h"
#include "support/RealRecording.h"

namespace {

TEST(RealRecordingTest, IsTheSameEachTime) {
  const RealRecording first = makeRecording("typical", 7, 0);
  const RealRecording second = makeRecording("typical", 7, 1);
  EXPECT_EQ(first.samples, makeRecording("typical", 7).samples);
  EXPECT_EQ(first.dumps.at(static_cast<std::size_t>(first.mainDump)).bank,
            second.dumps.at(static_cast<std::size_t>(second.mainDump)).bank);
  EXPECT_NE(first.faults, second.faults);
}

TEST(RealRecordingTest, HoldsTheDumpItSays) {
  for (const char* mixture : {"wow-mild", "shape-severe", "clipping-mild", "end-mild"}) {
    EXPECT_TRUE(measure(mixture, 1, 1).converterWhole) << mixture;
  }
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
