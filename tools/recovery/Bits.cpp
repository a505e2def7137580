#include "recovery/Bits.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <utility>

#include "recovery/Filter.h"
#include "recovery/Quantile.h"
#include "recovery/Take.h"
#include "signal/Tones.h"

namespace recovery {

namespace {

constexpr int oneLength = shortsPerOneBit * samplesPerShort;
constexpr int slack = 5;                     // tape samples by which a bit may be longer or shorter
constexpr double leastSlackDeviation = 0.8;  // tape samples
constexpr double mostSlackDeviation = 2.0;
constexpr double impossible = -1.0e30;
constexpr double leastHiss = 1.0e-7;         // mean square; the tones' is about 0.5
constexpr float weakMargin = 36.0F;          // nats under which a bit belongs to a weak stretch
constexpr std::size_t joinedGap = 4;         // firm bits between weak ones that part no stretches
constexpr std::size_t longestStretch = 300;  // bits
constexpr int fewestToLearn = 4;
constexpr double leastTonePart = 0.45;  // of a bit's or a wave's energy that must be its tone
constexpr int fewestTones = 150;        // bits of a signal that must be tones: less than a preset
constexpr int silentBits = 8;  // put before and after the signal, which may begin or end in a bit

using Lengths = std::array<int, 2>;

Lengths lengthsOf(const TapeSignal& signal) {
  return {static_cast<int>(std::lround(signal.zeroLength)), oneLength};
}

/// What a bit costs, in nats, that is some tape samples longer or shorter than it should be.
class SlackCosts {
 public:
  /// `deviation` of the lengths, in tape samples.
  explicit SlackCosts(double deviation) {
    for (int by = -slack; by <= slack; ++by) {
      costs[static_cast<std::size_t>(by + slack)] = by * by / (2.0 * deviation * deviation);
    }
  }

  double operator()(int by) const { return costs[static_cast<std::size_t>(by + slack)]; }

