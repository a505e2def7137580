#include <gtest/gtest.h>

#include "recovery/Bank.h"
#include "report/MadeResults.h"

namespace {

using recovery::PresetReading;
using recovery::Reason;
using recovery::Verdict;

/// The dump of a clean recording in which bit 3 of byte 1 of preset 1-3 is not sure.
class Reasons : public testing::Test {
 protected:
  PresetReading readPreset() { return recovery::readBank({&take, 1}).presets[2]; }

  recovery::Take take = madeResults().recordings[0].takes[0];
  recovery::BitReading& doubtful = take.bits[2 * recovery::bitsPerPreset + 8 + 3];

  void SetUp() override { doubtful.margin = 1.0F; }
};

TEST_F(Reasons, AreNoiseWhereNothingElseIsKnown) {
  const PresetReading preset = readPreset();
  EXPECT_EQ(preset.verdict, Verdict::Doubtful);
  EXPECT_EQ(preset.reason, Reason::Noise);
  EXPECT_EQ(preset.worstTime, doubtful.start);
  EXPECT_EQ(preset.doubtfulBits[0], 0x00);
  EXPECT_EQ(preset.doubtfulBits[1], 0x10);
}

TEST_F(Reasons, AreADropOutWhereThereIsOne) {
  take.dropOuts = {{{doubtful.start - 0.02, doubtful.start - 0.005}, 20.0}};
  EXPECT_EQ(readPreset().reason, Reason::DropOut);
}

TEST_F(Reasons, AreTheCountWhereABitMayBeLostBeforeThem) {
  for (int i = 0; i < recovery::bitsPerPreset; ++i) {
    take.bits[static_cast<std::size_t>(2 * recovery::bitsPerPreset + i)].margin = 2.0F;
  }
  take.doubtfulPlaces.emplace_back();
  EXPECT_EQ(readPreset().reason, Reason::Noise);
  take.doubtfulPlaces.back().countIsDoubtful = true;
  EXPECT_EQ(readPreset().reason, Reason::Count);
}

TEST_F(Reasons, AreTheBeginningWhereThatIsNotSure) {
  take.beginningIsSure = false;
  EXPECT_EQ(readPreset().reason, Reason::Beginning);
}

TEST_F(Reasons, AreThatABitWasNotRecorded) {
  doubtful.value = -1;
  EXPECT_EQ(readPreset().reason, Reason::NotRecorded);
}

}  // namespace
