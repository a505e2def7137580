#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "recovery/ConverterReading.h"
#include "report/MadeResults.h"
#include "support/RealRecording.h"
#include "support/Search.h"

// Which causes are stated of modelled recordings that have one of them, or none.

namespace {

using testing::TestWithParam;
using testing::UnorderedElementsAreArray;
using testing::ValuesIn;

/// What is read from `recording` into results that may hold something of the file already.
void read(const RealRecording& recording, report::Results& results) {
  Found found = search(recording.samples, recording.sampleRate, recording.channels);
  report::Recording& result = results.recordings.front();
  result.bits = recording.bitsPerSample;
  result.takes = std::move(found.takes);
  result.facts = std::move(found.facts);
  result.chosenTake = recovery::bestTake(result.takes);
  if (const recovery::Take* take = result.take()) {
    results.bank = recovery::readBank({take, 1});
    const std::vector<float> samples = recording.firstChannel();
    const recovery::ConverterReading converter = recovery::readAsConverter(
        samples.data(), static_cast<int>(samples.size()), results.bank.bank);
    result.converter.outcome = converter.wrongPresets == 0 ? report::ConverterOutcome::ReadsRight
                                                           : report::ConverterOutcome::ReadsWrong;
    result.converter.isWrong = converter.isWrong;
    result.converter.dataStart =
        converter.dataStart < 0.0 ? -1.0 : converter.dataStart * 44100.0 / recording.sampleRate;
  }
}

struct Case {
  const char* mixture;
  std::vector<std::string> stated;
  std::function<void(RealRecording&, report::Recording&)> change = nullptr;
};

std::ostream& operator<<(std::ostream& out, const Case& tested) { return out << tested.mixture; }

/// Keeps the part of a mono recording between two times of its dump, 0 and 1 being its ends.
void cut(RealRecording& recording, double from, double to) {
  const RecordedDump& dump = recording.dumps.front();
  const auto at = [&](double part) {
    return recording.samples.begin() +
           static_cast<std::ptrdiff_t>((dump.start + part * (dump.end - dump.start)) *
                                       recording.sampleRate);
  };
  const auto end = to < 1.0 ? at(to) : recording.samples.end();
  const auto start = from > 0.0 ? at(from) : recording.samples.begin();
  recording.samples = std::vector<float>(start, end);
}

class Confusion : public TestWithParam<Case> {};

TEST_P(Confusion, StatesWhatIsThereAndNothingElse) {
  RealRecording recording = makeRecording(GetParam().mixture, 901);
  report::Results results;
  results.recordings.resize(1);
  if (GetParam().change) {
    GetParam().change(recording, results.recordings.front());
  }
  read(recording, results);
  ASSERT_NE(results.recordings[0].take(), nullptr);
  EXPECT_THAT(statedCauses(results), UnorderedElementsAreArray(GetParam().stated));
}

const auto asLossy = [](RealRecording&, report::Recording& r) { r.isLossy = true; };
const auto slowDown = [](RealRecording& r, report::Recording&) { r.sampleRate *= 0.94; };
const auto speedUp = [](RealRecording& r, report::Recording&) { r.sampleRate *= 1.06; };
const auto cutEnd = [](RealRecording& r, report::Recording&) { cut(r, 0.0, 0.8); };
const auto cutBeginning = [](RealRecording& r, report::Recording&) { cut(r, 0.05, 1.0); };

const std::vector<Case> cases{
    {"hum-mild", {"hum"}},
    {"hum-typical", {"hum"}},
    {"hum-severe", {"hum"}},
    {"level-mild", {}},
    {"level-typical", {"low-level"}},
    {"level-severe", {"low-level"}},
    {"bits-mild", {}},
    {"bits-severe", {"low-level"}},
    {"channel-typical", {"wrong-channel"}},
    {"antiphase-typical", {}},
    {"antiphase-severe", {"wrong-channel"}},
    {"drop-outs-mild", {}},
    {"drop-outs-typical", {"drop-out"}},
    {"drop-outs-severe", {"drop-out"}},
    {"speed-mild", {}},
    {"speed-typical", {"slow"}},
    {"speed-severe", {"slow"}},
    {"inverted-typical", {"slow"}, slowDown},
    {"inverted-typical", {"fast"}, speedUp},
    {"wow-mild", {}},
    {"wow-typical", {}},
    {"wow-severe", {"unsteady-speed"}},
    {"flutter-severe", {}},
    {"voice before-mild", {"false-beginning"}},
    {"voice before-typical", {"false-beginning"}},
    {"voice before-severe", {"false-beginning"}},
    {"dump before-mild", {}},
    {"dump before-typical", {"false-beginning"}},
    {"dump before-severe", {"false-beginning"}},
    {"run-up-typical", {"false-beginning"}},
    {"dump after-severe", {}},
    {"leader-mild", {}},
    {"leader-typical", {}},
    {"leader-severe", {"no-leader"}},
    {"inverted-mild", {"cut-beginning"}, cutBeginning},
    {"end-mild", {}},
    {"end-typical", {}},
    {"end-severe", {"cut-end"}},
    {"inverted-mild", {"cut-end"}, cutEnd},
    {"hum-typical", {"hum", "cut-end"}, cutEnd},
    {"codec-mild", {"lossy-file"}, asLossy},
    {"codec-typical", {"lossy-file"}, asLossy},
    {"codec-severe", {"lossy-file"}, asLossy},
    {"clipping-mild", {"clipping"}},
    {"clipping-typical", {"clipping"}},
    {"saturation-severe", {}},
    {"shape-typical", {}},
    {"hiss-mild", {}},
    {"hiss-typical", {"noise"}},
    {"hiss-severe", {"noise"}},
    {"following noise-mild", {}},
    {"following noise-severe", {"noise"}},
    {"clicks-typical", {}},
    {"DC-mild", {}},
    {"DC-typical", {"dc-offset"}},
    {"DC-severe", {"dc-offset"}},
    {"bass loss-mild", {}},
    {"bass loss-typical", {}},
    {"bass loss-severe", {"bass-loss"}},
    {"treble loss-typical", {}},
    {"treble loss-severe", {}},
    {"phase-typical", {}},
    {"phase-severe", {"tone-shift"}},
    {"rate-mild", {}},
    {"rate-typical", {"sample-rate"}},
    {"rate-severe", {"sample-rate"}},
};

INSTANTIATE_TEST_SUITE_P(Causes, Confusion, ValuesIn(cases));

}  // namespace
