#pragma once

#include <array>
#include <vector>

#include "preset/PresetBank.h"

namespace recovery {

/// What the converter's own tape reader makes of samples that its loader accepts.
struct ConverterReading {
  int wrongPresets = 0;
  std::array<bool, presetCount> isWrong{};
  double dataStart = -1.0;  // seconds: where it takes the data to begin; below 0 if nowhere
};

/// The bank that the converter's own tape reader finds in the samples of one channel, taken for
/// 44,100 a second: by their signs alone. At most 16,777,216 samples: it never ends on more.
PresetBank readBySigns(std::vector<float> samples);

/// Reads the first `count` samples of one channel, taken for 44,100 a second, as the converter
/// does, and compares the result with `bank`. The samples are only read. At most 16,777,216 of
/// them: the converter's reader never ends on more.
ConverterReading readAsConverter(const float* samples, int count, const PresetBank& bank);

}  // namespace recovery
