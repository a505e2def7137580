#pragma once

#include <vector>

#include "recovery/BitSequence.h"
#include "recovery/Take.h"

namespace recovery {

/// Finds the dumps in a sequence of bits: a leader of ones, its first zero, 7,680 bits. Fills what
/// a take has of its bits, leader and marker; the rest is left.
std::vector<Take> frameDumps(const BitSequence& sequence);

}  // namespace recovery
