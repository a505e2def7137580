#pragma once

#include <array>
#include <cstdint>

#include "preset/PresetBank.h"

namespace recovery {

/// What the converter's own tape reader makes of samples that its loader accepts.
struct ConverterReading {
  int wrongPresets = 0;
  std::array<bool, presetCount> isWrong{};
};

/// Reads the first `count` samples of one channel, taken for 44,100 a second, as the converter
/// does, and compares the result with `bank`. The samples are only read.
ConverterReading readAsConverter(const float* samples, int count, const PresetBank& bank);

}  // namespace recovery
