#include "recovery/Bits.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <utility>

#include "recovery/SlackCosts.h"
#include "recovery/WaveDecoder.h"
#include "recovery/Waves.h"

namespace recovery {

namespace {

constexpr int fewestTones = 150;  // bits of a signal that must be tones: less than a preset
constexpr int paddingBits = 8;  // put before and after the signal, which may begin or end in a bit

}  // namespace

TapeSignal resample(const std::vector<float>& samples, double sampleRate, const SpeedTrack& track) {
  TapeSignal signal;
  signal.zeroLength = longsPerZeroBit * samplesPerShort * track.ratio();
  if (samples.size() < 4) {
    return signal;
  }
  const auto padding = static_cast<std::size_t>(paddingBits * oneLength);
  const auto pad = [&](double time) {
    signal.samples.insert(signal.samples.end(), padding, 0.0F);
    signal.times.insert(signal.times.end(), padding, time);
  };
  pad(0.0);
  const auto end = static_cast<double>(samples.size() - 3);
  double position = 1.0;
  while (position < end) {
    const auto index = static_cast<std::size_t>(position);
    const auto x = static_cast<float>(position - static_cast<double>(index));
    const float a = samples[index - 1];
    const float b = samples[index];
    const float c = samples[index + 1];
    const float d = samples[index + 2];
    // The cubic through the four samples.
    const float third = (d - a) / 6.0F + (b - c) / 2.0F;
    const float second = (a + c) / 2.0F - b;
    const float first = c - a / 3.0F - b / 2.0F - d / 6.0F;
    signal.samples.push_back(((third * x + second) * x + first) * x + b);
    const double time = position / sampleRate;
    signal.times.push_back(time);
    position += track.shortHalfPeriod(time) * sampleRate / samplesPerShort;
  }
  pad(position / sampleRate);
  return signal;
}

namespace {

/// The energy of a tone in every window of its bit's length.
class ToneEnergy {
 public:
  ToneEnergy(const std::vector<float>& samples, double period, int length) : window(length) {
    sums.reserve(samples.size() + 1);
    sums.emplace_back(0.0, 0.0);
    const std::complex<double> turn = std::polar(1.0, -2.0 * std::numbers::pi / period);
    std::complex<double> phase(1.0, 0.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      sums.push_back(sums.back() + phase * static_cast<double>(samples[i]));
      phase *= turn;
      if (i % 1024 == 0) {
        phase /= std::abs(phase);
      }
    }
  }

  std::complex<double> at(std::size_t start) const {
    return sums[start + static_cast<std::size_t>(window)] - sums[start];
  }

  std::size_t length() const { return static_cast<std::size_t>(window); }

  double energy(std::size_t start) const { return std::norm(at(start)) * 2.0 / window; }

