#pragma once

#include <array>

/// The two fields that share a record byte: a one-bit switch and a seven-bit value.
inline constexpr int switchMask = 0x80;
inline constexpr int valueMask = 0x7F;

/// Which bits of its byte a field takes.
enum class FieldBits {
  Switch,  // bit 7: 0 or 1
  Value,   // bits 0 to 6: 0 to 127
};

/// How a field's number is written in a transfer file.
enum class FieldNotation {
  Number,         // 64
  FractionOf127,  // 64/127
};

/// One setting of a preset: its transfer key and its place in the revision-3 record.
struct PresetField {
  const char* key;
  int byte;
  FieldBits bits;
  FieldNotation notation;
};

/// The revision-3 record, byte by byte, switch before value. Bit 7 of bytes 22 and 23 has no key.
inline constexpr std::array<PresetField, 46> presetFields{{
    {"OSC_A_PULSE", 0, FieldBits::Switch, FieldNotation::Number},
    {"FILT_ATK", 0, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_A_SAW", 1, FieldBits::Switch, FieldNotation::Number},
    {"FILT_DEC", 1, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_A_SYNC", 2, FieldBits::Switch, FieldNotation::Number},
    {"FILT_SUS", 2, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_B_SAW", 3, FieldBits::Switch, FieldNotation::Number},
    {"FILT_REL", 3, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_B_TRI", 4, FieldBits::Switch, FieldNotation::Number},
    {"AMP_ATK", 4, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_B_PULSE", 5, FieldBits::Switch, FieldNotation::Number},
    {"AMP_DEC", 5, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_B_KBD", 6, FieldBits::Switch, FieldNotation::Number},
    {"AMP_SUS", 6, FieldBits::Value, FieldNotation::FractionOf127},
    {"UNISON", 7, FieldBits::Switch, FieldNotation::Number},
    {"AMP_REL", 7, FieldBits::Value, FieldNotation::FractionOf127},
    {"POLY-MOD_FREQ_A", 8, FieldBits::Switch, FieldNotation::Number},
    {"FILTER_CUTOFF", 8, FieldBits::Value, FieldNotation::FractionOf127},
    {"POLY-MOD_PW_A", 9, FieldBits::Switch, FieldNotation::Number},
    {"FILT_ENV_AMT", 9, FieldBits::Value, FieldNotation::FractionOf127},
    {"POLY-MOD_FILT", 10, FieldBits::Switch, FieldNotation::Number},
    {"MIX_OSC_B", 10, FieldBits::Value, FieldNotation::FractionOf127},
    {"LFO_SAW", 11, FieldBits::Switch, FieldNotation::Number},
    {"OSC_B_PW", 11, FieldBits::Value, FieldNotation::FractionOf127},
    {"LFO_TRI", 12, FieldBits::Switch, FieldNotation::Number},
    {"MIX_OSC_A", 12, FieldBits::Value, FieldNotation::FractionOf127},
    {"LFO_SQUARE", 13, FieldBits::Switch, FieldNotation::Number},
    {"OSC_A_PW", 13, FieldBits::Value, FieldNotation::FractionOf127},
    {"FILT_KBD", 14, FieldBits::Switch, FieldNotation::Number},
    {"MIX_NOISE", 14, FieldBits::Value, FieldNotation::FractionOf127},
    {"RELEASE", 15, FieldBits::Switch, FieldNotation::Number},
    {"FILT_RESONANCE", 15, FieldBits::Value, FieldNotation::FractionOf127},
    {"W-MOD_FREQ_A", 16, FieldBits::Switch, FieldNotation::Number},
    {"GLIDE", 16, FieldBits::Value, FieldNotation::FractionOf127},
    {"W-MOD_FREQ_B", 17, FieldBits::Switch, FieldNotation::Number},
    {"LFO_FREQ", 17, FieldBits::Value, FieldNotation::FractionOf127},
    {"W-MOD_PW_A", 18, FieldBits::Switch, FieldNotation::Number},
    {"W-MOD_SOURCE_MIX", 18, FieldBits::Value, FieldNotation::FractionOf127},
    {"W-MOD_PW_B", 19, FieldBits::Switch, FieldNotation::Number},
    {"P-MOD_OSC_B", 19, FieldBits::Value, FieldNotation::FractionOf127},
    {"W-MOD_FILT", 20, FieldBits::Switch, FieldNotation::Number},
    {"P-MOD_FILT_ENV", 20, FieldBits::Value, FieldNotation::FractionOf127},
    {"OSC_B_LOW_FREQ", 21, FieldBits::Switch, FieldNotation::Number},
    {"OSC_A_FREQ", 21, FieldBits::Value, FieldNotation::Number},
    {"OSC_B_FREQ", 22, FieldBits::Value, FieldNotation::Number},
    {"OSC_B_FINE", 23, FieldBits::Value, FieldNotation::Number},
}};

/// The number that the 24-byte revision-3 record at `record` holds for `field`: 0 or 1 for a
/// switch, 0 to 127 for a value.
constexpr int presetFieldValue(const char* record, const PresetField& field) {
  const auto byte = static_cast<unsigned char>(record[field.byte]);
  return field.bits == FieldBits::Switch ? byte >> 7 : byte & valueMask;
}
