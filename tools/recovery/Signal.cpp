#include "recovery/Signal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>

#include "recovery/Crossing.h"
#include "recovery/Filter.h"
#include "recovery/Quantile.h"
#include "signal/Tones.h"

namespace recovery {

namespace {

constexpr double dropOutDepth = 8.0;         // decibels below the bits of the same value around
constexpr std::size_t spectrumSize = 601;    // up to 6 kHz
constexpr double spectrumWindow = 0.1;       // seconds
constexpr std::size_t spectrumWindows = 12;  // spread over the dump
constexpr double humAboveRest = 8.0;         // decibels above the frequencies around it
constexpr double nothing = -70.0;            // decibels below the strongest frequency

double decibels(double amplitude) { return 20.0 * std::log10(std::max(amplitude, 1.0e-10)); }

/// A stretch of samples.
struct Window {
  std::size_t begin = 0;
  std::size_t end = 0;
};

Window windowOf(const Span& span, double sampleRate, std::size_t size) {
  const auto index = [&](double time) {
    return std::min(size, static_cast<std::size_t>(std::max(0.0, time * sampleRate)));
  };
  return {index(span.start), index(span.end)};
}

/// The part of a window that is a sine of `frequency`: its amplitude.
double amplitudeAt(const std::vector<float>& samples, Window window, double frequency,
                   double sampleRate) {
  const std::complex<double> turn =
      std::polar(1.0, -2.0 * std::numbers::pi * frequency / sampleRate);
  const auto size = static_cast<double>(window.end - window.begin);
  const std::complex<double> windowTurn = std::polar(1.0, 2.0 * std::numbers::pi / size);
  std::complex<double> phase(1.0, 0.0);
  std::complex<double> windowPhase(1.0, 0.0);
  std::complex<double> sum(0.0, 0.0);
  for (std::size_t i = window.begin; i < window.end; ++i) {
    const double raisedCosine = 1.0 - windowPhase.real();
    sum += phase * (raisedCosine * static_cast<double>(samples[i]));
    phase *= turn;
    windowPhase *= windowTurn;
  }
  return 2.0 * std::abs(sum) / std::max(size, 1.0);
}

/// The root mean square of `samples` in each recorded bit; 0 where there is none.
std::vector<double> bitLevels(const Take& take, const std::vector<float>& samples,
                              double sampleRate) {
  std::vector<double> levels(take.bits.size(), 0.0);
  for (std::size_t k = 0; k < levels.size(); ++k) {
    const BitReading& bit = take.bits[k];
    const Window window = windowOf({bit.start, bit.end}, sampleRate, samples.size());
    if (bit.value < 0 || window.end <= window.begin) {
      continue;
    }
    double energy = 0.0;
    for (std::size_t i = window.begin; i < window.end; ++i) {
      energy += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
    }
    levels[k] = std::sqrt(energy / static_cast<double>(window.end - window.begin));
  }
  return levels;
}

/// The median level of the bits around bit `k` that have its value.
double usualLevel(const Take& take, const std::vector<double>& levels, std::size_t k) {
  constexpr std::size_t reach = 60;
  std::vector<double> same;
  for (std::size_t i = k - std::min(k, reach); i < std::min(k + reach + 1, levels.size()); ++i) {
    if (take.bits[i].value == take.bits[k].value) {
      same.push_back(levels[i]);
    }
  }
  return quantile(same, 0.5);
}

std::vector<DropOut> findDropOuts(const Take& take, const std::vector<double>& levels) {
  std::vector<DropOut> dropOuts;
  for (std::size_t k = 0; k < levels.size(); ++k) {
    const BitReading& bit = take.bits[k];
    if (bit.value < 0) {
      continue;
    }
    const double depth = decibels(usualLevel(take, levels, k)) - decibels(levels[k]);
    if (depth < dropOutDepth) {
      continue;
    }
    if (!dropOuts.empty() && bit.start - dropOuts.back().span.end < 1.0e-6) {
      dropOuts.back().span.end = bit.end;
      dropOuts.back().depth = std::max(dropOuts.back().depth, depth);
    } else {
      dropOuts.push_back({{bit.start, bit.end}, depth});
    }
  }
  return dropOuts;
}

/// The amplitude of a sine of `frequency`: the root mean square of those in `count` windows of
/// `size` samples, which are spread over `whole`.
double meanAmplitude(const std::vector<float>& samples, Window whole, std::size_t size,
                     std::size_t count, double frequency, double sampleRate) {
  double energy = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t begin = whole.begin + (whole.end - whole.begin - size) * i / (count - 1);
    const double amplitude = amplitudeAt(samples, {begin, begin + size}, frequency, sampleRate);
    energy += amplitude * amplitude;
  }
  return std::sqrt(energy / static_cast<double>(count));
}

/// Finds mains hum, with its first harmonics.
void findHum(SignalFacts& facts, const std::vector<float>& samples, Window window,
             double sampleRate, double toneAmplitude) {
  constexpr std::array<double, 2> mains{50.0, 60.0};
  constexpr std::size_t windows = 6;
  const auto size = static_cast<std::size_t>(sampleRate);
  if (window.end - window.begin < size) {
    return;
  }
  const auto mean = [&](double frequency) {
    return meanAmplitude(samples, window, size, windows, frequency, sampleRate);
  };
  double loudest = 0.0;
  for (const double frequency : mains) {
    double energy = 0.0;
    double rest = 0.0;
    for (const int harmonic : {1, 2, 3}) {
      const double amplitude = mean(frequency * harmonic);
      energy += amplitude * amplitude;
      const double below = mean(frequency * harmonic - 6.0);
      const double above = mean(frequency * harmonic + 6.0);
      rest += std::max(below * below, above * above);
    }
    const bool standsOut = decibels(std::sqrt(energy)) > decibels(std::sqrt(rest)) + humAboveRest;
    if (standsOut && energy > loudest) {
      loudest = energy;
      facts.humFrequency = frequency;
      facts.humLevel = decibels(std::sqrt(energy) / toneAmplitude);
    }
  }
}

std::vector<float> measureSpectrum(const std::vector<float>& samples, Window window,
                                   double sampleRate) {
  std::vector<float> spectrum(spectrumSize, static_cast<float>(decibels(0.0)));
  const auto size = static_cast<std::size_t>(spectrumWindow * sampleRate);
  if (window.end - window.begin < size) {
    return spectrum;
  }
  for (std::size_t i = 1; i < spectrumSize; ++i) {
    const double frequency = static_cast<double>(i) * spectrumStep;
    if (frequency >= sampleRate / 2.0) {
      break;
    }
    spectrum[i] = static_cast<float>(
        decibels(meanAmplitude(samples, window, size, spectrumWindows, frequency, sampleRate)));
  }
  return spectrum;
}

void countHalfPeriods(Take& take, const std::vector<float>& samples, Window window,
                      double sampleRate) {
  const double perSample = nominalSampleRate / sampleRate / halfPeriodStep;
  double last = -1.0;
  for (std::size_t i = std::max<std::size_t>(window.begin, 1); i < window.end; ++i) {
    if ((samples[i - 1] > 0.0F) == (samples[i] > 0.0F)) {
      continue;
    }
    const double crossing =
        static_cast<double>(i) - 1.0 + crossingBetween(samples[i - 1], samples[i]);
    if (last >= 0.0) {
      const auto bin = static_cast<std::size_t>((crossing - last) * perSample);
      ++take.halfPeriods[std::min(bin, take.halfPeriods.size() - 1)];
    }
    last = crossing;
  }
}

/// Whether bits begin with a negative half-period, by the zeros, whose two cycles are plain to see.
bool isInverted(const Take& take, const std::vector<float>& samples, double sampleRate) {
  double sum = 0.0;
  for (const BitReading& bit : take.bits) {
    if (bit.value != 0) {
      continue;
    }
    const Window window = windowOf({bit.start, bit.end}, sampleRate, samples.size());
    const double tone = 4.0 * std::numbers::pi / (bit.end - bit.start);
    for (std::size_t i = window.begin; i < window.end; ++i) {
      sum += static_cast<double>(samples[i]) *
             std::sin(tone * (static_cast<double>(i) / sampleRate - bit.start));
    }
  }
  return sum < 0.0;
}

void describeSpeed(Take& take, const Span& span, const SpeedTrack& track) {
  SignalFacts& facts = take.signal;
  std::vector<double> speeds;
  for (std::size_t i = 0; i < track.lengths().size(); ++i) {
    const double time = static_cast<double>(i) * SpeedTrack::hop;
    if (time < span.start || time > span.end) {
      continue;
    }
    const double longLength = track.lengths()[i] * track.ratio();
    take.speed.push_back({time, longHalfPeriodSeconds / longLength});
    speeds.push_back(take.speed.back().speed);
  }
  if (speeds.empty()) {
    return;
  }
  facts.speedMedian = quantile(speeds, 0.5);
  facts.speedWander = (quantile(speeds, 0.95) - quantile(speeds, 0.05)) / 2.0;
  facts.longHalfPeriod = longHalfPeriodSeconds / facts.speedMedian;
  facts.shortHalfPeriod = facts.longHalfPeriod / track.ratio();
}

}  // namespace

