#include "recovery/Waves.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "recovery/Filter.h"
#include "recovery/Take.h"

namespace recovery {

namespace {

constexpr int fewestToLearn = 4;

}  // namespace

Lengths lengthsOf(const TapeSignal& signal) {
  return {static_cast<int>(std::lround(signal.zeroLength)), oneLength};
}

bool Waves::learn(const std::vector<float>& samples, const std::vector<PathBit>& bits) {
  std::array<int, 4> counts{};
  for (std::size_t i = 0; i < 4; ++i) {
    waves[i].assign(static_cast<std::size_t>(lengths[i % 2]), 0.0F);
  }
  const std::array<bool, 2> isRare = findRare(bits);
  for (std::size_t k = 1; k < bits.size(); ++k) {
    const auto which = index(bits[k - 1].value, bits[k].value);
    std::vector<float>& wave = waves[which];
    const auto start = static_cast<std::size_t>(bits[k].start);
    if (start + wave.size() > samples.size() || (isRare[which % 2] && !bits[k].hasTone())) {
      continue;
    }
    ++counts[which];
    for (std::size_t i = 0; i < wave.size(); ++i) {
      wave[i] += samples[start + i];
    }
  }
  for (std::size_t value = 0; value < 2; ++value) {
    if (counts[value] + counts[value + 2] < (isRare[value] ? 1 : fewestToLearn)) {
      return false;
    }
    // A neighbourhood that hardly occurs takes the wave of the other one; of two that occur as
    // rarely as each other, that after a zero counts.
    if (counts[value] < std::min(fewestToLearn, counts[value + 2])) {
      waves[value] = waves[value + 2];
    } else if (counts[value + 2] < std::min(fewestToLearn, counts[value] + 1)) {
      waves[value + 2] = waves[value];
    }
  }
  for (std::vector<float>& wave : waves) {
    normalise(wave);
  }
  return true;
}

bool Waves::areTones() const {
  for (std::size_t which = 0; which < waves.size(); ++which) {
    if (shareOf(waves[which], which % 2 == 0 ? zeroCycles : oneCycles) < leastTonePart) {
      return false;
    }
  }
  return true;
}

const std::vector<float>& Waves::after(bool before, bool value) const {
  return waves[index(before, value)];
}

void Waves::correlate(const std::vector<float>& samples,
                      std::array<std::vector<float>, 4>& results) const {
  constexpr std::size_t block = 512;
  for (std::size_t which = 0; which < 4; ++which) {
    const std::vector<float>& wave = waves[which];
    const std::size_t count = samples.size() - wave.size() + 1;
    results[which].assign(samples.size(), 0.0F);
    for (std::size_t begin = 0; begin < count; begin += block) {
      const std::size_t size = std::min(block, count - begin);
      float* const sums = results[which].data() + begin;
      for (std::size_t tap = 0; tap < wave.size(); ++tap) {
        const float weight = wave[tap];
        const float* const shifted = samples.data() + begin + tap;
        for (std::size_t i = 0; i < size; ++i) {
          sums[i] += weight * shifted[i];
        }
      }
    }
  }
}

std::array<bool, 2> Waves::findRare(const std::vector<PathBit>& bits) {
  constexpr int many = bitsPerBank / 2;
  constexpr int few = 1000;
  std::array<int, 2> counts{};
  for (const PathBit& bit : bits) {
    counts[bit.value ? 1 : 0] += bit.hasTone() ? 1 : 0;
  }
  return {counts[0] < few && counts[1] >= many, counts[1] < few && counts[0] >= many};
}

double Waves::shareOf(const std::vector<float>& wave, double cycles) {
  std::complex<double> sum(0.0, 0.0);
  const auto size = static_cast<double>(wave.size());
  for (std::size_t i = 0; i < wave.size(); ++i) {
    const double angle = 2.0 * std::numbers::pi * cycles * static_cast<double>(i) / size;
    sum += static_cast<double>(wave[i]) * std::polar(1.0, -angle);
  }
  return 2.0 * std::norm(sum) / size;
}

void Waves::normalise(std::vector<float>& wave) {
  const auto factor = static_cast<float>(1.0 / std::sqrt(std::max(energyOf(wave), 1.0e-12)));
  for (float& sample : wave) {
    sample *= factor;
  }
}

}  // namespace recovery
