#include "models/TapeModel.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

enum class Tone { Neither, High, Low };

Tone toneOfHalfPeriod(std::size_t samples) {
  if (samples >= 5 && samples <= 19) {
    return Tone::High;
  }
  return samples >= 35 && samples <= 49 ? Tone::Low : Tone::Neither;
}

/// The lengths of the runs of samples with one sign, without the last, which no change ends. What
/// is before the first sample counts as a negative one.
std::vector<std::size_t> runLengths(std::span<const float> samples) {
  std::vector<std::size_t> lengths;
  auto start = samples.begin();
  std::size_t before = 1;
  bool isPositive = false;
  while (true) {
    const auto end = std::find_if(start, samples.end(),
                                  [&](float sample) { return (sample > 0.0F) != isPositive; });
    if (end == samples.end()) {
      return lengths;
    }
    lengths.push_back(static_cast<std::size_t>(end - start) + before);
    start = end;
    before = 0;
    isPositive = !isPositive;
  }
}

/// A stretch of one tone; half-periods of neither tone between its own do not end it.
struct Stretch {
  Tone tone;
  int halfPeriods;
};

std::vector<Stretch> stretchesOfTone(std::span<const float> samples) {
  std::vector<Stretch> stretches;
  for (const std::size_t length : runLengths(samples)) {
    const Tone tone = toneOfHalfPeriod(length);
    if (tone == Tone::Neither) {
      continue;
    }
    if (stretches.empty() || stretches.back().tone != tone) {
      stretches.push_back({tone, 0});
    }
    ++stretches.back().halfPeriods;
  }
  return stretches;
}

int bitsIn(const Stretch& stretch) {
  return stretch.halfPeriods / (stretch.tone == Tone::High ? 12 : 4);
}

/// The data bits: those after the first zero bit that follows ten one bits in a row.
std::string dataBits(const std::vector<Stretch>& stretches) {
  std::string bits;
  int leaderOnes = 0;
  bool isInData = false;
  for (const Stretch& stretch : stretches) {
    const bool bit = stretch.tone == Tone::High;
    const int count = bitsIn(stretch);
    if (isInData) {
      bits.append(static_cast<std::size_t>(count), bit ? 1 : 0);
    } else if (bit) {
      leaderOnes += count;
    } else if (count > 0 && leaderOnes < 10) {
      leaderOnes = 0;
    } else if (count > 0) {
      isInData = true;
      bits.assign(static_cast<std::size_t>(count - 1), 0);
    }
  }
  return bits;
}

}  // namespace

void TapeModel::decode(std::span<const float> samples) {
  const std::string decoded = dataBits(stretchesOfTone(samples)).substr(0, bits.size());
  bits.replace(0, decoded.size(), decoded);
}

std::string TapeModel::bank() const {
  std::string bank(960, '\0');
  for (std::size_t bit = 0; bit < bank.size() * 8; ++bit) {
    bank[bit / 8] = static_cast<char>(bank[bit / 8] | bits[bit] << (7 - bit % 8));
  }
  return bank;
}
