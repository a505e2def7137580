#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "recovery/Bank.h"

namespace recovery {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ResultOf;
using testing::SizeIs;

BankReading read(const std::vector<Take>& takes) { return readBank(takes); }

/// A take of ones that are all as sure as `margin`.
Take takeOfOnes(float margin = 1000.0F) {
  Take take;
  take.beginningIsSure = true;
  take.endIsClean = true;
  for (int bit = 0; bit < bitsPerBank; ++bit) {
    const double start = 1.0 + bit * 0.003265;
    take.bits.push_back({.start = start, .end = start + 0.003265, .margin = margin, .value = 1});
  }
  return take;
}

/// A take of ones but for bit 7, which is as sure of `value` as `margin`, played with a swing of so
/// many seconds.
Take unsureTake(int value, float margin, double swing = 0.0) {
  Take take = takeOfOnes();
  for (int bit = 0; bit < bitsPerBank; ++bit) {
    take.bits[static_cast<std::size_t>(bit)].start += swing * std::sin(bit * 0.001);
  }
  take.bits[7].value = static_cast<std::int8_t>(value);
  take.bits[7].margin = margin;
  return take;
}

TEST(BankTest, OfNoTakesIsMissing) {
  EXPECT_EQ(readBank({}).count(Verdict::Missing), presetCount);
  EXPECT_THAT(readBank({}).bank, Each('\0'));
}

TEST(BankTest, OfSureBitsIsSure) {
  const BankReading reading = read({takeOfOnes()});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount);
  EXPECT_THAT(reading.bank, Each('\xFF'));
  EXPECT_EQ(reading.presets[3].margin, 1000.0F);
  EXPECT_EQ(reading.presets[3].reason, Reason::None);
}

TEST(BankTest, DoubtsThePresetOfOneUnsureBit) {
  const Take take = unsureTake(1, 0.5F);
  const BankReading reading = read({take});
  EXPECT_EQ(reading.count(Verdict::Sure), presetCount - 1);
  EXPECT_EQ(reading.presets[0].margin, 0.5F);
  EXPECT_EQ(reading.presets[0].worstTime, take.bits[7].start);
  EXPECT_EQ(reading.presets[0].doubtfulBits, (std::array<std::uint8_t, presetSize>{1}));
}

TEST(BankTest, PlacesAPresetAsFarAsItWasRecorded) {
  Take take = takeOfOnes();
  take.bits[0] = take.bits[191] = {};
  const PresetReading preset = read({take}).presets[0];
  EXPECT_EQ(preset.span.start, take.bits[1].start);
  EXPECT_EQ(preset.span.end, take.bits[190].end);
  EXPECT_EQ(preset.margin, -1.0F);
}

void weaken(Take& take, std::size_t bits, bool countIsDoubtful = false) {
  for (std::size_t bit = 0; bit < bits; ++bit) {
    take.bits[bit].margin = 2.0F;
  }
  take.doubtfulPlaces.resize(1);
  take.doubtfulPlaces[0].countIsDoubtful = countIsDoubtful;
}

TEST(BankTest, SaysWhyAPresetIsDoubtful) {
  const struct {
    void (*spoil)(Take& take);
    Reason reason;
  } rows[] = {
      {[](Take& take) { weaken(take, 191); }, Reason::Noise},
      // A doubtful count spoils all of a preset, or more than half of the one that it is in.
      {[](Take& take) { weaken(take, 192); }, Reason::Count},
      {[](Take& take) { weaken(take, 97, true); }, Reason::Count},
      {[](Take& take) { weaken(take, 96, true); }, Reason::Noise},
      // The weak bit begins at 1.0 s.
      {[](Take& take) {
         weaken(take, 1), take.dropOuts = {{{0.98, 0.995}}};
       },
       Reason::DropOut},
      {[](Take& take) {
         weaken(take, 1), take.dropOuts = {{{0.97, 0.98}}};
       },
       Reason::Noise},
      {[](Take& take) { take.beginningIsSure = false; }, Reason::Beginning},
      {[](Take& take) { take.bits[191] = {}; }, Reason::NotRecorded},
  };
  for (const auto& [spoil, reason] : rows) {
    Take take = takeOfOnes();
    spoil(take);
    const PresetReading preset = read({take}).presets[0];
    EXPECT_EQ(preset.verdict, Verdict::Doubtful);
    EXPECT_EQ(preset.reason, reason);
    EXPECT_EQ(preset.worstTime, 1.0);
  }
}

