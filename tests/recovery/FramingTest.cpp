#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "recovery/Bits.h"
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

/// Firm ones (1) and zeros (0), such as are not firm (i, o), ones of half the gain (w), of 0.8 of
/// it (v), and hardly like a wave (f), silence (.), and what is left of a tone (e).
BitSequence sequenceOf(const std::string& text) {
  const std::string kinds = "10iowvf.e";
  constexpr float gains[] = {1.0F, 1.0F, 1.0F, 1.0F, 0.5F, 0.8F, 1.0F, 0.0F, 0.5F};
  BitSequence sequence;
  for (const char kind : text) {
    const double start = 0.0035 * static_cast<double>(sequence.bits.size());
    const bool hasTone = kind != '.' && kind != 'e';
    sequence.bits.push_back({.start = start,
                             .end = start + 0.0035,
                             .value = hasTone && kind != '0' && kind != 'o',
                             .hasTone = hasTone,
                             .margin = kind == '1' || kind == '0' || kind == 'v' ? 1000.0F : 0.0F,
                             .gain = gains[kinds.find(kind)],
                             .fit = kind == 'f' ? 0.5F : 1.0F});
  }
  return sequence;
}

/// Of each dump the leader's ones, the first and the number of its recorded bits, and whether its
/// beginning is sure, the count of its bits off and its end clean.
std::vector<std::string> dumpsOf(const std::string& text) {
  std::vector<std::string> dumps;
  for (const Take& take : frameDumps(sequenceOf(text))) {
    const auto isThere = [](const BitReading& bit) { return bit.value >= 0; };
    const auto first = std::find_if(take.bits.begin(), take.bits.end(), isThere);
    const auto count = std::count_if(take.bits.begin(), take.bits.end(), isThere);
    dumps.push_back(std::to_string(take.leaderOnes) + ", " +
                    std::to_string(first - take.bits.begin()) + "+" + std::to_string(count) +
                    (take.beginningIsSure ? " sure" : "") + (take.countIsOff ? " off" : "") +
                    (take.endIsClean ? " clean" : ""));
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
      {dump + "f" + silence, {"100, 0+7680 sure clean"}},
      {leader + "0" + times(1920, "10") + "...." + times(1918, "10") + silence,
       {"100, 0+7680 sure clean"}},
      {times(5, "1") + "0" + data + silence, {"5, 0+7680 sure clean"}},
      {leader + "o" + data + silence, {"100, 0+7680 clean"}},
      {leader + "i0" + data + silence, {"101, 0+7680 clean"}},
      {leader + "o" + times(2500, "01"), {"100, 0+5000"}},
      {leader + "ooo1110" + data + silence, {"106, 0+7680 clean"}},
      {leader + "ooo" + times(10, "1") + "0" + data + silence, {"113, 0+7680 sure clean"}},
      {times(2000, "1") + times(50, ".") + dump + silence, {"100, 0+7680 sure clean"}},
      // A tone goes on after the data.
      {times(12, "1") + "0" + data + times(40, "1") + silence, {"12, 0+7680 sure"}},
      {times(12, "1") + "0" + times(3834, "10") + times(52, "1") + silence, {"12, 0+7680"}},
      {dump + times(7, "1") + times(20, ".") + dump + silence,
       {"100, 0+7680 sure", "100, 0+7680 sure clean"}},
      // Bits are lost or gained somewhere.
      {leader + "0" + data + "10" + silence, {"100, 0+7680 sure off"}},
      {leader + "0" + data + times(16, "10") + silence, {"100, 0+7680 sure off"}},
      {leader + "0" + times(3825, "10") + silence, {"100, 0+7650 sure off"}},
      {leader + "0" + times(3820, "10") + times(10, ".") + times(15, "10") + times(8, ".") + dump +
           silence,
       {"100, 0+7680 sure clean", "100, 0+7680 sure clean"}},
      {leader + times(7681, "0") + silence, {"100, 0+7680 sure clean"}},
      // The end is missing.
      {leader + "0" + times(2500, "10"), {"100, 0+5000 sure"}},
      {"...." + times(30, "1") + "0" + times(2500, "10"), {"30, 0+5000 sure"}},
      {"...." + times(30, "1") + "0" + times(2500, "10") + silence, {"30, 0+5000"}},
      {"....110" + times(30, "1") + "0" + times(2500, "10"), {"30, 0+5000"}},
      {times(15, "1") + "0" + times(2500, "10"), {"15, 0+5000"}},
      {"..." + times(30, "1") + "0" + times(2500, "10"), {"30, 0+5000"}},
      {leader + "0" + times(75, "10"), {}},
      {leader + times(2001, "0"), {}},
      {leader + times(2002, "0"), {"100, 0+2001 sure"}},
      {times(90, times(30, "0") + times(30, "1")), {}},
      // The beginning is missing.
      {times(50, "10") + data + silence, {"0, 0+7680 clean"}},
      {"110" + times(5, "1") + "0" + data + silence, {"0, 0+7680 clean"}},
      {times(1000, "10") + times(12, "1") + "0" + times(1500, "10") + silence, {"0, 2667+5013"}},
      // Another one follows.
      {dump + dump + silence, {"100, 0+7680 sure", "100, 0+7680 sure clean"}},
      {leader + "0" + times(3838, "10") + "0111" + dump + silence,
       {"100, 0+7680 sure", "103, 0+7680 sure clean"}},
      {leader + "0" + times(3826, "10") + "0" + dump + silence,
       {"100, 0+7653 sure", "100, 0+7680 sure clean"}},
      {dump + times(8, ".") + dump + silence, {"100, 0+7680 sure clean", "100, 0+7680 sure clean"}},
      {leader + "0" + times(3838, "10") + "..10" + times(20, ".") + dump + silence,
       {"100, 0+7680 sure clean", "100, 0+7680 sure clean"}},
      {times(10, "1") + "0" + times(14, "1") + "0" + times(3832, "10") + "1" + times(40, ".") +
           dump + silence,
       {"10, 0+7680 sure clean", "100, 0+7680 sure clean"}},
      {leader + "0" + times(1000, "10") + times(80, ".") + leader + "0" + times(3850, "10") +
           silence,
       {"100, 0+2080 sure", "100, 0+7680 sure off"}},
      // Some bits are not firm.
      {leader + "0" + times(768, "10101010io") + silence, {"100, 0+7680 sure clean"}},
      {leader + "0" + times(960, "10101ioi") + silence, {}},
      {times(768, "10101010io") + silence, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dumpsOf(row.text), row.dumps) << &row - rows;
  }
}

