#include "recovery/Channels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recovery {

namespace {

constexpr double targetRate = 15000.0;
constexpr float largest = 1.0e4F;  // times full scale

float bounded(float sample) {
  return std::isfinite(sample) ? std::clamp(sample, -largest, largest) : 0.0F;
}

/// A low-pass for `sampleRate`, the middle of whose transition is at `corner` hertz.
std::vector<float> lowPassTaps(double sampleRate, double corner, int half) {
  std::vector<float> taps(static_cast<std::size_t>(2 * half + 1));
  double sum = 0.0;
  std::vector<double> values(taps.size());
  for (int i = -half; i <= half; ++i) {
    const double x = 2.0 * corner / sampleRate * i;
    const double sinc = i == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
    const double window = 0.5 + 0.5 * std::cos(std::numbers::pi * i / (half + 1));
    values[static_cast<std::size_t>(i + half)] = sinc * window;
    sum += sinc * window;
  }
  std::transform(values.begin(), values.end(), taps.begin(),
                 [sum](double value) { return static_cast<float>(value / sum); });
  return taps;
}

}  // namespace

Decimator::Decimator(double sampleRate)
    : step(std::max(1, static_cast<int>(std::lround(sampleRate / targetRate)))),
      rate(sampleRate / step),
      taps(1, 1.0F) {
  if (step > 1) {
    // Takes at most 0.1 dB up to 0.37 of the output rate, and 44 dB from 0.63 on, which folds back.
    taps = lowPassTaps(sampleRate, rate / 2.0, 6 * step);
  }
  pending.assign(taps.size() / 2, 0.0F);
}

void Decimator::add(const Input& input, std::vector<float>& output) {
  const std::size_t held = pending.size();
  pending.resize(held + input.count);
  for (std::size_t i = 0; i < input.count; ++i) {
    pending[held + i] = bounded(input.samples[i * input.stride]);
  }
  filter(output);
}

void Decimator::finish(std::vector<float>& output) {
  pending.resize(pending.size() + taps.size() / 2, 0.0F);
  filter(output);
}

void Decimator::filter(std::vector<float>& output) {
  const std::size_t half = taps.size() / 2;
  while (next + taps.size() <= pending.size()) {
    const float* const window = pending.data() + next;
    float sum = taps[half] * window[half];
    for (std::size_t i = 0; i < half; ++i) {
      sum += taps[i] * (window[i] + window[taps.size() - 1 - i]);
    }
    output.push_back(sum);
    next += static_cast<std::size_t>(step);
  }
  const std::size_t used = std::min(next, pending.size());
  pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(used));
  next -= used;
}

}  // namespace recovery
