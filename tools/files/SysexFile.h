#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "preset/PresetBank.h"

/// Sizes in bytes: a preset's message has 4 leading bytes, 48 nibbles and 1 trailing byte.
inline constexpr std::size_t sysexMessageSize = 4 + 2 * presetSize + 1;
inline constexpr std::size_t sysexBankSize = presetCount * sysexMessageSize;

/// Whether `bytes` begin with the messages of 40 presets, all of which a reader reaches: a byte
/// 0xFF would end its reading. The very last byte, which is never read, may be missing.
bool isCompleteSysexBank(std::string_view bytes);

/// The bytes of a SysEx bank file of the presets: a message of 53 bytes for each.
std::string sysexBankFile(const PresetBank& bank);