 private:
  std::vector<std::complex<double>> sums;
  int window;
};

/// Sets how far each bit is the tone of its value. Returns whether enough of them are, and not just
/// the best that can be made of noise.
bool describeTones(const std::vector<float>& samples, const std::array<ToneEnergy, 2>& tones,
                   std::vector<PathBit>& bits) {
  int count = 0;
  for (PathBit& bit : bits) {
    const auto start = static_cast<std::size_t>(bit.start);
    const ToneEnergy& tone = tones[bit.value ? 1 : 0];
    double energy = 0.0;
    for (std::size_t i = start; i < start + tone.length(); ++i) {
      energy += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
    }
    bit.gain = 1.0F;
    bit.fit = energy > 0.0 ? static_cast<float>(tone.energy(start) / energy) : 0.0F;
    count += static_cast<double>(bit.fit) > leastTonePart ? 1 : 0;
  }
  return count >= fewestTones;
}

}  // namespace

std::vector<PathBit> readByEnergy(const TapeSignal& signal) {
  const Lengths lengths = lengthsOf(signal);
  const int size = static_cast<int>(signal.samples.size());
  const int longest = std::max(lengths[0], lengths[1]);
  if (size < 2 * (longest + slack)) {
    return {};
  }
  const std::array<ToneEnergy, 2> tones{
      ToneEnergy(signal.samples, signal.zeroLength / 2.0, lengths[0]),
      ToneEnergy(signal.samples, 2.0 * samplesPerShort, lengths[1])};

  const SlackCosts slackCost(leastSlackDeviation);
  // Bits begin anywhere: every path covers the signal from its first samples on.
  constexpr double noise = 0.05;
  std::vector<double> best(static_cast<std::size_t>(size) + 1, impossible);
  std::vector<std::int8_t> extras(best.size(), 0);
  std::vector<std::int8_t> values(best.size(), 0);
  std::fill_n(best.begin(), longest, 0.0);
  int end = 0;
  for (int start = 0; start + longest + slack < size; ++start) {
    for (int value = 0; value < 2; ++value) {
      const int length = lengths[static_cast<std::size_t>(value)];
      const double energy =
          tones[static_cast<std::size_t>(value)].energy(static_cast<std::size_t>(start));
      const double score = best[static_cast<std::size_t>(start)] + energy / (2.0 * noise);
      for (int extra = -slack; extra <= slack; ++extra) {
        const auto target = static_cast<std::size_t>(start + length + extra);
        if (score - slackCost(extra) > best[target]) {
          best[target] = score - slackCost(extra);
          extras[target] = static_cast<std::int8_t>(extra);
          values[target] = static_cast<std::int8_t>(value);
        }
      }
    }
    end = start;
  }
  // The value of a step is that of the bit that ends there, whatever came before it.
  std::vector<PathBit> bits;
  int position = end;
  while (position >= longest) {
    const auto at = static_cast<std::size_t>(position);
    const int length = lengths[static_cast<std::size_t>(values[at])] + extras[at];
    position -= length;
    bits.push_back({.start = position, .length = length, .value = values[at] != 0});
  }
  std::reverse(bits.begin(), bits.end());
  return describeTones(signal.samples, tones, bits) ? bits : std::vector<PathBit>();
}

namespace {

/// Moves the starts of bits to where the phase of their tone is that of most others.
void alignToPhase(const TapeSignal& signal, std::vector<PathBit>& bits) {
  const Lengths lengths = lengthsOf(signal);
  const std::array<double, 2> periods{signal.zeroLength / 2.0, 2.0 * samplesPerShort};
  for (std::size_t value = 0; value < 2; ++value) {
    const ToneEnergy tone(signal.samples, periods[value], lengths[value]);
    const auto last = static_cast<int>(signal.samples.size()) - lengths[value];
    const auto phaseOf = [&](const PathBit& bit) {
      const auto start = static_cast<std::size_t>(bit.start);
      // The sums turn with the tone from the first sample on; the bit's own phase does not.
      return tone.at(start) * std::polar(1.0, 2.0 * std::numbers::pi * bit.start / periods[value]);
    };
    std::complex<double> usual(0.0, 0.0);
    for (std::size_t k = 1; k < bits.size(); ++k) {
      if ((bits[k].value ? 1U : 0U) == value && bits[k - 1].value != bits[k].value &&
          bits[k].hasTone() && bits[k].start < last) {
        usual += phaseOf(bits[k]);
      }
    }
    for (PathBit& bit : bits) {
      if ((bit.value ? 1U : 0U) != value || bit.start >= last) {
        continue;
      }
      const double ahead = std::arg(phaseOf(bit) * std::conj(usual));
      const auto shift =
          static_cast<int>(std::lround(ahead / (2.0 * std::numbers::pi) * periods[value]));
      bit.start = std::clamp(bit.start - shift, 0, last);
    }
  }
}

}  // namespace

BitPath readByWaves(const TapeSignal& signal, const std::vector<PathBit>& first) {
  BitPath path;
  const int longest = std::max(lengthsOf(signal)[0], lengthsOf(signal)[1]);
  if (static_cast<int>(signal.samples.size()) < 2 * (longest + slack)) {
    return path;
  }
  std::vector<PathBit> bits = first;
  alignToPhase(signal, bits);
  Waves waves(lengthsOf(signal));
  double hiss = 1.0e-3;
  double slackDeviation = leastSlackDeviation;
  constexpr int passes = 2;
  for (int pass = 0; pass < passes; ++pass) {
    if (!waves.learn(signal.samples, bits)) {
      return path;
    }
    WaveDecoder decoder(signal, waves, hiss, slackDeviation);
    bits = decoder.forward();
    hiss = decoder.measureHiss(bits);
    slackDeviation = decoder.measureSlack(bits);
  }
  if (!waves.learn(signal.samples, bits)) {
    return path;
  }
  if (!waves.areTones()) {
    return path;
  }
  WaveDecoder decoder(signal, waves, hiss, slackDeviation);
  decoder.weigh(decoder.forward());
  bits = decoder.forward();
  decoder.setMargins(bits);
  path.weakStretches = decoder.findWeakStretches(bits);
  path.bits = std::move(bits);
  return path;
}

}  // namespace recovery
