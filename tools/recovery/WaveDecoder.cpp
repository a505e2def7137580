#include "recovery/WaveDecoder.h"

#include <algorithm>
#include <cmath>

#include "recovery/Quantile.h"

namespace recovery {

namespace {

constexpr double leastHiss = 1.0e-7;         // mean square; the tones' is about 0.5
constexpr float weakMargin = 36.0F;          // nats under which a bit belongs to a weak stretch
constexpr std::size_t joinedGap = 4;         // firm bits between weak ones that part no stretches
constexpr std::size_t longestStretch = 300;  // bits

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

}  // namespace

WaveDecoder::WaveDecoder(const TapeSignal& tapeSignal, Waves learned, double hiss,
                         double slackDeviation)
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

std::vector<PathBit> WaveDecoder::forward() {
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
  std::vector<PathBit> bits = tracePath(lastStart(), value, lengths, [this](int position, int of) {
    return steps[static_cast<std::size_t>(of)][static_cast<std::size_t>(position)];
  });
  describe(bits);
  return bits;
}

double WaveDecoder::measureHiss(const std::vector<PathBit>& bits) const {
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

double WaveDecoder::measureSlack(const std::vector<PathBit>& bits) const {
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

void WaveDecoder::weigh(const std::vector<PathBit>& bits) {
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

void WaveDecoder::setMargins(std::vector<PathBit>& bits) {
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

std::vector<WeakStretch> WaveDecoder::findWeakStretches(const std::vector<PathBit>& bits) const {
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
      readSlips(bits, stretch);
      readOther(bits, stretch);
    }
  }
  return stretches;
}

std::vector<bool> WaveDecoder::findSilence(const std::vector<PathBit>& bits) {
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

void WaveDecoder::holdFirmBits(const std::vector<PathBit>& bits) {
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

double WaveDecoder::energyOf(const PathBit& bit) const {
  const auto start = static_cast<std::size_t>(bit.start);
  return energies[start + static_cast<std::size_t>(lengths[bit.value ? 1 : 0])] - energies[start];
}

double WaveDecoder::explainedOf(const PathBit& bit) const {
  return energyOf(bit) * static_cast<double>(bit.fit);
}

double WaveDecoder::restOf(const PathBit& bit) const {
  return (energyOf(bit) - explainedOf(bit)) / lengths[bit.value ? 1 : 0];
}

void WaveDecoder::describe(std::vector<PathBit>& bits) const {
  bool before = !bits.empty() && bits.front().value;
  std::vector<float> levels = signal.levels;
  const float usualLevel = std::max(quantile(levels, 0.6), 1.0e-9F);
  for (PathBit& bit : bits) {
    const auto start = static_cast<std::size_t>(bit.start);
    const int length = lengths[bit.value ? 1 : 0];
    const double explained =
        2.0 * static_cast<double>(score(before, bit.value, start) / weightAt(bit.start));
    bit.fit = static_cast<float>(std::min(1.0, explained / std::max(energyOf(bit), 1.0e-9)));
    bit.level = signal.levels[start + static_cast<std::size_t>(length) / 2] / usualLevel;
    bit.gain = std::sqrt(bit.level * bit.fit);
    before = bit.value;
  }
}

std::array<WaveDecoder::Rest, 2> WaveDecoder::measureRests(const std::vector<PathBit>& bits) const {
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

float WaveDecoder::weightOf(const std::vector<PathBit>& bits, std::size_t k,
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

void WaveDecoder::backward() {
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
      rest[value][at] = std::max(
          {onward[0] + score(before, false, at), onward[1] + score(before, true, at), impossible});
    }
  }
}

WaveDecoder::Lattice WaveDecoder::fillLattice(const std::vector<PathBit>& bits,
                                              const WeakStretch& stretch, int most,
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

void WaveDecoder::extendPaths(Lattice& lattice, int count, int position, const Ban& ban) const {
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

std::pair<double, int> WaveDecoder::endOf(const Lattice& lattice, int count,
                                          const std::vector<PathBit>& bits,
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

std::vector<PathBit> WaveDecoder::pathOf(const Lattice& lattice, int count, int value) const {
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

void WaveDecoder::readSlips(const std::vector<PathBit>& bits, WeakStretch& stretch) const {
  const int count = static_cast<int>(stretch.end - stretch.begin);
  const Lattice lattice = fillLattice(bits, stretch, count + farthestSlip, {});
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
}

void WaveDecoder::readOther(const std::vector<PathBit>& bits, WeakStretch& stretch) const {
  const int count = static_cast<int>(stretch.end - stretch.begin);
  const int most = count + farthestSlip;
  std::size_t weakest = stretch.begin;
  for (std::size_t k = stretch.begin; k < stretch.end; ++k) {
    weakest = bits[k].margin < bits[weakest].margin ? k : weakest;
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

}  // namespace recovery
