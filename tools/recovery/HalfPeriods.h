#pragma once

#include <vector>

#include "recovery/SpeedTrack.h"

namespace recovery {

/// A bit and where it lies, in seconds from the first sample.
struct TimedBit {
  double start = 0.0;
  double end = 0.0;
  bool value = false;
};

/// Bits that follow each other without a flaw: every half-period has a length of its class and the
/// height of the tones, and each run of them makes whole bits. Only a run as long as a leader,
/// where a chain ends, may hold a part of one more.
struct BitChain {
  std::vector<TimedBit> bits;
  bool endsInSilence = false;
};

/// Reads the chains of flawless bits by the lengths of the half-periods between zero crossings.
/// `samples` are levelled and without bass.
std::vector<BitChain> readChains(const std::vector<float>& samples, double sampleRate,
                                 const SpeedTrack& track);

}  // namespace recovery
