#pragma once

#include <vector>

#include "recovery/Take.h"
#include "report/Report.h"

namespace report {

/// Lengths of half-periods, in samples of the file, that the converter takes for the short ones of
/// a one bit and the long ones of a zero bit.
inline constexpr int shortestShort = 5;
inline constexpr int longestShort = 19;
inline constexpr int shortestLong = 35;
inline constexpr int longestLong = 49;

/// What the spectrum, the half-periods and the bits of a dump tell of its signal.
struct Measures {
  double toneLevel = -120.0;  // dBFS, the peaks of the tones; at least -120
  double peakLevel = -120.0;  // dBFS, the largest sample
  double noiseLevel = -99.0;  // dB of the noise between 200 and 5,500 Hz against the tones' peaks,
                              // at most; -99 where it can't be told
  bool isNoise = false;       // it is more than what harmonics and clipping leave there
  double humLevel = 0.0;      // dB against the tones; 0 where there is no hum to speak of
  double balance = 0.0;       // dB of the low tone against the high one
  double shiftedShare =
      0.0;  // part of the half-periods that are too long for a 1, too short for a 0
  int ignoredHalfPeriods = 0;    // that the converter takes for neither
  double shortHalfPeriod = 0.0;  // seconds, by the lengths of the bits at the median speed
  double longHalfPeriod = 0.0;   // seconds
  double speed = 1.0;            // the median; 1.0 with a long half-period of 42 / 44,100 seconds
};
Measures measure(const Recording& recording, const recovery::Take& take);

/// The noise that rounding to the steps of a file of `bits` a sample makes, measured like
/// `Measures::noiseLevel`, for tones of `toneLevel` dBFS; -99 where the width is unknown.
double roundingNoise(int bits, double sampleRate, double toneLevel);

/// The speed of the tape over a dump; 1.0 is the instrument's own.
std::vector<recovery::SpeedPoint> speedOf(const Recording& recording, const recovery::Take& take);

/// The drop-outs of a dump, those that follow each other closely as one.
std::vector<recovery::DropOut> dropOutsOf(const recovery::Take& take);

/// The speeds of a tape, 1.0 being the instrument's own, at which the half-periods of a dump stay
/// within what the converter takes for short and long. Both 0 where the dump tells nothing of it.
struct SpeedRange {
  double slowest = 0.0;
  double fastest = 0.0;
};
SpeedRange speedsForConverter(const Recording& recording);

}  // namespace report