TEST(BankTest, AddsUpWhatTakesSayOfABit) {
  struct Vote {
    Take first;
    Take second;
    Verdict verdict;
    int take;   // the better one
    char byte;  // the first of the bank
  };
  const auto with = [](Take take, void (*change)(Take&)) {
    change(take);
    return take;
  };
  const auto unsureBeginning = [](Take& take) { take.beginningIsSure = false; };
  const auto unsureBitBeside = [](Take& take) { take.bits[8].margin = 10.0F; };
  const auto onlyTwoPresets = [](Take& take) {
    std::fill(take.bits.begin() + 384, take.bits.end(), BitReading{});
  };
  const Vote votes[] = {
      {unsureTake(0, 0.5F), takeOfOnes(), Verdict::Sure, 1, '\xFF'},
      {unsureTake(1, 10.0F), unsureTake(1, 7.0F, 0.01), Verdict::Sure, 0, '\xFF'},
      {unsureTake(1, 10.0F), unsureTake(1, 5.0F, 0.01), Verdict::Doubtful, 0, '\xFF'},
      {unsureTake(1, 10.0F), unsureTake(0, 12.0F, 0.01), Verdict::Doubtful, 1, '\xFE'},
      {unsureTake(1, 10.0F), unsureTake(0, 7.0F, 0.01), Verdict::Doubtful, 0, '\xFF'},
      {with(unsureTake(1, 40.0F), unsureBitBeside),
       with(unsureTake(0, 1000.0F, 0.01), unsureBitBeside), Verdict::Doubtful, 0, '\xFF'},
      {with(takeOfOnes(), unsureBeginning), takeOfOnes(100.0F), Verdict::Sure, 1, '\xFF'},
      {unsureTake(1, 10.0F), with(unsureTake(1, 7.0F, 0.01), unsureBeginning), Verdict::Doubtful, 0,
       '\xFF'},
      {unsureTake(-1, 0.0F),
       with(unsureTake(1, 1000.0F, 0.01), [](Take& take) { take.bits[9] = {}; }), Verdict::Doubtful,
       0, '\xFE'},
      {with(unsureTake(1, 10.0F), unsureBeginning),
       with(unsureTake(0, 12.0F, 0.01), unsureBitBeside), Verdict::Doubtful, 0, '\xFF'},
      // The same recording twice says no more than once.
      {unsureTake(1, 10.0F), unsureTake(1, 10.0F, 0.0001), Verdict::Doubtful, 0, '\xFF'},
      {with(unsureTake(1, 10.0F), onlyTwoPresets), with(unsureTake(1, 10.0F), onlyTwoPresets),
       Verdict::Doubtful, 0, '\xFF'},
  };
  for (const auto& [first, second, verdict, take, byte] : votes) {
    const BankReading reading = read({first, second});
    EXPECT_EQ(reading.presets[0].verdict, verdict) << second.bits[7].margin;
    EXPECT_EQ(reading.presets[0].take, take) << second.bits[7].margin;
    EXPECT_EQ(reading.bank[0], byte) << second.bits[7].margin;
  }
}

TEST(BankTest, DoubtsWhatTwoChannelsReadDifferently) {
  const std::vector<Take> merged = mergeTakes({takeOfOnes()}, {unsureTake(0, 1000.0F)});
  ASSERT_THAT(merged, SizeIs(1));
  EXPECT_EQ(read(merged).presets[0].verdict, Verdict::Doubtful);
}

TEST(BankTest, TakesTheOpinionThatHasTheSureOnesRight) {
  PresetBank other;
  other.fill('\xFF');
  other[0] = '\xFD';  // bit 6
  Take take = unsureTake(1, 10.0F);
  takeOpinion(take, other);
  EXPECT_EQ(read({take}).bank[0], '\xFD');
  EXPECT_EQ(read({take}).presets[0].verdict, Verdict::Doubtful);

  other[0] = '\xFB';
  other[presetBankSize - 1] = '\xFE';  // wrong in a sure preset
  takeOpinion(take, other);
  EXPECT_EQ(read({take}).bank[0], '\xFD');
}

TEST(BankTest, RecognisesTakesOfDifferentDumps) {
  Take other = unsureTake(0, 1000.0F);
  const DifferentDumps pair = findDifferentDumps(std::array{takeOfOnes(), takeOfOnes(), other});
  EXPECT_EQ(pair.first, 0);
  EXPECT_EQ(pair.second, 2);
  EXPECT_FALSE(findDifferentDumps(std::array{takeOfOnes(), unsureTake(0, 1.0F)}).found());
  other.beginningIsSure = false;
  EXPECT_FALSE(findDifferentDumps(std::array{takeOfOnes(), other}).found());
}

