#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <vector>

#include "recovery/Framing.h"

namespace recovery {
namespace {

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

/// Firm ones (1) and zeros (0), such as are not firm (i, o), weak ones (w), and silence (.).
BitSequence sequenceOf(const std::string& text) {
  BitSequence sequence;
  for (const char kind : text) {
    const double start = 0.0035 * static_cast<double>(sequence.bits.size());
    const bool isOne = kind == '1' || kind == 'i' || kind == 'w';
    const float gain = kind == '.' ? 0.0F : kind == 'w' ? 0.5F : 1.0F;
    sequence.bits.push_back({start, start + 0.0035, isOne, kind != '.',
                             std::isdigit(kind) != 0 ? 1000.0F : 0.0F, gain, gain});
  }
  return sequence;
}

/// Of each dump the leader's ones, the first and the number of its recorded bits, and whether its
/// beginning is sure and its end clean.
std::vector<std::string> dumpsOf(const std::string& text) {
  std::vector<std::string> dumps;
  for (const Take& take : frameDumps(sequenceOf(text))) {
    const auto isThere = [](const BitReading& bit) { return bit.value >= 0; };
    const auto first = std::find_if(take.bits.begin(), take.bits.end(), isThere);
    const auto count = std::count_if(take.bits.begin(), take.bits.end(), isThere);
    dumps.push_back(std::to_string(take.leaderOnes) + ", " +
                    std::to_string(first - take.bits.begin()) + "+" + std::to_string(count) +
                    (take.beginningIsSure ? " sure" : "") + (take.endIsClean ? " clean" : ""));
  }
  return dumps;
}

TEST(FramingTest, FindsDumps) {
  const std::string data = times(3840, "10");
  const std::string leader(100, '1');
  const std::string silence(100, '.');
  const std::string dump = leader + "0" + data;
  const struct {
    std::string text;
    std::vector<std::string> dumps;
  } rows[] = {
      {dump + silence, {"100, 0+7680 sure clean"}},
      {dump + "w" + silence, {"100, 0+7680 sure clean"}},
      {times(10, "1") + "0" + data + silence, {"10, 0+7680 sure clean"}},
      {times(5, "1") + "0" + data + silence, {"5, 0+7680 sure clean"}},
      {leader + "o" + data + silence, {"100, 0+7680 clean"}},
      {leader + "i0" + data + silence, {"101, 0+7680 clean"}},
      {leader + times(7681, "0") + silence, {"100, 0+7680 sure clean"}},
      // The end is missing.
      {leader + "0" + times(2500, "10"), {"100, 0+5000 sure"}},
      {times(30, "1") + "0" + times(2500, "10"), {"30, 0+5000 sure"}},
      {"110" + times(30, "1") + "0" + times(2500, "10"), {"30, 0+5000"}},
      {times(15, "1") + "0" + times(2500, "10"), {"15, 0+5000"}},
      {times(15, "1") + times(5001, "0"), {}},
      // The beginning is missing.
      {data + silence, {"0, 0+7680 clean"}},
      {times(2500, "10") + silence, {"0, 2680+5000"}},
      {times(95, "1") + silence, {}},
      // Another one follows.
      {dump + dump + silence, {"100, 0+7680 sure", "100, 0+7680 sure clean"}},
      {dump + times(8, ".") + dump + silence, {"100, 0+7680 sure clean", "100, 0+7680 sure clean"}},
      // Some bits are not firm.
      {leader + "0" + times(768, "10101010io") + silence, {"100, 0+7680 sure clean"}},
      {leader + "0" + times(960, "10101ioi") + silence, {}},
      {times(768, "10101010io") + silence, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dumpsOf(row.text), row.dumps) << &row - rows;
  }
}

TEST(FramingTest, GivesBackALostBitWhereTheEndSaysSo) {
  // They alternate but for where one is lost.
  BitSequence sequence = sequenceOf(times(100, "1") + "0" + times(1452, "10") + times(2387, "01") +
                                    "0" + times(100, "."));
  BitSequence::Stretch stretch{.begin = 3000, .end = 3005, .readings = {}, .other = {}};
  stretch.readings.resize(2 * farthestSlip + 1);
  stretch.readings[farthestSlip] = {0.0F,
                                    {sequence.bits.begin() + 3000, sequence.bits.begin() + 3005}};
  stretch.readings[farthestSlip + 1] = {
      5.0F, {sequence.bits.begin() + 3000, sequence.bits.begin() + 3006}};
  sequence.stretches.push_back(stretch);
  const std::vector<Take> takes = frameDumps(sequence);
  ASSERT_EQ(takes.size(), 1U);
  EXPECT_TRUE(takes[0].endIsClean);
  EXPECT_EQ(takes[0].bits[3000 - 101].margin, 0.0F);
  EXPECT_GE(takes[0].bits[3010 - 101].margin, sureMargin);
  EXPECT_EQ(takes[0].bits[7679].value, 0);
}

}  // namespace
}  // namespace recovery
