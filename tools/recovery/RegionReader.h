#pragma once

#include <vector>

#include "recovery/Take.h"

namespace recovery {

/// Reads the dumps of a region: a stretch of all channels in which the tones sound, silence around
/// them included. `channels` are equally long, as recorded, `sampleRate` a second. Times are from
/// their first sample. Where several channels hold a dump, the best one is taken, and from the
/// others those presets that it leaves doubtful.
std::vector<Take> readRegion(const std::vector<std::vector<float>>& channels, double sampleRate);

}  // namespace recovery