/// What is made of two takes of 25 s, each not sure of one of the first presets, of which the
/// second begins so much earlier.
std::vector<Take> merged(double seconds) {
  Take first = unsureTake(1, 0.5F);
  Take second = takeOfOnes();
  second.bits[192].margin = 0.5F;
  first.doubtfulPlaces = {{.span = {}, .firstBit = 7, .bitCount = 1}};
  for (BitReading& bit : second.bits) {
    bit.start -= seconds;
    bit.end -= seconds;
  }
  return mergeTakes({first}, {second});
}

TEST(BankTest, MergesTakesThatOverlap) {
  EXPECT_THAT(merged(0.0), ElementsAre(ResultOf(surePresets, 40)));
  EXPECT_THAT(merged(0.0)[0].doubtfulPlaces, IsEmpty());
  EXPECT_THAT(merged(0.003), ElementsAre(ResultOf(surePresets, 39)));
  EXPECT_THAT(merged(0.003)[0].doubtfulPlaces, SizeIs(1));
  EXPECT_THAT(merged(10.0), SizeIs(1));
  ASSERT_THAT(merged(24.0), SizeIs(2));
  EXPECT_EQ(merged(24.0)[0].bits[192].margin, 0.5F);
}

/// A take with so many sure presets, the first ones, and so many bits recorded.
Take takeWith(int sure, int recorded = bitsPerBank) {
  Take take = takeOfOnes(10.0F);
  for (int bit = 0; bit < sure * bitsPerPreset; ++bit) {
    take.bits[static_cast<std::size_t>(bit)].margin = 1000.0F;
  }
  std::fill(take.bits.begin() + recorded, take.bits.end(), BitReading{});
  return take;
}

TEST(BankTest, JoinsAPieceAndTheWholeDump) {
  Take piece = takeOfOnes();
  for (std::size_t bit = 5 * bitsPerPreset; bit < bitsPerBank; ++bit) {
    piece.bits[bit] = {};
  }
  piece.endIsClean = false;
  piece.channelIndex = 1;
  Take whole = takeOfOnes();
  whole.beginningIsSure = false;
  whole.endIsClean = true;
  EXPECT_THAT(mergeTakes({piece}, {whole}), ElementsAre(ResultOf(surePresets, 40)));
  EXPECT_EQ(mergeTakes({piece}, {whole})[0].channelIndex, 0);

  // Its tones end in the wrong place, so that of no preset is known where it lies.
  whole.beginningIsSure = true;
  whole.countIsOff = true;
  whole.bits[7000].margin = 0.0F;
  whole.endIsClean = false;
  EXPECT_THAT(mergeTakes({piece}, {whole}), ElementsAre(ResultOf(surePresets, 39)));
  EXPECT_THAT(mergeTakes({takeOfOnes()}, {whole}), ElementsAre(ResultOf(surePresets, 40)));
}

TEST(BankTest, PrefersTheEarlierWholeDumpToOneHardlySurer) {
  Take unsureOfBeginning = takeOfOnes();
  unsureOfBeginning.beginningIsSure = false;
  unsureOfBeginning.bits.back().value = -1;
  Take oneVerySureBit = takeWith(0, bitsPerBank - 1);
  oneVerySureBit.bits[0].margin = 1.0e6F;
  Take surer = takeOfOnes(11.0F);
  surer.bits.back() = {};
  Take shortTake = takeOfOnes(0.0F);
  shortTake.bits.back() = {};
  Take shorterTake = shortTake;
  shorterTake.bits[7678] = {};
  const struct {
    Take first;
    Take second;
    int best;
  } rows[] = {
      {takeWith(30), takeWith(34), 0},
      {takeWith(30), takeWith(35), 1},
      {takeWith(30), takeWith(29), 0},
      {takeWith(30, bitsPerBank - 1), takeWith(31), 1},
      {takeWith(30, bitsPerBank - 1), takeWith(29), 0},
      {takeWith(30, bitsPerBank - 1), takeWith(30), 1},
      {oneVerySureBit, surer, 1},  // by all margins
      {surer, oneVerySureBit, 0},
      {shorterTake, shortTake, 1},
      {unsureOfBeginning, takeWith(0), 1},
      {takeWith(0, bitsPerBank - 1), unsureOfBeginning, 0},
      {takeWith(14, 14 * bitsPerPreset), takeWith(2), 1},
      {takeWith(16, 16 * bitsPerPreset), takeWith(2), 0},
      {takeWith(2), takeWith(17, 17 * bitsPerPreset), 0},
      {takeWith(2), takeWith(18, 18 * bitsPerPreset), 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(bestTake(std::array{row.first, row.second}), row.best) << &row - rows;
  }
  EXPECT_EQ(bestTake({}), -1);
}

}  // namespace
}  // namespace recovery
