#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
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

/// What can be wrong with a recording.
enum class Cause : std::uint8_t {
  DropOut,
  CutBeginning,
  CutEnd,
  NoLeader,
  FalseBeginning,
  WrongChannel,
  SampleRate,
  Slow,
  Fast,
  UnsteadySpeed,
  Noise,
  Hum,
  DcOffset,
  LowLevel,
  Clipping,
  Unclear,  // something covers the tones in places, and none of the others explains it
  LossyFile
};

/// How much a cause hurts, the worst first.
enum class Weight : std::uint8_t {
  CostsPresets,    // presets are doubtful or missing for it
  StopsConverter,  // more than the converter bears, even were all else clean
  WorthKnowing
};

/// One thing that is wrong with a recording.
struct Finding {
  Cause cause = Cause::DropOut;
  Weight weight = Weight::WorthKnowing;
  int presets = 0;       // how many are doubtful or missing for it
  double figure = 0.0;   // in the unit of the cause
  double excess = 0.0;   // 0 where the figure just counts, 1 at what the converter bears
  recovery::Span place;  // seconds in the recording; empty where it is everywhere
  std::string text;      // what is wrong, with the figure; no sentence yet
  std::string remedy;    // the one to try, a sentence
};

/// The finding's word for programs, such as "hum".
const char* causeWord(Cause cause);

/// The unit of a finding's figure, such as "dB".
const char* causeUnit(Cause cause);

const char* weightWord(Weight weight);  // "costs-presets", for programs

/// What is wrong with one recording, the worst first; nothing where no dump was found in it. Each
/// cause is stated by a rule with a threshold, never guessed.
std::vector<Finding> findings(const Results& results, std::size_t recording);

/// The noise of a dump between 200 and 5,500 Hz in dB against the tones' peaks, from its spectrum.
double hissLevel(const recovery::Take& take);

/// The speeds of a tape, 1.0 being the instrument's own, at which the half-periods of a dump stay
/// within what the converter takes for short and long. Both 0 where the dump tells nothing of it.
struct SpeedRange {
  double slowest = 0.0;
  double fastest = 0.0;
};
SpeedRange speedsForConverter(const Recording& recording);

}  // namespace report
