#include "signal/DumpSignal.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace {

constexpr std::size_t silentSamples = nominalSampleRate / 4;
constexpr double level = 0.8;

}  // namespace

void appendBit(HalfPeriods& signal, bool bit) {
  if (bit) {
    signal.insert(signal.end(), shortsPerOneBit, HalfPeriod::Short);
  } else {
    signal.insert(signal.end(), longsPerZeroBit, HalfPeriod::Long);
  }
}

void appendBytes(HalfPeriods& signal, std::string_view bytes) {
  for (const char byte : bytes) {
    for (int bit = 7; bit >= 0; --bit) {
      appendBit(signal, (byte >> bit & 1) != 0);
    }
  }
}

HalfPeriods dumpSignal(std::string_view bank, int leaderOnes) {
  HalfPeriods signal;
  for (int i = 0; i < leaderOnes; ++i) {
    appendBit(signal, true);
  }
  appendBit(signal, false);
  appendBytes(signal, bank);
  signal.insert(signal.end(), 4, HalfPeriod::Short);
  return signal;
}

std::vector<float> recordTape(const HalfPeriods& signal) {
  std::vector<float> recording(silentSamples);
  double peak = level;
  for (const HalfPeriod halfPeriod : signal) {
    const int samples = nominalSamples(halfPeriod);
    for (int i = 0; i < samples; ++i) {
      recording.push_back(
          static_cast<float>(peak * std::sin(std::numbers::pi * (i + 0.5) / samples)));
    }
    peak = -peak;
  }
  recording.resize(recording.size() + silentSamples);
  return recording;
}
