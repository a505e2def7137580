#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "preset/PresetBank.h"
#include "recovery/Take.h"

namespace recovery {

enum class Verdict : std::uint8_t { Sure, Doubtful, Missing };

/// Why a preset is not sure.
enum class Reason : std::uint8_t {
  None,
  DropOut,     // the tones are too weak or gone
  Noise,       // the tones are there, and something covers them
  Count,       // a bit before it may have been lost or gained
  Beginning,   // where the data begin is not sure
  NotRecorded  // the recording begins too late or ends too early
};

/// One of the 40 presets, as read from all takes.
struct PresetReading {
  Verdict verdict = Verdict::Missing;
  Reason reason = Reason::NotRecorded;
  int take = 0;            // index of the take that `span` belongs to, the best one for this preset
  Span span;               // seconds in that take's recording; empty where it is missing
  float margin = 0.0F;     // the least of its bits, in nats; -1 where a bit was not recorded
  double worstTime = 0.0;  // seconds: where the least sure bit begins
  std::array<std::uint8_t, presetSize> doubtfulBits{};  // a mask a byte: bits that are not sure
};

/// The 40 presets of a dump.
struct BankReading {
  PresetBank bank{};  // doubtful presets as best read, missing ones as zeros
  std::array<PresetReading, presetCount> presets{};

  const PresetReading& preset(int record) const {
    return presets[static_cast<std::size_t>(record)];
  }
  int count(Verdict verdict) const;
};

/// Two takes of different dumps: indices into the takes that were given.
struct DifferentDumps {
  int first = -1;
  int second = -1;

  bool found() const { return first >= 0; }
};

/// Whether two of the takes hold different dumps: what both read surely differs.
DifferentDumps findDifferentDumps(std::span<const Take> takes);

/// Reads the bank from all takes of one dump (see `findDifferentDumps`) together, bit by bit. One
/// take is enough; none gives 40 missing presets.
BankReading readBank(std::span<const Take> takes);

/// Joins what two readers or channels found in one recording: of a dump that both found, the better
/// take stays and gets those presets from the other that only the other is sure of. Its doubtful
/// places go where they are sure then; its leader, marker, speed and drop-outs stay as they are.
std::vector<Take> mergeTakes(std::vector<Take> takes, const std::vector<Take>& others);

/// Takes the doubtful presets of a take from another reading of it, where that has the sure ones
/// right. They stay doubtful.
void takeOpinion(Take& take, const PresetBank& other);

/// Where a preset lies in a take, as far as it was recorded; empty where it was not.
Span presetSpan(const Take& take, int preset);

/// How many presets of a take are sure, by that alone.
int surePresets(const Take& take);

/// How many of the 7,680 bits of a take were recorded.
std::ptrdiff_t recordedBits(const Take& take);

/// The index of the best of the dumps found in one recording: the one with the most presets, sure
/// ones above all, then the largest margins; but a whole dump does not yield to a later one that is
/// only a little better. -1 where there are none.
int bestTake(std::span<const Take> takes);

}  // namespace recovery
