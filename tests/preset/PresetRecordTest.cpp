#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "preset/PresetRecord.h"

namespace {

using Record = std::array<char, 24>;

/// A record that holds `value` at `byte` and the complement of it everywhere else.
Record recordWith(int byte, int value) {
  Record record;
  record.fill(static_cast<char>(~value));
  record[static_cast<std::size_t>(byte)] = static_cast<char>(value);
  return record;
}

std::string layoutText() {
  std::string text = "\n";
  for (const PresetField& field : presetFields) {
    text += "byte " + std::to_string(field.byte);
    text += field.kind == FieldKind::Switch ? " bit 7: " : " bits 0 to 6: ";
    text += field.key;
    text += field.kind == FieldKind::FractionOf127 ? "=n/127\n" : "=n\n";
  }
  return text;
}

const PresetField& fieldOf(const std::string& key) {
  return *std::find_if(presetFields.begin(), presetFields.end(),
                       [&key](const PresetField& field) { return field.key == key; });
}

struct FieldReading {
  const char* key;
  int byte;
  int value;
  int expected;
};

class PresetRecordFieldTest : public testing::TestWithParam<FieldReading> {};

}  // namespace

TEST(PresetRecord, LiesAsTheInstrumentsOfRevision3HaveIt) {
  EXPECT_EQ(layoutText(), R"(
byte 0 bit 7: OSC_A_PULSE=n
byte 0 bits 0 to 6: FILT_ATK=n/127
byte 1 bit 7: OSC_A_SAW=n
byte 1 bits 0 to 6: FILT_DEC=n/127
byte 2 bit 7: OSC_A_SYNC=n
byte 2 bits 0 to 6: FILT_SUS=n/127
byte 3 bit 7: OSC_B_SAW=n
byte 3 bits 0 to 6: FILT_REL=n/127
byte 4 bit 7: OSC_B_TRI=n
byte 4 bits 0 to 6: AMP_ATK=n/127
byte 5 bit 7: OSC_B_PULSE=n
byte 5 bits 0 to 6: AMP_DEC=n/127
byte 6 bit 7: OSC_B_KBD=n
byte 6 bits 0 to 6: AMP_SUS=n/127
byte 7 bit 7: UNISON=n
byte 7 bits 0 to 6: AMP_REL=n/127
byte 8 bit 7: POLY-MOD_FREQ_A=n
byte 8 bits 0 to 6: FILTER_CUTOFF=n/127
byte 9 bit 7: POLY-MOD_PW_A=n
byte 9 bits 0 to 6: FILT_ENV_AMT=n/127
byte 10 bit 7: POLY-MOD_FILT=n
byte 10 bits 0 to 6: MIX_OSC_B=n/127
byte 11 bit 7: LFO_SAW=n
byte 11 bits 0 to 6: OSC_B_PW=n/127
byte 12 bit 7: LFO_TRI=n
byte 12 bits 0 to 6: MIX_OSC_A=n/127
byte 13 bit 7: LFO_SQUARE=n
byte 13 bits 0 to 6: OSC_A_PW=n/127
byte 14 bit 7: FILT_KBD=n
byte 14 bits 0 to 6: MIX_NOISE=n/127
byte 15 bit 7: RELEASE=n
byte 15 bits 0 to 6: FILT_RESONANCE=n/127
byte 16 bit 7: W-MOD_FREQ_A=n
byte 16 bits 0 to 6: GLIDE=n/127
byte 17 bit 7: W-MOD_FREQ_B=n
byte 17 bits 0 to 6: LFO_FREQ=n/127
byte 18 bit 7: W-MOD_PW_A=n
byte 18 bits 0 to 6: W-MOD_SOURCE_MIX=n/127
byte 19 bit 7: W-MOD_PW_B=n
byte 19 bits 0 to 6: P-MOD_OSC_B=n/127
byte 20 bit 7: W-MOD_FILT=n
byte 20 bits 0 to 6: P-MOD_FILT_ENV=n/127
byte 21 bit 7: OSC_B_LOW_FREQ=n
byte 21 bits 0 to 6: OSC_A_FREQ=n
byte 22 bits 0 to 6: OSC_B_FREQ=n
byte 23 bits 0 to 6: OSC_B_FINE=n
)");
}

TEST(PresetRecord, SplitsAByteIntoASwitchAndASevenBitValue) {
  EXPECT_EQ(switchMask, 128);
  EXPECT_EQ(valueMask, 127);
}

TEST(PresetRecord, ReadsEveryFieldFromItsByteAlone) {
  for (const PresetField& field : presetFields) {
    for (int value = 0; value < 256; ++value) {
      const Record record = recordWith(field.byte, value);
      const int expected = field.kind == FieldKind::Switch ? value / 128 : value % 128;
      ASSERT_EQ(presetFieldValue(record.data(), field), expected)
          << field.key << " of byte " << field.byte << " = " << value;
    }
  }
}

TEST_P(PresetRecordFieldTest, IsNeverNegative) {
  const auto [key, byte, value, expected] = GetParam();
  EXPECT_EQ(presetFieldValue(recordWith(byte, value).data(), fieldOf(key)), expected)
      << key << " of byte " << byte << " = " << value;
}

INSTANTIATE_TEST_SUITE_P(
    Fields, PresetRecordFieldTest,
    testing::Values(
        FieldReading{"OSC_A_PULSE", 0, 0x80, 1}, FieldReading{"FILT_ATK", 0, 0x80, 0},
        FieldReading{"OSC_A_PULSE", 0, 0x85, 1}, FieldReading{"FILT_ATK", 0, 0x85, 5},
        FieldReading{"OSC_A_PULSE", 0, 0x7F, 0}, FieldReading{"FILT_ATK", 0, 0x7F, 127},
        FieldReading{"OSC_B_LOW_FREQ", 21, 0xFF, 1}, FieldReading{"OSC_A_FREQ", 21, 0xFF, 127},
        FieldReading{"OSC_B_FREQ", 22, 0xFF, 127}, FieldReading{"OSC_B_FREQ", 22, 0x7F, 127},
        FieldReading{"OSC_B_FINE", 23, 0xFF, 127}, FieldReading{"OSC_B_FINE", 23, 0x80, 0}));

TEST(PresetRecord, OfZeroBytesReadsAsAllZeros) {
  const Record zeros{};
  for (const PresetField& field : presetFields) {
    EXPECT_EQ(presetFieldValue(zeros.data(), field), 0) << field.key;
  }
}
