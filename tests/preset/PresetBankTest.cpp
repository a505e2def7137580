#include <gtest/gtest.h>

#include <string>

#include "preset/PresetBank.h"
#include "preset/PresetRecord.h"

TEST(PresetBank, HoldsFortyRecordsOfTwentyFourBytesInGroupsOfEight) {
  EXPECT_EQ(sizeof(PresetBank), 960U);
  const struct {
    int record;
    int group;
    int number;
  } rows[] = {{0, 1, 1}, {7, 1, 8}, {8, 2, 1}, {31, 4, 8}, {39, 5, 8}};
  for (const auto& [record, group, number] : rows) {
    EXPECT_EQ(presetGroup(record), group) << record;
    EXPECT_EQ(presetNumber(record), number) << record;
  }
}

TEST(PresetRecord, GivesEachByteAsASwitchAndASevenBitValue) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string record(24, static_cast<char>(byte));
    for (const PresetField& field : presetFields) {
      const int expected = field.kind == FieldKind::Switch ? byte / 128 : byte % 128;
      ASSERT_EQ(presetFieldValue(record.data(), field), expected) << field.key << ", " << byte;
    }
  }
}