/// The first dump, where the bits 3,000 to 3,004 may be one more at a cost in nats, or were too
/// many to be read otherwise (0).
Take takeOf(const std::string& text, float cost = 5.0F) {
  BitSequence sequence = sequenceOf(text);
  const auto bits = sequence.bits.begin() + 3000;
  BitSequence::Stretch stretch{.begin = 3000, .end = 3005, .readings = {}, .other = {}};
  if (cost > 0.0F) {
    stretch.readings.resize(2 * farthestSlip + 1);
    stretch.readings[farthestSlip] = {0.0F, {bits, bits + 5}};
    stretch.readings[farthestSlip + 1] = {cost, {bits, bits + 6}};
  }
  sequence.stretches.push_back(stretch);
  return frameDumps(sequence).at(0);
}

TEST(FramingTest, GivesBackALostBitWhereTheEndSaysSo) {
  const std::string ones = times(100, "1") + "0" + times(7674, "1");
  const std::string silence(100, '.');
  const Take take = takeOf(ones + "11111" + silence);
  EXPECT_TRUE(take.endIsClean);
  EXPECT_EQ(take.bits[3000 - 101].margin, 0.0F);
  EXPECT_NEAR(take.bits[3010].margin, 13.75, 0.001);  // a quarter of 60 nats, less 5
  // The tones go on a little, or fade.
  EXPECT_FALSE(takeOf(ones + "11111.e" + silence).endIsClean);
  const Take fading = takeOf(ones + "111vv" + silence);
  EXPECT_FALSE(fading.endIsClean);
  EXPECT_NEAR(fading.bits[3000 - 101].margin, 1.25, 0.001);
}

TEST(FramingTest, GivesBackALostBitWhereThePresetsAreAlikeThen) {
  const Take take =
      takeOf(times(100, "1") + "0" + times(1452, "10") + times(2387, "01") + "0" + times(100, "."));
  EXPECT_GE(take.bits[3010 - 101].margin, sureMargin);
  EXPECT_EQ(take.bits[7679].value, 0);
}

TEST(FramingTest, DoubtsTheCountAfterACutWhereNoEndAgrees) {
  const std::string begin = times(100, "1") + "0" + times(1449, "10") + "1";
  const std::string rest = times(2388, "10");
  const std::string silence(100, '.');
  const struct {
    std::string text;
    float cost;
    bool isSure;
  } rows[] = {
      {begin + "1f111" + rest, 1000.0F, false},
      {begin + "11111" + rest, 1000.0F, true},
      {begin + "11111" + rest, 0.0F, false},
      {begin + "1f111" + rest + silence, 100.0F, true},
      {begin + "1f111" + rest + times(40, "1") + silence, 1000.0F, false},
      // The tones fade where the data end, or one bit too soon.
      {begin + "1f111" + times(2387, "10") + "vv" + silence, 100.0F, true},
      {begin + "1f111" + times(2387, "10") + "v" + silence, 100.0F, false},
      {begin + "1f111" + times(2387, "10") + "v" + silence, 200.0F, true},
      {begin + "11111" + times(2387, "10") + "v" + silence, 100.0F, true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(takeOf(row.text, row.cost).bits[3010].margin >= sureMargin, row.isSure)
        << &row - rows;
  }
}

}  // namespace
}  // namespace recovery
