#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "recovery/Take.h"
#include "report/Report.h"

namespace report {

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
  BassLoss,
  TrebleLoss,
  ToneShift,  // the bits are told apart, but the half-periods where the tones meet have odd lengths
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

}  // namespace report
