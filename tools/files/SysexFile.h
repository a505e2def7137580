#pragma once

#include <string>

#include "preset/PresetBank.h"

/// The bytes of a SysEx bank file of the presets: a message of 53 bytes for each.
std::string sysexBankFile(const PresetBank& bank);
