#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "recovery/Filter.h"

namespace recovery {

/// The signal divided by what is to be expected of noise at each moment: hiss, and a part of the
/// signal itself that no wave explains. Weak stretches count for what they are worth: even far
/// below the usual level, a tone that is well above the hiss tells its bits.
struct Whitened {
  /// `hissEnergy` is the mean square of the hiss.
  Whitened(const std::vector<float>& signal, double hissEnergy) : samples(signal.size()) {
    const std::vector<double> squares = meanSquares(signal, reach);
    levels.resize(signal.size());
    noises.resize(signal.size());
    for (std::size_t i = 0; i < signal.size(); ++i) {
      levels[i] = static_cast<float>(squares[i]);
      noises[i] = static_cast<float>(unexplained * static_cast<double>(levels[i]) + hissEnergy);
      samples[i] = signal[i] / std::sqrt(noises[i]);
    }
  }

  static constexpr std::size_t reach = 44;      // tape samples to either side: 3 ms
  static constexpr double unexplained = 0.015;  // of the signal's energy

  std::vector<float> samples;
  std::vector<float> levels;  // mean squares around each sample
  std::vector<float> noises;  // mean squares that a sample of the whitened signal has as 1
};

}  // namespace recovery