 private:
  std::array<double, 2 * slack + 1> costs{};
};

/// Where the best path to each tape sample comes from.
struct Step {
  std::int16_t extra = 0;
  std::int16_t previous = 0;
};

}  // namespace

TapeSignal resample(const std::vector<float>& samples, double sampleRate, const SpeedTrack& track) {
  TapeSignal signal;
  signal.zeroLength = 4 * samplesPerShort * track.ratio();
  if (samples.size() < 4) {
    return signal;
  }
  const auto padding = static_cast<std::size_t>(silentBits * oneLength);
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

/// The energy of a tone in every window of its bit's length, in parts of the whole signal's.
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

/// Follows the steps back from the best end.
template <typename StepAt>
std::vector<PathBit> tracePath(int end, int value, const Lengths& lengths, StepAt stepAt) {
  std::vector<PathBit> bits;
  int position = end;
  while (position > 0) {
    const Step step = stepAt(position, value);
    const int length = lengths[static_cast<std::size_t>(value)] + step.extra;
    if (position - length < 0) {
      break;
    }
    position -= length;
    bits.push_back({.start = position, .length = length, .value = value != 0});
    value = step.previous;
  }
  std::reverse(bits.begin(), bits.end());
  return bits;
}

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

/// The waves of the bits, by the value of the bit before and their own.
class Waves {
 public:
  explicit Waves(const Lengths& bitLengths) : lengths(bitLengths) {}

  /// Averages the signal over the bits. Returns false where there are too few of them.
  bool learn(const std::vector<float>& samples, const std::vector<PathBit>& bits) {
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
      // A neighbourhood that hardly occurs takes the wave of the other one.
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

  /// Whether the waves are what they should be: mostly two cycles for a zero, six for a one.
  bool areTones() const {
    for (std::size_t which = 0; which < waves.size(); ++which) {
      if (shareOf(waves[which], which % 2 == 0 ? zeroCycles : oneCycles) < leastTonePart) {
        return false;
      }
    }
    return true;
  }

  /// The wave of a bit after another; its energy is 1.
  const std::vector<float>& after(bool before, bool value) const {
    return waves[index(before, value)];
  }

  static std::size_t index(bool before, bool value) {
    return (before ? 2U : 0U) + (value ? 1U : 0U);
  }

  /// Correlations with each wave from every start on; the waves have the energy 1.
  void correlate(const std::vector<float>& samples,
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

 private:
  static constexpr double zeroCycles = 2.0;
  static constexpr double oneCycles = 6.0;

  /// Which values hardly occur as tones in what holds many of the other: in a bank of one value the
  /// marker or the leader may be all that there is, and what else looks like it is noise.
  static std::array<bool, 2> findRare(const std::vector<PathBit>& bits) {
    constexpr int many = bitsPerBank / 2;
    constexpr int few = 500;
    std::array<int, 2> counts{};
    for (const PathBit& bit : bits) {
      counts[bit.value ? 1 : 0] += bit.hasTone() ? 1 : 0;
    }
    return {counts[0] < few && counts[1] >= many, counts[1] < few && counts[0] >= many};
  }

  /// The part of a wave's energy, which is 1, in a sine of so many cycles.
  static double shareOf(const std::vector<float>& wave, double cycles) {
    std::complex<double> sum(0.0, 0.0);
    const auto size = static_cast<double>(wave.size());
    for (std::size_t i = 0; i < wave.size(); ++i) {
      const double angle = 2.0 * std::numbers::pi * cycles * static_cast<double>(i) / size;
      sum += static_cast<double>(wave[i]) * std::polar(1.0, -angle);
    }
    return 2.0 * std::norm(sum) / size;
  }

  static void normalise(std::vector<float>& wave) {
    double energy = 0.0;
    for (const float sample : wave) {
      energy += static_cast<double>(sample) * static_cast<double>(sample);
    }
    const auto factor = static_cast<float>(1.0 / std::sqrt(std::max(energy, 1.0e-12)));
    for (float& sample : wave) {
      sample *= factor;
    }
  }

  Lengths lengths;
  std::array<std::vector<float>, 4> waves;
};

/// The signal divided by what is to be expected of noise at each moment: hiss, and a part of the
/// signal itself that no wave explains. Weak stretches count for what they are worth: even far
/// below the usual level, a tone that is well above the hiss tells its bits.
class Whitened {
 public:
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

/// The likeliest cut into bits by the waves, and all that can be asked of the ways around it.
class WaveDecoder {
 public:
  WaveDecoder(const TapeSignal& tapeSignal, Waves learned, double hiss, double slackDeviation)
      : waves(std::move(learned)),
        slackCost(slackDeviation),
        signal(tapeSignal.samples, hiss),
        lengths(lengthsOf(tapeSignal)),
        size(static_cast<int>(tapeSignal.samples.size())) {
    waves.correlate(signal.samples, scores);
    const float scale = 0.5F;
    for (std::vector<float>& score : scores) {
      for (float& value : score) {
        const float positive = std::max(value, 0.0F);
        value = positive * positive * scale;
      }
    }
    energies.resize(signal.samples.size() + 1, 0.0);
    for (std::size_t i = 0; i < signal.samples.size(); ++i) {
      const auto sample = static_cast<double>(signal.samples[i]);
      energies[i + 1] = energies[i] + sample * sample;
    }
  }

  std::vector<PathBit> forward() {
    for (auto& row : best) {
      row.assign(static_cast<std::size_t>(size) + 1, impossible);
      std::fill_n(row.begin(), longest(), 0.0);
    }
    for (auto& row : steps) {
      row.assign(static_cast<std::size_t>(size) + 1, Step{});
    }
    for (int start = 0; start < lastStart(); ++start) {
      const auto at = static_cast<std::size_t>(start);
      if (!mayBegin.empty() && !mayBegin[at]) {
        continue;
      }
      for (int value = 0; value < 2; ++value) {
        const double fromZero = best[0][at] + score(false, value != 0, at);
        const double fromOne = best[1][at] + score(true, value != 0, at);
        const double total = std::max(fromZero, fromOne);
        const auto previous = static_cast<std::int16_t>(fromOne > fromZero ? 1 : 0);
        auto& row = best[static_cast<std::size_t>(value)];
        auto& stepRow = steps[static_cast<std::size_t>(value)];
        const int middle = start + lengths[static_cast<std::size_t>(value)];
        for (int extra = -slack; extra <= slack; ++extra) {
          const auto target = static_cast<std::size_t>(middle + extra);
          if (total - slackCost(extra) > row[target]) {
            row[target] = total - slackCost(extra);
            stepRow[target] = {static_cast<std::int16_t>(extra), previous};
          }
        }
      }
    }
    const auto end = static_cast<std::size_t>(lastStart());
    const int value = best[1][end] > best[0][end] ? 1 : 0;
    bestTotal = best[static_cast<std::size_t>(value)][end];
    endValue = value;
    std::vector<PathBit> bits =
        tracePath(lastStart(), value, lengths, [this](int position, int of) {
          return steps[static_cast<std::size_t>(of)][static_cast<std::size_t>(position)];
        });
    describe(bits);
    return bits;
  }

  /// The mean square of the hiss, rather too little than too much: by what the waves do not explain
  /// of the best bits, and by the quietest moments.
  double measureHiss(const std::vector<PathBit>& bits) const {
    std::vector<float> rests;
    for (const PathBit& bit : bits) {
      if (bit.hasTone()) {
        const auto middle = static_cast<std::size_t>(bit.start + bit.length / 2);
        rests.push_back(static_cast<float>(restOf(bit)) * signal.noises[middle]);
      }
    }
    std::vector<float> quiet = signal.levels;
    const float rest = rests.empty() ? 1.0F : 0.5F * quantile(rests, 0.1);
    return std::max(static_cast<double>(std::min(rest, quantile(quiet, 0.02))), leastHiss);
  }

  /// The deviation of the bits' lengths, in tape samples.
  double measureSlack(const std::vector<PathBit>& bits) const {
    double sum = 0.0;
    int count = 0;
    for (const PathBit& bit : bits) {
      if (bit.hasTone()) {
        const int by = bit.length - lengths[bit.value ? 1 : 0];
        sum += by * by;
        ++count;
      }
    }
    return std::clamp(0.75 * std::sqrt(sum / std::max(1, count)), leastSlackDeviation,
                      mostSlackDeviation);
  }

  /// Makes the scores what they are worth in the noise around each of the bits, which are the best
  /// path so far. Without it what is left of a wave where it fades would outweigh the lengths.
  void weigh(const std::vector<PathBit>& bits) {
    const std::array<Rest, 2> rests = measureRests(bits);
    weights.assign(signal.samples.size(), 1.0F);
    for (std::size_t k = 0; k < bits.size(); ++k) {
      const auto begin = weights.begin() + bits[k].start;
      std::fill(begin, begin + bits[k].length, weightOf(bits, k, rests));
    }
    for (std::vector<float>& score : scores) {
      for (int start = 0; start <= lastStart(); ++start) {
        score[static_cast<std::size_t>(start)] *= weightAt(start);
      }
    }
    holdFirmBits(bits);
  }

  /// Sets the margins of the bits of the best path, by the best ways from its end back.
  void setMargins(std::vector<PathBit>& bits) {
    backward();
    for (PathBit& bit : bits) {
      const int other = bit.value ? 0 : 1;
      const int middle = bit.start + bit.length / 2;
      const int from = std::max(0, middle - lengths[static_cast<std::size_t>(other)] + 1);
      const auto& row = through[static_cast<std::size_t>(other)];
      const auto begin = row.begin() + from;
      const auto end = row.begin() + std::min(middle + 1, lastStart());
      const double alternative = begin < end ? *std::max_element(begin, end) : impossible;
      // What lies around it may leave room for this value alone, but that is not enough.
      bit.margin = static_cast<float>(
          std::min(bestTotal - alternative,
                   explainedOf(bit) / 2.0 * static_cast<double>(weightAt(bit.start))));
    }
  }

  /// The stretches of weak margins, each with its best readings of more or fewer bits.
  std::vector<WeakStretch> findWeakStretches(const std::vector<PathBit>& bits) const {
    std::vector<WeakStretch> stretches;
    const std::vector<bool> silent = findSilence(bits);
    for (std::size_t k = 0; k < bits.size(); ++k) {
      if (bits[k].margin >= weakMargin || silent[k]) {
        continue;
      }
      if (!stretches.empty() && k <= stretches.back().end + joinedGap) {
        stretches.back().end = k + 1;
      } else {
        stretches.push_back({.begin = k, .end = k + 1});
      }
    }
    for (WeakStretch& stretch : stretches) {
      for (int i = 0; i < 2; ++i) {
        stretch.begin -= stretch.begin > 0 && !silent[stretch.begin - 1] ? 1 : 0;
        stretch.end += stretch.end < bits.size() && !silent[stretch.end] ? 1 : 0;
      }
      if (stretch.end - stretch.begin <= longestStretch) {
        readAnew(bits, stretch);
      }
    }
    return stretches;
  }

 private:
  /// Which bits belong to more than `longestGap` in a row without a tone: no dump goes on there.
  static std::vector<bool> findSilence(const std::vector<PathBit>& bits) {
    std::vector<bool> silent(bits.size(), false);
    std::size_t begin = 0;
    for (std::size_t k = 0; k <= bits.size(); ++k) {
      if (k < bits.size() && !bits[k].hasTone()) {
        continue;
      }
      if (k - begin > longestGap || begin == 0 || k == bits.size()) {
        std::fill(silent.begin() + static_cast<std::ptrdiff_t>(begin),
                  silent.begin() + static_cast<std::ptrdiff_t>(k), true);
      }
      begin = k + 1;
    }
    return silent;
  }

  /// Lets the bits of the next path begin only about where those of this one do, but anywhere near
  /// what its waves do not explain. A leader looks the same a cycle later.
  void holdFirmBits(const std::vector<PathBit>& bits) {
    constexpr float firm = 0.7F;  // fit
    constexpr int reach = 2 * oneLength;
    mayBegin.assign(static_cast<std::size_t>(size) + 1, false);
    const auto allow = [this](int from, int to) {
      std::fill(mayBegin.begin() + std::max(0, from), mayBegin.begin() + std::min(size, to), true);
    };
    allow(0, bits.empty() ? size : bits.front().start);
    for (const PathBit& bit : bits) {
      if (bit.hasTone() && bit.fit >= firm) {
        allow(bit.start - slack, bit.start + slack + 1);
      } else {
        allow(bit.start - reach, bit.start + bit.length + reach);
      }
    }
    allow(lastStart() - reach, size);
  }

  int longest() const { return std::max(lengths[0], lengths[1]); }
  int lastStart() const { return size - longest() - slack; }

  float score(bool before, bool value, std::size_t start) const {
    return scores[Waves::index(before, value)][start];
  }

  /// What the scores of a bit that begins here count.
  float weightAt(int start) const {
    return weights.empty() ? 1.0F : weights[static_cast<std::size_t>(start + oneLength / 2)];
  }

  double energyOf(const PathBit& bit) const {
    const auto start = static_cast<std::size_t>(bit.start);
    return energies[start + static_cast<std::size_t>(lengths[bit.value ? 1 : 0])] - energies[start];
  }

  double explainedOf(const PathBit& bit) const {
    return energyOf(bit) * static_cast<double>(bit.fit);
  }

  /// What its wave leaves unexplained of a sample of the bit.
  double restOf(const PathBit& bit) const {
    return (energyOf(bit) - explainedOf(bit)) / lengths[bit.value ? 1 : 0];
  }

  /// Sets what the waves explain of each bit.
  void describe(std::vector<PathBit>& bits) const {
    bool before = !bits.empty() && bits.front().value;
    std::vector<float> levels = signal.levels;
    const float usualLevel = std::max(quantile(levels, 0.6), 1.0e-9F);
    for (PathBit& bit : bits) {
      const auto start = static_cast<std::size_t>(bit.start);
      const int length = lengths[bit.value ? 1 : 0];
      const double explained =
          2.0 * static_cast<double>(score(before, bit.value, start) / weightAt(bit.start));
      bit.fit = static_cast<float>(std::min(1.0, explained / std::max(energyOf(bit), 1.0e-9)));
      const float level = signal.levels[start + static_cast<std::size_t>(length) / 2];
      bit.gain = std::sqrt(level * bit.fit / usualLevel);
      before = bit.value;
    }
  }

  /// What the waves leave unexplained of the bits of a value, in whitened units.
  struct Rest {
    double energy = 1.0;  // of a sample
    double doubt = 1.0;   // of a sample's part that looks like the other value: what makes errors
  };

  /// Measures the rests of the bits with a tone, by their value. What strays in pace or level is
  /// left, too, but does not look like the other value.
  std::array<Rest, 2> measureRests(const std::vector<PathBit>& bits) const {
    constexpr int reach = 8;  // tape samples to either side at which the other wave may lie
    std::array<double, 2> energy{};
    std::array<double, 2> doubt{};
    std::array<double, 2> samples{};
    std::array<double, 2> counts{};
    std::vector<float> rest;
    bool before = !bits.empty() && bits.front().value;
    for (const PathBit& bit : bits) {
      const std::vector<float>& wave = waves.after(before, bit.value);
      const std::vector<float>& other = waves.after(before, !bit.value);
      const auto start = static_cast<std::size_t>(bit.start);
      const std::size_t value = bit.value ? 1 : 0;
      if (bit.hasTone()) {
        const float gain = std::sqrt(2.0F * score(before, bit.value, start));
        // Zeros to either side: the other wave may be longer, and lie beside.
        rest.assign(wave.size() + 4 * reach, 0.0F);
        for (std::size_t i = 0; i < wave.size(); ++i) {
          const float left = signal.samples[start + i] - gain * wave[i];
          rest[i + reach] = left;
          energy[value] += static_cast<double>(left * left);
        }
        samples[value] += static_cast<double>(wave.size());
        for (int shift = 0; shift <= 2 * reach; ++shift) {
          const auto from = static_cast<std::size_t>(shift);
          float product = 0.0F;
          for (std::size_t i = 0; i < std::min(other.size(), rest.size() - from); ++i) {
            product += other[i] * rest[from + i];
          }
          doubt[value] += static_cast<double>(product * product) / (2 * reach + 1);
        }
        counts[value] += 1.0;
      }
      before = bit.value;
    }
    std::array<Rest, 2> rests;
    for (std::size_t value = 0; value < 2; ++value) {
      rests[value] = {energy[value] / std::max(1.0, samples[value]),
                      doubt[value] / std::max(1.0, counts[value])};
    }
    return rests;
  }

  /// How much the scores count around a bit: less where the noise that may pass for a bit is more.
  float weightOf(const std::vector<PathBit>& bits, std::size_t k,
                 const std::array<Rest, 2>& rests) const {
    constexpr std::size_t reach = 3;
    constexpr double leastNoise = 2.0;
    constexpr double plain = 4.0;  // times the usual rest that a single bit may well have
    const auto usualRestOf = [&](const PathBit& bit) { return rests[bit.value ? 1 : 0].energy; };
    const std::size_t begin = k - std::min(k, reach);
    const std::size_t end = std::min(k + reach + 1, bits.size());
    double around = 0.0;
    for (std::size_t i = begin; i < end; ++i) {
      around += restOf(bits[i]) - usualRestOf(bits[i]);
    }
    const double own = restOf(bits[k]) - plain * usualRestOf(bits[k]);
    const double excess = std::max({0.0, own, around / static_cast<double>(end - begin)});
    const double usual = std::max(rests[0].doubt, rests[1].doubt);
    const double density = std::max({1.0, rests[0].doubt / std::max(rests[0].energy, 1.0e-3),
                                     rests[1].doubt / std::max(rests[1].energy, 1.0e-3)});
    return static_cast<float>(1.0 / (std::max(leastNoise, usual) + excess * density));
  }

  void backward() {
    std::array<std::vector<double>, 2> rest;
    for (std::size_t value = 0; value < 2; ++value) {
      rest[value].assign(static_cast<std::size_t>(size) + 1, impossible);
      through[value].assign(static_cast<std::size_t>(size) + 1, impossible);
    }
    rest[static_cast<std::size_t>(endValue)][static_cast<std::size_t>(lastStart())] = 0.0;
    for (int start = lastStart() - 1; start >= 0; --start) {
      const auto at = static_cast<std::size_t>(start);
      if (!mayBegin.empty() && !mayBegin[at]) {
        continue;
      }
      std::array<double, 2> onward{};
      for (std::size_t value = 0; value < 2; ++value) {
        double most = impossible;
        for (int extra = -slack; extra <= slack; ++extra) {
          const auto target = static_cast<std::size_t>(start + lengths[value] + extra);
          most = std::max(most, rest[value][target] - slackCost(extra));
        }
        onward[value] = most;
        const double before = std::max(best[0][at] + score(false, value != 0, at),
                                       best[1][at] + score(true, value != 0, at));
        through[value][at] = std::max(before + most, impossible);
      }
      for (std::size_t value = 0; value < 2; ++value) {
        const bool before = value != 0;
        rest[value][at] = std::max({onward[0] + score(before, false, at),
                                    onward[1] + score(before, true, at), impossible});
      }
    }
  }

  /// The cells of the best paths through a stretch, by count of bits, position and last value.
  struct Lattice {
    int from = 0;
    int span = 0;
    std::vector<double> totals;
    std::vector<Step> ways;

    std::size_t cell(int count, int position, int value) const {
      return static_cast<std::size_t>((count * (span + 1) + position) * 2 + value);
    }
  };

  /// A bit that a path through a stretch must not hold.
  struct Ban {
    int middle = -1;
    bool value = false;
  };

  Lattice fillLattice(const std::vector<PathBit>& bits, const WeakStretch& stretch, int most,
                      const Ban& ban) const {
    const PathBit& last = bits[stretch.end - 1];
    Lattice lattice;
    lattice.from = bits[stretch.begin].start;
    lattice.span = last.start + last.length - lattice.from;
    lattice.totals.assign(lattice.cell(most, lattice.span, 1) + 1, impossible);
    lattice.ways.resize(lattice.totals.size());
    const bool before = stretch.begin > 0 && bits[stretch.begin - 1].value;
    lattice.totals[lattice.cell(0, 0, before ? 1 : 0)] = 0.0;
    for (int count = 0; count < most; ++count) {
      for (int position = 0; position < lattice.span; ++position) {
        extendPaths(lattice, count, position, ban);
      }
    }
    return lattice;
  }

  void extendPaths(Lattice& lattice, int count, int position, const Ban& ban) const {
    const double fromZero = lattice.totals[lattice.cell(count, position, 0)];
    const double fromOne = lattice.totals[lattice.cell(count, position, 1)];
    if (std::max(fromZero, fromOne) <= impossible) {
      return;
    }
    const auto at = static_cast<std::size_t>(lattice.from + position);
    for (int value = 0; value < 2; ++value) {
      const int length = lengths[static_cast<std::size_t>(value)];
      const int toBan = ban.middle - lattice.from - position;
      if (ban.middle >= 0 && ban.value == (value != 0) && toBan >= 0 && toBan < length) {
        continue;
      }
      const double zero = fromZero + score(false, value != 0, at);
      const double one = fromOne + score(true, value != 0, at);
      const auto previous = static_cast<std::int16_t>(one > zero ? 1 : 0);
      for (int extra = -slack; extra <= slack; ++extra) {
        const int target = position + length + extra;
        if (target > lattice.span) {
          break;
        }
        const std::size_t cell = lattice.cell(count + 1, target, value);
        const double total = std::max(zero, one) - slackCost(extra);
        if (total > lattice.totals[cell]) {
          lattice.totals[cell] = total;
          lattice.ways[cell] = {static_cast<std::int16_t>(extra), previous};
        }
      }
    }
  }

  /// The best path of `count` bits and its total, which takes in the bit after the stretch.
  std::pair<double, int> endOf(const Lattice& lattice, int count, const std::vector<PathBit>& bits,
                               const WeakStretch& stretch) const {
    std::array<double, 2> totals{};
    for (int value = 0; value < 2; ++value) {
      totals[static_cast<std::size_t>(value)] =
          lattice.totals[lattice.cell(count, lattice.span, value)];
      if (stretch.end < bits.size()) {
        totals[static_cast<std::size_t>(value)] +=
            score(value != 0, bits[stretch.end].value,
                  static_cast<std::size_t>(lattice.from + lattice.span));
      }
    }
    return totals[1] > totals[0] ? std::pair(totals[1], 1) : std::pair(totals[0], 0);
  }

  std::vector<PathBit> pathOf(const Lattice& lattice, int count, int value) const {
    std::vector<PathBit> path;
    int position = lattice.span;
    for (int left = count; left > 0; --left) {
      const Step step = lattice.ways[lattice.cell(left, position, value)];
      const int length = lengths[static_cast<std::size_t>(value)] + step.extra;
      position -= length;
      path.push_back({.start = lattice.from + position, .length = length, .value = value != 0});
      value = step.previous;
    }
    std::reverse(path.begin(), path.end());
    return path;
  }

  /// Reads a stretch once for each count of bits, and once with its weakest bit otherwise.
  void readAnew(const std::vector<PathBit>& bits, WeakStretch& stretch) const {
    const int count = static_cast<int>(stretch.end - stretch.begin);
    const int most = count + farthestSlip;
    std::size_t weakest = stretch.begin;
    for (std::size_t k = stretch.begin; k < stretch.end; ++k) {
      weakest = bits[k].margin < bits[weakest].margin ? k : weakest;
    }
    const Lattice lattice = fillLattice(bits, stretch, most, {});
    const double reference = endOf(lattice, count, bits, stretch).first;
    for (int slip = -farthestSlip; slip <= farthestSlip; ++slip) {
      if (count + slip < 1) {
        continue;
      }
      const auto [total, value] = endOf(lattice, count + slip, bits, stretch);
      if (total > impossible / 2.0) {
        stretch.readings[static_cast<std::size_t>(slip + farthestSlip)] = {
            static_cast<float>(std::max(0.0, reference - total)),
            pathOf(lattice, count + slip, value)};
      }
    }
    const Lattice without = fillLattice(
        bits, stretch, most, {bits[weakest].start + bits[weakest].length / 2, bits[weakest].value});
    double highest = impossible / 2.0;
    for (int n = std::max(1, count - farthestSlip); n <= most; ++n) {
      const auto [total, value] = endOf(without, n, bits, stretch);
      if (total > highest) {
        highest = total;
        stretch.other = pathOf(without, n, value);
      }
    }
  }

  Waves waves;
  SlackCosts slackCost;
  Whitened signal;
  Lengths lengths;
  int size;
  std::array<std::vector<float>, 4> scores;  // by the value before and the bit's own, nats
  std::vector<bool> mayBegin;                // whether a bit may begin at a sample; none: anywhere
  std::vector<float> weights;                // of the scores, one a sample; none: all count fully
  std::vector<double> energies;              // of the samples before each
  std::array<std::vector<double>, 2> best;   // of the paths to each sample, by their last value
  std::array<std::vector<Step>, 2> steps;
  std::array<std::vector<double>, 2>
      through;  // the best path with a bit of the value from there on
  double bestTotal = 0.0;
  int endValue = 0;
};

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
