#pragma once

#include <vector>

#include "recovery/BitSequence.h"
#include "recovery/Take.h"

namespace recovery {

/// Fills the doubtful places of a take that was framed from `sequence`: what was read there, what
/// nearly, and the wave of `recorded`, the channel as it was recorded, `sampleRate` a second.
void describePlaces(Take& take, const BitSequence& sequence, const std::vector<float>& recorded,
                    double sampleRate);

}  // namespace recovery
