#include "recovery/Measurement.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <optional>

#include "recovery/ConverterReading.h"
#include "support/Banks.h"
#include "support/Search.h"

namespace {

using recovery::BankReading;
using recovery::Span;
using recovery::Take;
using recovery::Verdict;

double processorSeconds() {
  std::timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// The dump that a take covers the most of; none where it covers none.
const RecordedDump* dumpBehind(const RealRecording& recording, const Take& take) {
  const Span span = recovery::recordedSpan(take);
  const RecordedDump* best = nullptr;
  double longest = 0.0;
  for (const RecordedDump& dump : recording.dumps) {
    const double common = std::min(span.end, dump.end) - std::max(span.start, dump.start);
    if (common > longest) {
      longest = common;
      best = &dump;
    }
  }
  return best;
}

void judge(const BankReading& reading, const RecordedDump& dump, Outcome& outcome) {
  outcome.whole = true;
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    const bool isSure = reading.presets[preset].verdict == Verdict::Sure;
    const bool right = isRight(reading, bytesOf(dump.bank), preset);
    if (!dump.isRecorded[preset]) {
      outcome.whole = outcome.whole && (!isSure || right);
      continue;
    }
    ++outcome.recorded;
    outcome.doubted += right && !isSure ? 1 : 0;
    outcome.lost += !right && !isSure ? 1 : 0;
    outcome.whole = outcome.whole && right;
  }
}

bool converterReads(const RealRecording& recording) {
  if (!recording.isPlainWav || recording.mainDump < 0) {
    return false;
  }
  const std::vector<float> first = recording.firstChannel();
  const PresetBank& bank = recording.dumps[static_cast<std::size_t>(recording.mainDump)].bank;
  return recovery::readAsConverter(first.data(), static_cast<int>(first.size()), bank)
             .wrongPresets == 0;
}

/// The take of the main dump: the best one, unless that is another complete dump.
std::optional<Take> takeOfMainDump(const RealRecording& recording, const std::vector<Take>& takes) {
  const RecordedDump* main = &recording.dumps[static_cast<std::size_t>(recording.mainDump)];
  const int best = recovery::bestTake(takes);
  if (best < 0) {
    return {};
  }
  const Take& bestOfAll = takes[static_cast<std::size_t>(best)];
  const RecordedDump* behind = dumpBehind(recording, bestOfAll);
  if (behind == main || behind == nullptr || !behind->isComplete()) {
    return bestOfAll;
  }
  for (const Take& take : takes) {
    if (dumpBehind(recording, take) == main) {
      return take;
    }
  }
  return {};
}

}  // namespace

int sureAndWrong(const BankReading& reading, const RecordedDump* dump) {
  constexpr double tolerance = 0.01;  // seconds
  int wrong = 0;
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    const recovery::PresetReading& read = reading.presets[preset];
    if (read.verdict == Verdict::Sure &&
        (dump == nullptr || !isRight(reading, bytesOf(dump->bank), preset) ||
         read.span.start < dump->start - tolerance || read.span.end > dump->end + tolerance)) {
      ++wrong;
    }
  }
  return wrong;
}

Outcome measure(std::string_view mixture, std::uint32_t seed, int takes) {
  Outcome outcome;
  std::vector<Take> ofMainDump;
  std::optional<RecordedDump> main;
  for (int i = 0; i < takes; ++i) {
    const RealRecording recording = makeRecording(mixture, seed, i);
    const double start = processorSeconds();
    const std::vector<Take> found =
        search(recording.samples, recording.sampleRate, recording.channels).takes;
    outcome.seconds += processorSeconds() - start;
    outcome.found = outcome.found || !found.empty();
    for (const Take& take : found) {
      outcome.sureAndWrong +=
          sureAndWrong(recovery::readBank({&take, 1}), dumpBehind(recording, take));
    }
    if (i == 0) {
      outcome.faults = recording.faults;
      outcome.converterWhole = converterReads(recording);
    }
    if (recording.mainDump < 0) {
      continue;
    }
    main = recording.dumps[static_cast<std::size_t>(recording.mainDump)];
    if (const std::optional<Take> take = takeOfMainDump(recording, found)) {
      ofMainDump.push_back(*take);
    }
  }
  if (!main) {
    outcome.whole = !outcome.found;
    return outcome;
  }
  const double start = processorSeconds();
  const BankReading reading = recovery::readBank(ofMainDump);
  outcome.seconds = (outcome.seconds + processorSeconds() - start) / takes;
  judge(reading, *main, outcome);
  outcome.onlyConverterWhole = outcome.converterWhole && !outcome.whole;
  for (std::size_t preset = 0; takes > 1 && preset < presetCount; ++preset) {
    const bool isSure = reading.presets[preset].verdict == Verdict::Sure;
    outcome.sureAndWrong += isSure && !isRight(reading, bytesOf(main->bank), preset) ? 1 : 0;
  }
  return outcome;
}
