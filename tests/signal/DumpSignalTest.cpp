#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>
#include <vector>

#include "signal/DumpSignal.h"

namespace {

const std::string one(12, 'S');
const std::string zero = "LLLL";

/// The half-periods as letters, S and L.
std::string textOf(const HalfPeriods& signal) {
  std::string text;
  for (const HalfPeriod halfPeriod : signal) {
    text += halfPeriod == HalfPeriod::Short ? 'S' : 'L';
  }
  return text;
}

}  // namespace

TEST(DumpSignal, WritesBytesMostSignificantBitFirst) {
  HalfPeriods signal{HalfPeriod::Short};
  appendBytes(signal, "\xA1");
  EXPECT_EQ(textOf(signal), "S" + one + zero + one + zero + zero + zero + zero + one);
}

TEST(DumpSignal, HoldsLeaderMarkerDataAndPartOfABit) {
  EXPECT_EQ(textOf(dumpSignal("\xC0", 3)),
            one + one + one + zero + one + one + zero + zero + zero + zero + zero + zero + "SSSS");
  EXPECT_EQ(textOf(dumpSignal("")), std::string(3600, 'S') + zero + "SSSS");
}

TEST(DumpSignal, IsRecordedAsSinesBetweenTwoQuartersOfASecondOfSilence) {
  const std::vector<float> recording =
      recordTape({HalfPeriod::Short, HalfPeriod::Short, HalfPeriod::Long});
  ASSERT_EQ(recording.size(), 11025U + 66U + 11025U);
  for (std::size_t i = 0; i < recording.size(); ++i) {
    const double sample = static_cast<double>(i) - 11025 + 0.5;
    double expected = 0.0;
    if (sample > 0 && sample < 24) {
      expected = 0.8 * std::sin(std::numbers::pi * sample / 12);
    } else if (sample > 24 && sample < 66) {
      expected = 0.8 * std::sin(std::numbers::pi * (sample - 24) / 42);
    }
    ASSERT_NEAR(recording[i], expected, 1e-6) << "sample " << i;
  }
}