void describeSignal(Take& take, const std::vector<float>& recorded,
                    const std::vector<float>& evened, double sampleRate, const SpeedTrack& track) {
  const Span span = recordedSpan(take);
  const Window window = windowOf(span, sampleRate, recorded.size());
  if (window.end <= window.begin) {
    return;
  }
  SignalFacts& facts = take.signal;
  double sum = 0.0;
  double peak = 0.0;
  for (std::size_t i = window.begin; i < window.end; ++i) {
    sum += static_cast<double>(recorded[i]);
    peak = std::max(peak, std::abs(static_cast<double>(recorded[i])));
  }
  facts.dcOffset = sum / static_cast<double>(window.end - window.begin);
  facts.peakLevel = decibels(peak);

  std::vector<float> tones = recorded;
  removeBass(tones, sampleRate);
  std::vector<double> levels = bitLevels(take, tones, sampleRate);
  take.dropOuts = findDropOuts(take, levels);
  std::erase(levels, 0.0);
  const double usual = levels.empty() ? 0.0 : quantile(levels, 0.5);
  const double toneAmplitude = std::max(std::numbers::sqrt2 * usual, 1.0e-9);
  facts.toneLevel = decibels(toneAmplitude);
  findHum(facts, recorded, window, sampleRate, toneAmplitude);

  take.isInverted = isInverted(take, evened, sampleRate);
  describeSpeed(take, span, track);
  countHalfPeriods(take, recorded, window, sampleRate);
  take.spectrum = measureSpectrum(recorded, window, sampleRate);
  const float strongest = *std::max_element(take.spectrum.begin(), take.spectrum.end());
  for (std::size_t i = 0; i < take.spectrum.size(); ++i) {
    if (static_cast<double>(take.spectrum[i] - strongest) > nothing) {
      facts.bandwidth = static_cast<double>(i) * spectrumStep;
    }
  }
}

}  // namespace recovery
