#pragma once

// The two tones of a dump, as the instrument makes them.

/// The samples a second in which the lengths of half-periods are counted.
inline constexpr int nominalSampleRate = 44100;

/// Nominal lengths of half-periods in samples, in the middle of what the converter takes for short
/// (5 to 19) and for long (35 to 49).
inline constexpr int shortHalfPeriodSamples = 12;  // 1,837.5 Hz
inline constexpr int longHalfPeriodSamples = 42;   // 525 Hz

/// The same in seconds.
inline constexpr double longHalfPeriodSeconds =
    static_cast<double>(longHalfPeriodSamples) / nominalSampleRate;

/// Half-periods of a bit: a one is all short, a zero all long.
inline constexpr int shortsPerOneBit = 12;
inline constexpr int longsPerZeroBit = 4;
