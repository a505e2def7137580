#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "preset/PresetBank.h"
#include "recovery/Bank.h"
#include "recovery/Take.h"

namespace report {

/// What the converter does with a recording's file as it stands.
enum class ConverterOutcome : std::uint8_t {
  NotTried,  // there is no file, or no dump to compare with
  ReadsRight,
  Rejects,
  ReadsWrong
};

struct ConverterAnswer {
  ConverterOutcome outcome = ConverterOutcome::NotTried;
  std::string reason;  // why it rejects the file or reads it wrong, such as "it is not a WAV file"
  std::array<bool, presetCount> isWrong{};  // where it reads wrong: which presets

  /// Seconds in the recording at which it takes the data to begin; below 0 where that is unknown.
  double dataStart = -1.0;
};

/// One recording, and what the core found in it.
struct Recording {
  std::string name;       // as shown to the user; any bytes, each report escapes what it must
  std::string container;  // such as "WAV" or "Ogg"
  std::string codec;      // such as "16-bit PCM" or "MPEG layer III"
  int bits = 0;           // a sample, 0 where the codec has no such width
  bool isLossy = false;   // the codec leaves out what it takes for inaudible
  recovery::RecordingFacts facts;
  std::vector<recovery::Take> takes;  // the dumps found, in the order of time
  int chosenTake = -1;                // index of the dump used, -1 where there is none
  ConverterAnswer converter;

  /// The dump used, or null. The recording keeps it.
  const recovery::Take* take() const {
    return chosenTake >= 0 ? &takes[static_cast<std::size_t>(chosenTake)] : nullptr;
  }
};

/// All that a report is made of.
struct Results {
  std::string program;  // name and version, such as "Kestrel7TapeToSysex 1.0"
  std::vector<Recording> recordings;

  /// Read from the dumps used, in the order of the recordings; a recording without a dump has no
  /// take in it, so a `PresetReading::take` counts only recordings that have one.
  recovery::BankReading bank;

  /// Whether any recording has a dump.
  bool hasDump() const;
};

/// Reads the bank from the dumps used of all recordings. Returns the recordings that hold different
/// dumps, where there are two; the bank then stays as it is.
recovery::DifferentDumps readBank(Results& results);

/// The index of the recording that the bank's take `take` is of; where there is no such take that
/// of the first with a dump, or -1.
int recordingOfTake(const Results& results, int take);

/// The outcome in one sentence without a line end, such as "All 40 presets are sure."
std::string verdict(const Results& results);

/// What to do about it, in a sentence or two: the remedy of what hurts most, or what to give to the
/// converter; empty where there is nothing to do.
std::string advice(const Results& results);

/// The report for a terminal of 80 columns, plain ASCII but for the names, in lines.
std::string textReport(const Results& results);

/// The same and more as one JSON object with a line end; tools/report/report.schema.json describes
/// it.
std::string jsonReport(const Results& results);

/// An Audacity label track for one recording: a line for the leader, the start marker, each preset
/// and each drop-out, in the order of time. Empty where the recording has no dump.
std::string labels(const Results& results, std::size_t recording);

/// A page complete in itself: no script, nothing loaded from elsewhere.
std::string htmlReport(const Results& results);

}  // namespace report
