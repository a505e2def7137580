#pragma once

#include <vector>

#include "recovery/SpeedTrack.h"
#include "recovery/Take.h"

namespace recovery {

/// Describes how the signal of `take` was recorded: fills its facts, speed, drop-outs, half-period
/// lengths and spectrum. `recorded` is the channel as it was recorded, `evened` the same without
/// bass and levelled, both `sampleRate` a second; all times are from their first sample.
void describeSignal(Take& take, const std::vector<float>& recorded,
                    const std::vector<float>& evened, double sampleRate, const SpeedTrack& track);

}  // namespace recovery
