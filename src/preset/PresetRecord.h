#pragma once

#include <array>

/// The two fields that share a record byte: a one-bit switch and a seven-bit value.
inline constexpr int switchMask = 0x80;
inline constexpr int valueMask = 0x7F;

/// What a field is: which bits of its byte it takes and how its number is written in a transfer
/// file.
enum class FieldKind {
  Switch,         // bit 7: 0 or 1
  FractionOf127,  // bits 0 to 6: 64/127
  Number,         // bits 0 to 6: 64
};

/// One setting of a preset: its transfer key and its place in the revision-3 record.
struct PresetField {
  const char* key;
  int byte;
  FieldKind kind;
};

/// The revision-3 record, byte by byte, switch before value. Bit 7 of bytes 22 and 23 has no key.
inline constexpr std::array<PresetField, 46> presetFields{{
    {"OSC_A_PULSE", 0, FieldKind::Switch},     {"FILT_ATK", 0, FieldKind::FractionOf127},
    {"OSC_A_SAW", 1, FieldKind::Switch},       {"FILT_DEC", 1, FieldKind::FractionOf127},
    {"OSC_A_SYNC", 2, FieldKind::Switch},      {"FILT_SUS", 2, FieldKind::FractionOf127},
    {"OSC_B_SAW", 3, FieldKind::Switch},       {"FILT_REL", 3, FieldKind::FractionOf127},
    {"OSC_B_TRI", 4, FieldKind::Switch},       {"AMP_ATK", 4, FieldKind::FractionOf127},
    {"OSC_B_PULSE", 5, FieldKind::Switch},     {"AMP_DEC", 5, FieldKind::FractionOf127},
    {"OSC_B_KBD", 6, FieldKind::Switch},       {"AMP_SUS", 6, FieldKind::FractionOf127},
    {"UNISON", 7, FieldKind::Switch},          {"AMP_REL", 7, FieldKind::FractionOf127},
    {"POLY-MOD_FREQ_A", 8, FieldKind::Switch}, {"FILTER_CUTOFF", 8, FieldKind::FractionOf127},
    {"POLY-MOD_PW_A", 9, FieldKind::Switch},   {"FILT_ENV_AMT", 9, FieldKind::FractionOf127},
    {"POLY-MOD_FILT", 10, FieldKind::Switch},  {"MIX_OSC_B", 10, FieldKind::FractionOf127},
    {"LFO_SAW", 11, FieldKind::Switch},        {"OSC_B_PW", 11, FieldKind::FractionOf127},
    {"LFO_TRI", 12, FieldKind::Switch},        {"MIX_OSC_A", 12, FieldKind::FractionOf127},
    {"LFO_SQUARE", 13, FieldKind::Switch},     {"OSC_A_PW", 13, FieldKind::FractionOf127},
    {"FILT_KBD", 14, FieldKind::Switch},       {"MIX_NOISE", 14, FieldKind::FractionOf127},
    {"RELEASE", 15, FieldKind::Switch},        {"FILT_RESONANCE", 15, FieldKind::FractionOf127},
    {"W-MOD_FREQ_A", 16, FieldKind::Switch},   {"GLIDE", 16, FieldKind::FractionOf127},
    {"W-MOD_FREQ_B", 17, FieldKind::Switch},   {"LFO_FREQ", 17, FieldKind::FractionOf127},
    {"W-MOD_PW_A", 18, FieldKind::Switch},     {"W-MOD_SOURCE_MIX", 18, FieldKind::FractionOf127},
    {"W-MOD_PW_B", 19, FieldKind::Switch},     {"P-MOD_OSC_B", 19, FieldKind::FractionOf127},
    {"W-MOD_FILT", 20, FieldKind::Switch},     {"P-MOD_FILT_ENV", 20, FieldKind::FractionOf127},
    {"OSC_B_LOW_FREQ", 21, FieldKind::Switch}, {"OSC_A_FREQ", 21, FieldKind::Number},
    {"OSC_B_FREQ", 22, FieldKind::Number},     {"OSC_B_FINE", 23, FieldKind::Number},
}};

/// The number that the 24-byte revision-3 record at `record` holds for `field`: 0 or 1 for a
/// switch, 0 to 127 for a value.
constexpr int presetFieldValue(const char* record, const PresetField& field) {
  const auto byte = static_cast<unsigned char>(record[field.byte]);
  return field.kind == FieldKind::Switch ? byte >> 7 : byte & valueMask;
}
