#include "recovery/Filter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "recovery/Quantile.h"

namespace recovery {

namespace {

constexpr double bassCorner = 230.0;        // hertz; the long half-periods make 450 to 630
constexpr double weakBass = 0.3;            // of the low tone's energy against the high one's
constexpr double noBass = 0.08;             // below it is what leaks through from the high one
constexpr double integratorCorner = 300.0;  // hertz
constexpr double humCorner = 330.0;
constexpr double loudBass = 1.3;     // all energy against that above the bass: loud hum
constexpr double levelHop = 0.005;   // seconds, rounded down to samples, of which a peak is taken
constexpr double medianReach = 0.3;  // seconds to either side
constexpr float weakest = 0.1F;      // part of the usual level down to which a level is evened
constexpr float clickLimit = 2.5F;   // times the level

/// A corner as the bilinear transform needs it.
double warped(double corner, double sampleRate) {
  return std::tan(std::numbers::pi * std::min(corner / sampleRate, 0.49));
}

double normOf(double k) { return 1.0 / (1.0 + std::numbers::sqrt2 * k + k * k); }

}  // namespace

Biquad Biquad::lowPass(double corner, double sampleRate) {
  const double k = warped(corner, sampleRate);
  const double norm = normOf(k);
  Biquad filter;
  filter.b0 = k * k * norm;
  filter.b1 = 2.0 * filter.b0;
  filter.b2 = filter.b0;
  filter.a1 = 2.0 * (k * k - 1.0) * norm;
  filter.a2 = (1.0 - std::numbers::sqrt2 * k + k * k) * norm;
  return filter;
}

Biquad Biquad::highPass(double corner, double sampleRate) {
  Biquad filter = lowPass(corner, sampleRate);
  filter.b0 = normOf(warped(corner, sampleRate));
  filter.b1 = -2.0 * filter.b0;
  filter.b2 = filter.b0;
  return filter;
}

void Biquad::run(std::vector<float>& samples) {
  for (float& sample : samples) {
    sample = next(sample);
  }
}

std::vector<float> bandOf(const std::vector<float>& samples, Band band, double sampleRate) {
  std::vector<float> result = samples;
  Biquad::highPass(band.from, sampleRate).run(result);
  Biquad::lowPass(band.to, sampleRate).run(result);
  return result;
}

double energyOf(const std::vector<float>& samples) {
  double energy = 0.0;
  for (const float sample : samples) {
    energy += static_cast<double>(sample) * static_cast<double>(sample);
  }
  return energy;
}

std::vector<double> meanSquares(const std::vector<float>& samples, std::size_t reach) {
  std::vector<double> sums(samples.size() + 1, 0.0);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto sample = static_cast<double>(samples[i]);
    sums[i + 1] = sums[i] + sample * sample;
  }
  std::vector<double> means(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::size_t begin = i - std::min(i, reach);
    const std::size_t end = std::min(i + reach + 1, samples.size());
    means[i] = (sums[end] - sums[begin]) / static_cast<double>(end - begin);
  }
  return means;
}

std::vector<float> levelsAround(const std::vector<float>& samples, std::size_t reach,
                                double factor) {
  const std::vector<double> squares = meanSquares(samples, reach);
  std::vector<float> levels(squares.size());
  std::transform(squares.begin(), squares.end(), levels.begin(), [factor](double square) {
    return static_cast<float>(std::sqrt(factor * square));
  });
  return levels;
}

void removeBass(std::vector<float>& samples, double sampleRate) {
  const auto filter = [&](double corner) {
    for (int direction = 0; direction < 2; ++direction) {
      Biquad::highPass(corner, sampleRate).run(samples);
      std::reverse(samples.begin(), samples.end());
    }
  };
  const double before = energyOf(samples);
  filter(bassCorner);
  // Loud hum has harmonics near the tones; the steeper filter blurs the bits a little.
  if (before > loudBass * energyOf(samples)) {
    filter(humCorner);
    filter(humCorner);
  }
}

void restoreBass(std::vector<float>& samples, double sampleRate) {
  const double bass = energyOf(bandOf(samples, lowTone, sampleRate));
  const double treble = energyOf(bandOf(samples, highTone, sampleRate));
  if (bass > weakBass * treble || bass < noBass * treble) {
    return;
  }
  const auto kept =
      static_cast<float>(std::exp(-2.0 * std::numbers::pi * integratorCorner / sampleRate));
  float sum = 0.0F;
  for (float& sample : samples) {
    sum = kept * sum + (1.0F - kept) * sample;
    sample = sum;
  }
}

void evenLevel(std::vector<float>& samples, double sampleRate) {
  const auto hop = std::max<std::size_t>(1, static_cast<std::size_t>(levelHop * sampleRate));
  std::vector<float> peaks;
  for (std::size_t begin = 0; begin < samples.size(); begin += hop) {
    float peak = 0.0F;
    for (std::size_t i = begin; i < std::min(begin + hop, samples.size()); ++i) {
      peak = std::max(peak, std::abs(samples[i]));
    }
    peaks.push_back(peak);
  }
  if (peaks.empty()) {
    return;
  }

  std::vector<float> sorted = peaks;
  const auto high = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() * 17 / 20);
  std::nth_element(sorted.begin(), high, sorted.end());
  const float lowest = std::max(*high * weakest, 1.0e-9F);

  // The median changes slowly: it is taken at every tenth step and drawn straight between.
  constexpr std::size_t stride = 10;
  const auto reach = static_cast<std::size_t>(medianReach / levelHop);
  std::vector<float> medians;
  std::vector<float> around;
  for (std::size_t i = 0; i < peaks.size() + stride; i += stride) {
    const std::size_t middle = std::min(i, peaks.size() - 1);
    const std::size_t begin = middle - std::min(middle, reach);
    const std::size_t end = std::min(middle + reach + 1, peaks.size());
    around.assign(peaks.begin() + static_cast<std::ptrdiff_t>(begin),
                  peaks.begin() + static_cast<std::ptrdiff_t>(end));
    medians.push_back(std::max(median(around), lowest));
  }
  std::vector<float> levels(peaks.size());
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const float part = static_cast<float>(i % stride) / static_cast<float>(stride);
    levels[i] = medians[i / stride] * (1.0F - part) + medians[i / stride + 1] * part;
  }
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = std::clamp(samples[i] / levels[i / hop], -clickLimit, clickLimit);
  }
}

}  // namespace recovery
