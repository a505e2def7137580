#include "report/Measures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "recovery/Quantile.h"
#include "signal/Tones.h"

namespace report {

namespace {

constexpr double bandWidth = 5300.0;  // hertz, of 200 to 5,500

double ratioOf(double level) { return std::pow(10.0, level / 10.0); }

double levelOf(double ratio) { return ratio > 0.0 ? 10.0 * std::log10(ratio) : -300.0; }

/// The mean square that a step of the spectrum stands for. Its window spreads each frequency over
/// 1.5 of them.
double stepPower(double level) { return ratioOf(level) / 2.0 / 1.5; }

/// The mean square of all between two frequencies.
double power(const std::vector<float>& spectrum, double from, double to) {
  double sum = 0.0;
  for (std::size_t i = 0; i < spectrum.size(); ++i) {
    const double frequency = recovery::spectrumStep * static_cast<double>(i);
    if (frequency >= from && frequency < to && std::isfinite(spectrum[i])) {
      sum += stepPower(spectrum[i]);
    }
  }
  return sum;
}

/// What the spectrum shows between the tones' harmonics, where hardly more than noise is left.
struct QuietPlaces {
  double noisePower = 0.0;      // the mean square of all between 200 and 5,500 Hz, if it is noise
  double harmonicsPower = 0.0;  // the same, of what the harmonics leave beside them
};

QuietPlaces quietPlaces(const recovery::Take& take) {
  constexpr double from = 2800.0;
  constexpr double to = 6000.0;
  constexpr double quietTenth = 1.85;       // dB, of noise below its mean, in a mean of 12 windows
  constexpr double besideHarmonics = 25.0;  // dB below them
  std::vector<float> levels;
  const double top = std::min(to, take.signal.bandwidth);
  for (std::size_t i = 0; i < take.spectrum.size(); ++i) {
    const double frequency = recovery::spectrumStep * static_cast<double>(i);
    if (frequency >= from && frequency < top && std::isfinite(take.spectrum[i])) {
      levels.push_back(take.spectrum[i]);
    }
  }
  if (levels.empty()) {
    return {};
  }
  std::sort(levels.begin(), levels.end());
  const auto bandPower = [](double level) {
    return stepPower(level) * bandWidth / recovery::spectrumStep;
  };
  return {bandPower(levels[levels.size() / 10] + quietTenth),
          bandPower(levels[levels.size() * 19 / 20] - besideHarmonics)};
}

/// The median length of the bits of a value in seconds, or 0.
double bitLength(const recovery::Take& take, int value) {
  constexpr std::size_t enough = 20;
  std::vector<double> lengths;
  std::vector<double> inner;  // among others of the value: no tone changes at their ends
  for (std::size_t i = 0; i < take.bits.size(); ++i) {
    const auto isSame = [&](std::size_t k) {
      return k < take.bits.size() && take.bits[k].value == value;
    };
    if (isSame(i)) {
      lengths.push_back(take.bits[i].end - take.bits[i].start);
      if (isSame(i - 1) && isSame(i + 1)) {
        inner.push_back(lengths.back());
      }
    }
  }
  if (inner.size() >= enough) {
    lengths.swap(inner);
  }
  return lengths.empty() ? 0.0 : recovery::median(lengths);
}

void measureSpeed(const recovery::Take& take, Measures& measures) {
  const double one = bitLength(take, 1);
  const double zero = bitLength(take, 0);
  measures.shortHalfPeriod = one > 0.0 ? one / shortsPerOneBit : take.signal.shortHalfPeriod;
  measures.longHalfPeriod = zero > 0.0 ? zero / longsPerZeroBit : take.signal.longHalfPeriod;
  measures.speed =
      zero > 0.0 ? longHalfPeriodSeconds / measures.longHalfPeriod : take.signal.speedMedian;
}

/// Decibels of the low tone against the high one, from what each has in the spectrum and how long
/// it lasts.
double balanceOf(const recovery::Take& take, const Measures& measures) {
  double zeros = 0.0;
  double ones = 0.0;
  for (const recovery::BitReading& bit : take.bits) {
    if (bit.value >= 0) {
      (bit.value == 0 ? zeros : ones) += bit.end - bit.start;
    }
  }
  if (!(zeros > 0.0) || !(ones > 0.0)) {
    return 0.0;
  }
  const double low = 0.5 / measures.longHalfPeriod;
  const double high = 0.5 / measures.shortHalfPeriod;
  const double lowPower = power(take.spectrum, 0.55 * low, 1.8 * low) / zeros;
  const double highPower = power(take.spectrum, 0.72 * high, 1.3 * high) / ones;
  return lowPower > 0.0 && highPower > 0.0 ? levelOf(lowPower / highPower) : 0.0;
}

void measureHalfPeriods(const Recording& recording, const recovery::Take& take,
                        Measures& measures) {
  constexpr double strays = 0.1;  // of the shifted ones: with more of other lengths, it is no shift
  const double scale = nominalSampleRate / recording.facts.sampleRate;
  const double shortLength = measures.shortHalfPeriod * nominalSampleRate;
  const double longLength = measures.longHalfPeriod * nominalSampleRate;
  int all = 0;
  int shifted = 0;
  int other = 0;
  for (std::size_t i = 0; i < take.halfPeriods.size(); ++i) {
    const int count = take.halfPeriods[i];
    const double length = static_cast<double>(i) * recovery::halfPeriodStep;
    all += count;
    if (length >= 1.6 * shortLength && length < 0.8 * longLength) {
      shifted += count;
    } else if (length < 0.4 * shortLength || length >= 1.2 * longLength) {
      other += count;
    }
    const auto inFile = static_cast<long>(length / scale);
    const bool isRead = shortLengths.contains(inFile) || longLengths.contains(inFile);
    measures.ignoredHalfPeriods += isRead ? 0 : count;
  }
  if (all > 0 && other <= strays * shifted) {
    measures.shiftedShare = static_cast<double>(shifted) / all;
  }
}

}  // namespace

double decibels(double magnitude) {
  return magnitude > 1e-6 ? 20.0 * std::log10(magnitude) : lowestLevel;
}

Measures measure(const Recording& recording, const recovery::Take& take) {
  constexpr double lowest = 350.0;  // hertz, above the loud harmonics of hum
  constexpr double highest = 6000.0;
  const recovery::SignalFacts& signal = take.signal;
  Measures measures;
  const QuietPlaces quiet = quietPlaces(take);
  const double all = power(take.spectrum, lowest, highest);
  const double tone = std::max(all - quiet.noisePower, 0.1 * all);
  measures.toneLevel = std::max(lowestLevel, levelOf(2.0 * tone));
  const auto channel = static_cast<std::size_t>(take.channelIndex);
  const auto& peaks = recording.facts.channelPeaks;
  const double channelPeak = channel < peaks.size() ? decibels(peaks[channel]) : 0.0;
  measures.peakLevel = std::min(signal.peakLevel, channelPeak);
  if (measures.toneLevel > lowestLevel) {
    constexpr double clipped = 0.05;          // part of the samples
    constexpr double leastIfClipped = -28.0;  // dB, above what clipping hum and tones makes
    measures.noiseLevel = std::max(unknownNoise, levelOf(quiet.noisePower) - measures.toneLevel);
    measures.isNoise = quiet.noisePower > 2.0 * quiet.harmonicsPower &&
                       (signal.clippedShare < clipped || measures.noiseLevel > leastIfClipped);
    measures.humLevel =
        signal.humFrequency > 0.0 ? signal.humLevel + signal.toneLevel - measures.toneLevel : 0.0;
  }
  measureSpeed(take, measures);
  measures.balance = balanceOf(take, measures);
  measureHalfPeriods(recording, take, measures);
  return measures;
}

double roundingNoise(int bits, double sampleRate, double toneLevel) {
  if (bits <= 0 || bits > 32 || !(sampleRate > 0.0)) {
    return unknownNoise;
  }
  const double step = std::pow(2.0, 1 - bits);
  const double part = std::min(1.0, bandWidth / (sampleRate / 2.0));
  return levelOf(step * step / 12.0 * part) - toneLevel;
}

std::vector<recovery::DropOut> dropOutsOf(const recovery::Take& take) {
  constexpr double nearest = 0.03;  // seconds from the end of one to the start of another
  std::vector<recovery::DropOut> result;
  for (const recovery::DropOut& dropOut : take.dropOuts) {
    if (!result.empty() && dropOut.span.start - result.back().span.end < nearest) {
      result.back().span.end = dropOut.span.end;
      result.back().depth = std::max(result.back().depth, dropOut.depth);
    } else {
      result.push_back(dropOut);
    }
  }
  return result;
}

std::vector<recovery::SpeedPoint> speedOf(const recovery::Take& take, const Measures& measures) {
  const double correction =
      take.signal.speedMedian > 0.0 ? measures.speed / take.signal.speedMedian : 1.0;
  std::vector<recovery::SpeedPoint> result = take.speed;
  for (recovery::SpeedPoint& point : result) {
    point.speed *= correction;
  }
  return result;
}

SpeedRange speedsForConverter(const Recording& recording, const Measures& measures) {
  SpeedRange range;
  const double shortSamples =
      measures.shortHalfPeriod * recording.facts.sampleRate * measures.speed;
  const double longSamples = measures.longHalfPeriod * recording.facts.sampleRate * measures.speed;
  if (shortSamples > 0.0 && longSamples > 0.0) {
    range.slowest =
        std::max(shortSamples / shortLengths.longest, longSamples / longLengths.longest);
    range.fastest =
        std::min(shortSamples / shortLengths.shortest, longSamples / longLengths.shortest);
  }
  return range.fastest < range.slowest ? SpeedRange() : range;
}

double dataStart(const recovery::Take& take) {
  return !take.bits.empty() && take.bits.front().value >= 0 ? take.bits.front().start : -1.0;
}

recovery::Span dumpSpan(const recovery::Take& take) {
  recovery::Span span{1e300, -1.0};
  for (const auto& [start, end] : {take.leader, take.marker, recovery::recordedSpan(take)}) {
    if (end > start && start >= 0.0) {
      span = {std::min(span.start, start), std::max(span.end, end)};
    }
  }
  return span.end > span.start ? span : recovery::Span{};
}

std::int64_t sampleAt(const Recording& recording, double seconds) {
  const double sample = seconds * recording.facts.sampleRate;
  return std::isfinite(sample) && std::abs(sample) < 1e15 ? std::llround(sample) : 0;
}

}  // namespace report
