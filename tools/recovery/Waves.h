#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "recovery/Bits.h"
#include "signal/Tones.h"

namespace recovery {

/// Tape samples of a zero and of a one.
using Lengths = std::array<int, 2>;

inline constexpr int oneLength = shortsPerOneBit * samplesPerShort;

/// The part of a bit's or a wave's energy that must be its tone.
inline constexpr double leastTonePart = 0.45;

Lengths lengthsOf(const TapeSignal& signal);

/// The waves of the bits, by the value of the bit before and their own.
class Waves {
 public:
  explicit Waves(const Lengths& bitLengths) : lengths(bitLengths) {}

  /// Averages the signal over the bits. Returns false where there are too few of them.
  bool learn(const std::vector<float>& samples, const std::vector<PathBit>& bits);

  /// Whether the waves are what they should be: mostly two cycles for a zero, six for a one.
  bool areTones() const;

  /// The wave of a bit after another; its energy is 1.
  const std::vector<float>& after(bool before, bool value) const;

  /// Which of the four waves is that of a bit after another.
  static std::size_t index(bool before, bool value) {
    return (before ? 2U : 0U) + (value ? 1U : 0U);
  }

  /// Sets `results` to the correlations with each wave from every start on, by `index`. There must
  /// be at least as many samples as a wave has.
  void correlate(const std::vector<float>& samples,
                 std::array<std::vector<float>, 4>& results) const;

 private:
  static constexpr double zeroCycles = 2.0;
  static constexpr double oneCycles = 6.0;

  /// Which values hardly occur as tones in what holds many of the other: in a bank of one value the
  /// marker or the leader may be all that there is, and what else looks like it is noise.
  static std::array<bool, 2> findRare(const std::vector<PathBit>& bits);

  /// The part of a wave's energy, which is 1, in a sine of so many cycles.
  static double shareOf(const std::vector<float>& wave, double cycles);

  static void normalise(std::vector<float>& wave);

  Lengths lengths;
  std::array<std::vector<float>, 4> waves;
};

}  // namespace recovery
