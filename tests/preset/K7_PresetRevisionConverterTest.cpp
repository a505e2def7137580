#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "preset/K7_PresetRevisionConverter.h"
#include "support/Banks.h"

namespace {

constexpr std::size_t recordSize = 24;
constexpr std::size_t bankSize = 960;
constexpr std::size_t roomAfter = 8;  // which no conversion may write to

/// Where a destination byte's bit 7 and its bits 0 to 6 stood in the source.
struct Origin {
  std::size_t bit7;
  std::size_t bits0to6;
};

using Origins = std::array<Origin, recordSize>;

constexpr Origins rev1OriginsOfRev3{{
    {7, 0},   {6, 1},   {20, 2},  {23, 3},  {22, 4},  {21, 5},  {9, 6},   {8, 7},
    {3, 8},   {4, 9},   {5, 10},  {2, 11},  {12, 12}, {13, 13}, {16, 14}, {17, 15},
    {19, 16}, {10, 20}, {11, 21}, {14, 22}, {15, 23}, {18, 18}, {0, 19},  {1, 17},
}};

constexpr Origins rev3OriginsOfRev1{{
    {22, 0},  {23, 1},  {11, 2},  {8, 3},   {9, 4},   {10, 5},  {1, 6},   {0, 7},
    {8, 8},   {6, 9},   {17, 10}, {18, 11}, {12, 12}, {13, 13}, {19, 14}, {20, 15},
    {14, 16}, {15, 23}, {21, 21}, {16, 22}, {2, 17},  {5, 18},  {4, 19},  {3, 20},
}};

using Conversion = void (*)(const char* source, char* destination);

struct Direction {
  const char* name;
  Conversion convertPreset;
  Conversion convertBank;
  const Origins& origins;
};

std::ostream& operator<<(std::ostream& stream, const Direction& direction) {
  return stream << direction.name;
}

/// Every record of `source` (one record or more) rearranged by the table of the direction.
std::string rearranged(const Direction& direction, const std::string& source) {
  std::string result(source.size(), '\0');
  for (std::size_t i = 0; i < source.size(); ++i) {
    const std::size_t recordStart = i / recordSize * recordSize;
    const Origin& origin = direction.origins[i % recordSize];
    const auto switchByte = static_cast<unsigned char>(source[recordStart + origin.bit7]);
    const auto valueByte = static_cast<unsigned char>(source[recordStart + origin.bits0to6]);
    result[i] = static_cast<char>(switchByte / 128 * 128 + valueByte % 128);
  }
  return result;
}

/// What `convert` makes of `source`, with the room after it as it was. All of it holds `before`
/// beforehand.
std::string converted(Conversion convert, const std::string& source, char before) {
  std::string destination(source.size() + roomAfter, before);
  const std::string sourceBefore = source;
  convert(source.data(), destination.data());
  EXPECT_EQ(source, sourceBefore);
  EXPECT_EQ(destination.substr(source.size()), std::string(roomAfter, before));
  return destination.substr(0, source.size());
}

/// What `convert` leaves in a buffer that is both source and destination.
std::string convertedInPlace(Conversion convert, const std::string& source) {
  std::string buffer = source + std::string(roomAfter, '\x5A');
  convert(buffer.data(), buffer.data());
  EXPECT_EQ(buffer.substr(source.size()), std::string(roomAfter, '\x5A'));
  return buffer.substr(0, source.size());
}

/// A record of zeros with one byte set.
std::string recordWith(std::size_t byte, char value) {
  std::string record(recordSize, '\0');
  record[byte] = value;
  return record;
}

std::string toRev3(const std::string& record) {
  return converted(K7_PresetRevisionConverter::convertPresetRev1ToRev3, record, '\0');
}

std::string toRev1(const std::string& record) {
  return converted(K7_PresetRevisionConverter::convertPresetRev3ToRev1, record, '\0');
}

std::string randomBytes(std::uint32_t seed, std::size_t size) {
  return bytesOf(randomBank(seed)).substr(0, size);
}

class K7_PresetRevisionConverterTest : public testing::TestWithParam<Direction> {};

}  // namespace

TEST_P(K7_PresetRevisionConverterTest, PutsEachOfThe192BitsInItsPlace) {
  const Direction& direction = GetParam();
  for (std::size_t byte = 0; byte < recordSize; ++byte) {
    for (int bit = 0; bit < 8; ++bit) {
      const std::string record = recordWith(byte, static_cast<char>(1 << bit));
      EXPECT_EQ(converted(direction.convertPreset, record, '\0'), rearranged(direction, record))
          << "byte " << byte << " bit " << bit;
    }
  }
}

