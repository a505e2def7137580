#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "models/TransferModel.h"
#include "preset/K7_PresetRevisionConverter.h"
#include "support/Banks.h"

namespace {

using Conversion = void (*)(const char* source, char* destination);
using Converter = K7_PresetRevisionConverter;

/// What `convert` makes of `source`, in place or in another buffer that is full of `before`. What
/// follows the buffer must stay as it is, and so must the source.
std::string converted(Conversion convert, const std::string& source, char before = '\x5A',
                      bool inPlace = false) {
  const std::string after(8, before);
  std::string input = source;
  std::string output = (inPlace ? source : std::string(source.size(), before)) + after;
  convert(inPlace ? output.data() : input.data(), output.data());
  EXPECT_EQ(input, source);
  EXPECT_EQ(output.substr(source.size()), after);
  return output.substr(0, source.size());
}

const struct {
  Conversion convertPreset;
  Conversion convertBank;
  std::string (*expected)(std::string_view records);
} directions[] = {
    {Converter::convertPresetRev1ToRev3, Converter::convertBankRev1ToRev3, expectedRev3},
    {Converter::convertPresetRev3ToRev1, Converter::convertBankRev3ToRev1, expectedRev1},
};

}  // namespace

TEST(K7_PresetRevisionConverter, PutsEachBitInItsPlace) {
  for (const auto& [convertPreset, convertBank, expected] : directions) {
    for (std::size_t bit = 0; bit < 192; ++bit) {
      const std::string record = recordWith(bit / 8, static_cast<char>(1 << bit % 8));
      EXPECT_EQ(converted(convertPreset, record), expected(record)) << "bit " << bit;
      EXPECT_EQ(converted(convertPreset, record, 'x', true), expected(record)) << "bit " << bit;
    }
    const std::string zeros(24, '\0');
    const std::string ones(24, '\xFF');
    EXPECT_EQ(converted(convertPreset, zeros, '\xFF'), zeros);
    EXPECT_EQ(converted(convertPreset, ones, '\0'), ones);
  }
}

TEST(K7_PresetRevisionConverter, ConvertsEveryRecordOfABankInPlaceToo) {
  const std::string bank = bytesOf(randomBank(1));
  for (const auto& [convertPreset, convertBank, expected] : directions) {
    EXPECT_EQ(converted(convertBank, bank), expected(bank));
    EXPECT_EQ(converted(convertBank, bank, 'x', true), expected(bank));
  }
}

TEST(K7_PresetRevisionConverter, ReturnsEveryBitFromRev3ButOne) {
  for (std::uint32_t seed = 0; seed < 100; ++seed) {
    const std::string record = bytesOf(randomBank(seed)).substr(0, 24);
    std::string expected = record;
    expected[8] = static_cast<char>((record[8] & 0x7F) | (record[3] & 0x80));
    EXPECT_EQ(converted(Converter::convertPresetRev3ToRev1,
                        converted(Converter::convertPresetRev1ToRev3, record)),
              expected)
        << "seed " << seed;
  }
}

TEST(K7_PresetRevisionConverter, MovesReleaseUnisonAndTheirNeighbours) {
  const auto toRev3 = [](const std::string& record) {
    return converted(Converter::convertPresetRev1ToRev3, record);
  };
  // RELEASE and OSC_B_FINE
  EXPECT_EQ(toRev3(recordWith(17, '\x85')),
            std::string(15, '\0') + '\x80' + std::string(7, '\0') + '\x05');
  // UNISON and FILTER_CUTOFF
  EXPECT_EQ(toRev3(recordWith(8, '\xB3')),
            std::string(7, '\0') + "\x80\x33" + std::string(15, '\0'));
  // On the way back UNISON is dropped.
  EXPECT_EQ(converted(Converter::convertPresetRev3ToRev1, recordWith(7, '\xC1')),
            recordWith(7, '\x41'));
}
