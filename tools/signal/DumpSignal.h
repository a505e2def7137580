#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "signal/Tones.h"

/// Half a swing of one of the two tones: between two zero crossings.
enum class HalfPeriod : std::uint8_t { Short, Long };

using HalfPeriods = std::vector<HalfPeriod>;

constexpr int nominalSamples(HalfPeriod halfPeriod) {
  return halfPeriod == HalfPeriod::Short ? shortHalfPeriodSamples : longHalfPeriodSamples;
}

/// Adds a one bit (twelve short half-periods) or a zero bit (four long ones).
void appendBit(HalfPeriods& signal, bool bit);

/// Adds each byte of `bytes`, most significant bit first.
void appendBytes(HalfPeriods& signal, std::string_view bytes);

/// A whole dump: a leader of `leaderOnes` one bits, the start marker (a zero bit), the bytes of
/// `bank`, and a third of a one bit, so that the last data half-period too ends in a zero crossing.
HalfPeriods dumpSignal(std::string_view bank, int leaderOnes = 300);

/// A clean recording of `signal`: sines of 80 % of full scale, upwards first, between two quarters
/// of a second of silence. Samples of -1.0 to 1.0, 44,100 a second.
std::vector<float> recordTape(const HalfPeriods& signal);
