#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "models/TransferModel.h"
#include "preset/PresetBank.h"

/// 960 random bytes, always the same for one `seed`.
PresetBank randomBank(std::uint32_t seed);

/// The bank as a string of 960 bytes.
std::string bytesOf(const PresetBank& bank);

/// A record of zeros but for one byte.
std::string recordWith(std::size_t byte, char value);

/// A SysEx bank file (2,120 bytes) of the records in `bank` (960 bytes).
std::string sysexFile(std::string_view bank);

/// The 960 bytes of the bank in a SysEx bank file.
std::string bankOf(std::string_view sysex);

/// The name of the transfer file of the record with index 0 to 39.
std::string transferName(int record);
