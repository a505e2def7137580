#pragma once

#include <cstdint>
#include <vector>

#include "recovery/Take.h"
#include "report/Report.h"

namespace report {

/// The least level that is told, in dBFS; what is lower is not known.
inline constexpr double lowestLevel = -120.0;

/// The part of full scale `magnitude` in dBFS, at least `lowestLevel`.
double decibels(double magnitude);

/// Lengths of half-periods in whole samples of the file.
struct LengthRange {
  int shortest;
  int longest;

  constexpr bool contains(long samples) const { return samples >= shortest && samples <= longest; }
};

/// What the converter takes for a short half-period, of a one bit, and for a long one, of a zero.
inline constexpr LengthRange shortLengths{5, 19};
inline constexpr LengthRange longLengths{35, 49};

inline constexpr double unknownNoise = -99.0;  // dB

/// What the spectrum, the half-periods and the bits of a dump tell of its signal.
struct Measures {
  double toneLevel = lowestLevel;    // dBFS, the peaks of the tones
  double peakLevel = lowestLevel;    // dBFS, the largest sample
  double noiseLevel = unknownNoise;  // dB of the noise between 200 and 5,500 Hz against the tones'
                                     // peaks, at most
  bool isNoise = false;              // it is more than what harmonics and clipping leave there
  double humLevel = 0.0;             // dB against the tones; 0 where there is no hum to speak of
  double balance = 0.0;              // dB of the low tone against the high one
  double shiftedShare = 0.0;     // part of the half-periods: too long for a 1, too short for a 0
  int ignoredHalfPeriods = 0;    // that the converter takes for neither
  double shortHalfPeriod = 0.0;  // seconds, by the lengths of the bits at the median speed
  double longHalfPeriod = 0.0;   // seconds
  double speed = 1.0;            // the median; 1.0 with a long half-period of 42 / 44,100 seconds
};
Measures measure(const Recording& recording, const recovery::Take& take);

/// The noise that rounding to the steps of a file of `bits` a sample makes, measured like
/// `Measures::noiseLevel`, for tones of `toneLevel` dBFS; `unknownNoise` where the width is
/// unknown.
double roundingNoise(int bits, double sampleRate, double toneLevel);

/// The speed of the tape over a dump; 1.0 is the instrument's own.
std::vector<recovery::SpeedPoint> speedOf(const recovery::Take& take, const Measures& measures);

/// The drop-outs of a dump, those that follow each other closely as one.
std::vector<recovery::DropOut> dropOutsOf(const recovery::Take& take);

/// The speeds of a tape, 1.0 being the instrument's own, at which the half-periods of a dump stay
/// within what the converter takes for short and long. Both 0 where the dump tells nothing of it.
struct SpeedRange {
  double slowest = 0.0;
  double fastest = 0.0;
};
SpeedRange speedsForConverter(const Recording& recording, const Measures& measures);

/// The time of the first data bit; below 0 where it was not recorded.
double dataStart(const recovery::Take& take);

/// From the leader, or what is left, to the last bit recorded; empty where there is no bit.
recovery::Span dumpSpan(const recovery::Take& take);

/// The sample of the recording at a time.
std::int64_t sampleAt(const Recording& recording, double seconds);

}  // namespace report