TEST_P(K7_PresetRevisionConverterTest, PutsEachOfThe192BitsInItsPlaceInPlace) {
  const Direction& direction = GetParam();
  for (std::size_t byte = 0; byte < recordSize; ++byte) {
    for (int bit = 0; bit < 8; ++bit) {
      const std::string record = recordWith(byte, static_cast<char>(1 << bit));
      EXPECT_EQ(convertedInPlace(direction.convertPreset, record), rearranged(direction, record))
          << "byte " << byte << " bit " << bit;
    }
  }
}

TEST_P(K7_PresetRevisionConverterTest, OverwritesEveryBitOfTheDestination) {
  const Direction& direction = GetParam();
  const std::string zeros(recordSize, '\0');
  const std::string ones(recordSize, '\xFF');

  EXPECT_EQ(converted(direction.convertPreset, zeros, '\xFF'), zeros);
  EXPECT_EQ(converted(direction.convertPreset, ones, '\0'), ones);
}

TEST_P(K7_PresetRevisionConverterTest, RearrangesAnyRecord) {
  const Direction& direction = GetParam();
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    const std::string record = randomBytes(seed, recordSize);
    const std::string expected = rearranged(direction, record);
    EXPECT_EQ(converted(direction.convertPreset, record, '\xAA'), expected) << "seed " << seed;
    EXPECT_EQ(convertedInPlace(direction.convertPreset, record), expected) << "seed " << seed;
  }
}

TEST_P(K7_PresetRevisionConverterTest, RearrangesEveryRecordOfABank) {
  const Direction& direction = GetParam();
  const std::string bank = randomBytes(200, bankSize);

  EXPECT_EQ(converted(direction.convertBank, bank, '\xAA'), rearranged(direction, bank));
}

TEST_P(K7_PresetRevisionConverterTest, RearrangesABankInPlace) {
  const Direction& direction = GetParam();
  const std::string bank = randomBytes(201, bankSize);

  EXPECT_EQ(convertedInPlace(direction.convertBank, bank), rearranged(direction, bank));
}

INSTANTIATE_TEST_SUITE_P(
    Directions, K7_PresetRevisionConverterTest,
    testing::Values(Direction{"Rev1ToRev3", K7_PresetRevisionConverter::convertPresetRev1ToRev3,
                              K7_PresetRevisionConverter::convertBankRev1ToRev3, rev1OriginsOfRev3},
                    Direction{"Rev3ToRev1", K7_PresetRevisionConverter::convertPresetRev3ToRev1,
                              K7_PresetRevisionConverter::convertBankRev3ToRev1,
                              rev3OriginsOfRev1}),
    [](const auto& row) { return row.param.name; });

TEST(K7_PresetRevisionConverter, ReturnsEveryBitFromRev3ButTheUnisonSwitch) {
  for (std::uint32_t seed = 300; seed < 400; ++seed) {
    const std::string record = randomBytes(seed, recordSize);
    std::string expected = record;
    expected[8] = static_cast<char>((record[8] & 0x7F) | (record[3] & 0x80));

    EXPECT_EQ(toRev1(toRev3(record)), expected) << "seed " << seed;
  }
}

TEST(K7_PresetRevisionConverter, TakesReleaseAndOscillatorBFineFromRev1Byte17) {
  const std::string rev3 = toRev3(recordWith(17, '\x85'));

  EXPECT_EQ(rev3, std::string(15, '\0') + '\x80' + std::string(7, '\0') + '\x05');
}

TEST(K7_PresetRevisionConverter, TurnsUnisonOnForRev1Byte8AndKeepsTheCutoff) {
  const std::string rev3 = toRev3(recordWith(8, '\xB3'));

  EXPECT_EQ(rev3, std::string(7, '\0') + '\x80' + '\x33' + std::string(15, '\0'));
}

TEST(K7_PresetRevisionConverter, DropsUnisonOnTheWayToRev1) {
  EXPECT_EQ(toRev1(recordWith(7, '\xC1')), recordWith(7, '\x41'));
}

TEST(K7_PresetRevisionConverter, DoublesThePolyModFrequencySwitchOnTheWayToRev1) {
  const std::string rev1 = toRev1(recordWith(8, '\xD2'));

  EXPECT_EQ(rev1,
            std::string(3, '\0') + '\x80' + std::string(4, '\0') + '\xD2' + std::string(15, '\0'));
}
