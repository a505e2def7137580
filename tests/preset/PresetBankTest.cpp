#include <gtest/gtest.h>

namespace {

struct PresetPlace {
  int record;
  int group;
  int number;
};

class PresetBankPlaceTest : public testing::TestWithParam<PresetPlace> {};

}  // namespace

#include "preset/PresetBank.h"

TEST(PresetBank, HoldsFortyRecordsOfTwentyFourBytesInGroupsOfEight) {
  EXPECT_EQ(presetSize, 24);
  EXPECT_EQ(presetCount, 40);
  EXPECT_EQ(presetsPerGroup, 8);
  EXPECT_EQ(presetBankSize, 960);
  EXPECT_EQ(sizeof(PresetBank), 960U);
}

TEST(PresetBank, NumbersTheRecordsGroupByGroup) {
  int record = 0;
  for (int group = 1; group <= 5; ++group) {
    for (int number = 1; number <= 8; ++number) {
      EXPECT_EQ(presetGroup(record), group) << "record " << record;
      EXPECT_EQ(presetNumber(record), number) << "record " << record;
      ++record;
    }
  }
  EXPECT_EQ(record, 40);
}

TEST_P(PresetBankPlaceTest, IsGroupAndNumberWithinIt) {
  const auto [record, group, number] = GetParam();
  EXPECT_EQ(presetGroup(record), group) << "record " << record;
  EXPECT_EQ(presetNumber(record), number) << "record " << record;
}

INSTANTIATE_TEST_SUITE_P(FirstAndLastOfGroups, PresetBankPlaceTest,
                         testing::Values(PresetPlace{0, 1, 1}, PresetPlace{7, 1, 8},
                                         PresetPlace{8, 2, 1}, PresetPlace{39, 5, 8}));
