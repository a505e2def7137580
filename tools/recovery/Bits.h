#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "recovery/SpeedTrack.h"

namespace recovery {

/// Tape samples of a short half-period.
inline constexpr int samplesPerShort = 4;

/// The signal at constant tape speed.
struct TapeSignal {
  std::vector<float> samples;
  std::vector<double> times;  // seconds from the region's first sample, one a sample
  double zeroLength = 0.0;    // tape samples of a zero bit; those of a one bit are 48
};

/// Resamples `samples`, levelled and without bass, to constant speed.
TapeSignal resample(const std::vector<float>& samples, double sampleRate, const SpeedTrack& track);

/// A bit of the likeliest way to cut the signal into bits.
struct PathBit {
  int start = 0;  // tape sample
  int length = 0;
  bool value = false;
  float margin = 0.0F;  // nats by which the best path with the other value here is less likely
  float gain = 0.0F;    // of its wave, against the usual
  float fit = 0.0F;     // part of the energy here that its wave explains
  float level = 0.0F;   // that energy, against the usual

  bool hasTone() const { return gain >= 0.25F && fit >= 0.4F; }
};

/// Bits in a row without a tone that a dump may hold: 0.3 s. More of them part two dumps.
inline constexpr std::size_t longestGap = 90;

inline constexpr int farthestSlip = 3;  // bits that a weak stretch is taken to lose or gain

/// A stretch of the path that might also be cut into more or fewer bits.
struct WeakStretch {
  struct Reading {
    float cost = 0.0F;  // nats against the path, not below 0
    std::vector<PathBit> bits;
  };

  std::size_t begin = 0;  // index of its first bit
  std::size_t end = 0;    // one past its last bit
  /// The best readings with -3 to 3 bits more than the path has; without bits where there is none.
  std::array<Reading, 2 * farthestSlip + 1> readings = {};
  std::vector<PathBit> other = {};  // the best reading in which its weakest bit differs
};

struct BitPath {
  std::vector<PathBit> bits;
  std::vector<WeakStretch> weakStretches;
};

/// Cuts the signal into bits in a first way, by the energies of the two tones, that needs nothing
/// but the tones' lengths. Margins are not set, and gains are 1. Nothing where hardly a bit is a
/// tone: there it is no dump.
std::vector<PathBit> readByEnergy(const TapeSignal& signal);

/// Cuts the signal into bits by the waves of a one and a zero, as they are in this very recording:
/// learned from `first`, a cut that is mostly right. Nothing where that has too few of either.
BitPath readByWaves(const TapeSignal& signal, const std::vector<PathBit>& first);

}  // namespace recovery
