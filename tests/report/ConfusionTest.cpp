#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "recovery/Bank.h"
#include "recovery/ConverterReading.h"
#include "recovery/DumpSearch.h"
#include "report/Causes.h"
#include "report/Report.h"
#include "support/RealRecording.h"

// Which causes are stated of modelled recordings that have one of them, or none.

namespace {

using testing::TestWithParam;
using testing::ValuesIn;

std::vector<float> firstChannel(const RealRecording& recording) {
  std::vector<float> samples;
  const auto step = static_cast<std::size_t>(recording.channels);
  for (std::size_t i = 0; i < recording.samples.size(); i += step) {
    samples.push_back(recording.samples[i]);
  }
  return samples;
}

report::Results read(const RealRecording& recording) {
  recovery::DumpSearch search(recording.sampleRate, recording.channels);
  search.add(recording.samples.data(),
             recording.samples.size() / static_cast<std::size_t>(recording.channels));
  report::Results results;
  report::Recording& result = results.recordings.emplace_back();
  result.bits = recording.bitsPerSample;
  result.takes = search.finish();
  result.facts = search.facts();
  result.chosenTake = recovery::bestTake(result.takes);
  if (const recovery::Take* take = result.take()) {
    results.bank = recovery::readBank({take, 1});
    const std::vector<float> samples = firstChannel(recording);
    const recovery::ConverterReading converter = recovery::readAsConverter(
        samples.data(), static_cast<int>(samples.size()), results.bank.bank);
    result.converter.outcome = converter.wrongPresets == 0 ? report::ConverterOutcome::ReadsRight
                                                           : report::ConverterOutcome::ReadsWrong;
    result.converter.isWrong = converter.isWrong;
    result.converter.dataStart =
        converter.dataStart < 0.0 ? -1.0 : converter.dataStart * 44100.0 / recording.sampleRate;
  }
  return results;
}

struct Case {
  const char* name;
  const char* mixture;
  std::set<std::string> stated;
  std::function<void(RealRecording&)> change = nullptr;
};

std::ostream& operator<<(std::ostream& out, const Case& tested) { return out << tested.name; }

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
  for (const std::uint32_t seed : {901U, 902U}) {
    RealRecording recording = makeRecording(GetParam().mixture, seed);
    if (GetParam().change) {
      GetParam().change(recording);
    }
    const report::Results results = read(recording);
    ASSERT_NE(results.recordings[0].take(), nullptr) << seed;
    std::set<std::string> stated;
    for (const report::Finding& finding : report::findings(results, 0)) {
      if (finding.cause != report::Cause::Unclear) {  // it claims nothing
        stated.insert(report::causeWord(finding.cause));
      }
    }
    EXPECT_EQ(stated, GetParam().stated) << seed;
  }
}

const std::vector<Case> cases{
    {"inverted", "inverted-typical", {}},
    {"other waves", "shape-typical", {}},
    {"saturation", "saturation-severe", {}},
    {"phase", "phase-severe", {"tone-shift"}},
    {"treble loss", "treble loss-severe", {}},
    {"bass loss", "bass loss-typical", {}},
    {"flutter", "flutter-severe", {}},
    {"clicks", "clicks-typical", {}},
    {"antiphase", "antiphase-typical", {}},
    {"a dump after it", "dump after-typical", {}},
    {"noise", "hiss-typical", {"noise"}},
    {"hum", "hum-typical", {"hum"}},
    {"DC offset", "DC-typical", {"dc-offset"}},
    {"low level", "level-typical", {"low-level"}},
    {"clipping", "clipping-typical", {"clipping"}},
    {"wow", "wow-severe", {"unsteady-speed"}},
    {"drop-outs", "drop-outs-typical", {"drop-out"}},
    {"wrong channel", "channel-typical", {"wrong-channel"}},
    {"voice before it", "voice before-typical", {"false-beginning"}},
    {"no leader", "leader-severe", {"no-leader"}},
    {"sudden end", "end-severe", {"cut-end"}},
    {"other rate", "rate-typical", {"sample-rate"}},
    {"slow", "inverted-typical", {"slow"}, [](RealRecording& r) { r.sampleRate *= 0.94; }},
    {"fast", "inverted-typical", {"fast"}, [](RealRecording& r) { r.sampleRate *= 1.06; }},
    {"end missing", "inverted-typical", {"cut-end"}, [](RealRecording& r) { cut(r, 0.0, 0.8); }},
};

INSTANTIATE_TEST_SUITE_P(Causes, Confusion, ValuesIn(cases));

}  // namespace
