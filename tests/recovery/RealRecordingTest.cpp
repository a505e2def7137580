#include <gtest/gtest.h>

#include <cstddef>

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

}  // namespace
