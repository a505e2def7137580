#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include "recovery/Filter.h"

namespace recovery {
namespace {

/// The level of a frequency in the middle of two seconds at 44,100 a second.
double levelAt(double frequency, const std::vector<float>& samples) {
  std::complex<double> sum;
  for (std::size_t i = 22050; i < 66150; ++i) {
    sum += static_cast<double>(samples[i]) *
           std::polar(1.0, 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / 44100.0);
  }
  return std::abs(sum) * 2.0 / 44100.0;
}

TEST(RemoveBass, LeavesTheTonesUnderLoudHum) {
  std::vector<float> samples;
  for (int i = 0; i < 88200; ++i) {
    const double turn = 2.0 * std::numbers::pi * i / 44100.0;
    samples.push_back(static_cast<float>(std::sin(50.0 * turn) + 0.1 * std::sin(600.0 * turn)));
  }
  removeBass(samples, 44100.0);
  EXPECT_GT(levelAt(600.0, samples), 0.05);
  EXPECT_LT(levelAt(50.0, samples), 0.0005);
}

}  // namespace
}  // namespace recovery
