#include "support/Filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

double angle(double frequency, double sampleRate) {
  return 2.0 * std::numbers::pi * std::min(frequency / sampleRate, 0.49);
}

/// The place of a first-order filter's pole, between -1 and 1.
double pole(double corner, double sampleRate) {
  const double t = std::tan(angle(corner, sampleRate) / 2.0);
  return (1.0 - t) / (1.0 + t);
}

}  // namespace

Filter Filter::lowPass(double corner, double sampleRate) {
  const double w = angle(corner, sampleRate);
  const double alpha = std::sin(w) / std::numbers::sqrt2;
  const double a0 = 1.0 + alpha;
  Filter filter;
  filter.b1 = (1.0 - std::cos(w)) / a0;
  filter.b0 = filter.b2 = filter.b1 / 2.0;
  filter.a1 = -2.0 * std::cos(w) / a0;
  filter.a2 = (1.0 - alpha) / a0;
  return filter;
}

Filter Filter::highPass(double corner, double sampleRate) {
  const double p = pole(corner, sampleRate);
  Filter filter;
  filter.b0 = (1.0 + p) / 2.0;
  filter.b1 = -filter.b0;
  filter.a1 = -p;
  return filter;
}

Filter Filter::gentleLowPass(double corner, double sampleRate) {
  const double p = pole(corner, sampleRate);
  Filter filter;
  filter.b0 = filter.b1 = (1.0 - p) / 2.0;
  filter.a1 = -p;
  return filter;
}

Filter Filter::allPass(double corner, double sampleRate) {
  const double p = pole(corner, sampleRate);
  Filter filter;
  filter.b0 = -p;
  filter.b1 = 1.0;
  filter.a1 = -p;
  return filter;
}

Filter Filter::peak(double centre, double gainDb, double quality, double sampleRate) {
  const double w = angle(centre, sampleRate);
  const double root = std::pow(10.0, gainDb / 40.0);
  const double alpha = std::sin(w) / (2.0 * quality);
  const double a0 = 1.0 + alpha / root;
  Filter filter;
  filter.b0 = (1.0 + alpha * root) / a0;
  filter.b1 = filter.a1 = -2.0 * std::cos(w) / a0;
  filter.b2 = (1.0 - alpha * root) / a0;
  filter.a2 = (1.0 - alpha / root) / a0;
  return filter;
}

Filter Filter::bandPass(double centre, double quality, double sampleRate) {
  const double w = angle(centre, sampleRate);
  const double alpha = std::sin(w) / (2.0 * quality);
  const double a0 = 1.0 + alpha;
  Filter filter;
  filter.b0 = alpha / a0;
  filter.b2 = -filter.b0;
  filter.a1 = -2.0 * std::cos(w) / a0;
  filter.a2 = (1.0 - alpha) / a0;
  return filter;
}

void Filter::apply(std::vector<float>& samples) {
  for (float& sample : samples) {
    sample = next(sample);
  }
}
