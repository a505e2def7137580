#pragma once

#include <array>

/// Sizes of the instrument's preset memory.
inline constexpr int presetSize = 24;  // bytes a record
inline constexpr int presetCount = 40;
inline constexpr int presetsPerGroup = 8;
inline constexpr int presetBankSize = presetCount * presetSize;

/// The 40 preset records back to back, 960 bytes without a header; record i starts at byte 24 * i.
/// In the arrangement of its instrument's revision until it is converted.
using PresetBank = std::array<char, presetBankSize>;

/// The group, 1 to 5, of the record with the 0-based index `record`.
constexpr int presetGroup(int record) { return record / presetsPerGroup + 1; }

/// The number within its group, 1 to 8, of the record with the 0-based index `record`.
constexpr int presetNumber(int record) { return record % presetsPerGroup + 1; }
