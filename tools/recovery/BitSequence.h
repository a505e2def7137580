#pragma once

#include <cstddef>
#include <vector>

#include "recovery/Take.h"

namespace recovery {

/// Bits of a dump's data.
inline constexpr std::size_t dataBits = static_cast<std::size_t>(bitsPerBank);

/// A bit on its way into the frame of a dump.
struct ReadBit {
  double start = 0.0;  // seconds
  double end = 0.0;
  bool value = false;
  bool hasTone = false;
  float margin = 0.0F;  // nats
  float gain = 1.0F;    // of its wave, against the usual
  float fit = 1.0F;     // part of the energy here that its wave explains
  float level = 1.0F;   // that energy, against the usual
};

/// So many bits without a tone stand before the tones and after them where they begin and end; the
/// beginning and the end of the recording are as silent.
inline constexpr std::size_t silentBits = 4;

/// The bits of a region in the order of time, and where they might be read otherwise.
struct BitSequence {
  std::vector<ReadBit> bits;

  /// What a weak stretch might be instead: `readings[i]` has i - `farthestSlip` bits more.
  struct Stretch {
    std::size_t begin = 0;  // indices into `bits`
    std::size_t end = 0;
    struct Reading {
      float cost = 0.0F;          // nats against the bits as they are
      std::vector<ReadBit> bits;  // empty where there is none
    };
    std::vector<Reading> readings;  // 2 * farthestSlip + 1 of them
    std::vector<ReadBit> other;     // the best reading in which its weakest bit differs
  };
  std::vector<Stretch> stretches;  // in the order of time
};

/// Indices of bits that belong together, the first one and one past the last one.
struct IndexRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

}  // namespace recovery
