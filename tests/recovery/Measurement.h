#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "recovery/Bank.h"
#include "support/RealRecording.h"

/// What came of one recording of the model, or of several takes of one dump.
struct Outcome {
  bool whole = false;               // every recorded preset is right, and no other is sure
  bool converterWhole = false;      // the converter reads the first of them right as it stands
  bool onlyConverterWhole = false;  // the converter reads it right, the recovery does not
  bool found = false;               // a dump was found
  int recorded = 0;                 // presets that the recording holds
  int sureAndWrong = 0;             // presets, those of all dumps that were found
  int doubted = 0;                  // recorded presets that are read right but not sure
  int lost = 0;                     // recorded presets that are neither read right nor sure
  double seconds = 0.0;             // of processor time for the recovery
  std::string faults;               // what is the matter with the recording
};

/// How many sure presets of a reading of `dump`, or of no dump, are wrong: their bytes are, or they
/// lie where there is nothing to be read.
int sureAndWrong(const recovery::BankReading& reading, const RecordedDump* dump);

/// Makes `takes` recordings of the dump number `seed` of `mixture` and reads them.
Outcome measure(std::string_view mixture, std::uint32_t seed, int takes);
