#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "report/Causes.h"
#include "report/MadeResults.h"

namespace {

using report::Cause;
using report::ConverterOutcome;
using report::Recording;
using report::Weight;
using testing::TestWithParam;
using testing::ValuesIn;

std::vector<std::string> statedIn(const report::Results& results) {
  std::vector<std::string> words;
  for (const report::Finding& finding : report::findings(results, 0)) {
    words.emplace_back(report::causeWord(finding.cause));
  }
  return words;
}

/// White noise of `level` dB against the tones, of which each 10 Hz of
/// 5,300 have a part 27.24 dB below all.
void setNoise(recovery::Take& take, double level) {
  take.spectrum.assign(take.spectrum.size(),
                       static_cast<float>(take.signal.toneLevel + level - 27.24));
}

/// What is done to a clean recording, and what is stated of it then.
struct Case {
  const char* name;
  std::function<void(Recording&, recovery::Take&)> change;
  std::vector<std::string> stated;
};

std::ostream& operator<<(std::ostream& out, const Case& tested) { return out << tested.name; }

class Threshold : public TestWithParam<Case> {};

TEST_P(Threshold, IsWhereACauseIsStated) {
  report::Results results = madeResults();
  Recording& recording = results.recordings[0];
  recording.converter.outcome = ConverterOutcome::ReadsWrong;
  GetParam().change(recording, recording.takes[0]);
  EXPECT_EQ(statedIn(results), GetParam().stated);
}

const std::vector<Case> cases{
    {"clean", [](Recording&, recovery::Take&) {}, {}},
    {"noise", [](Recording&, recovery::Take& t) { setNoise(t, -33.0); }, {"noise"}},
    {"little noise", [](Recording&, recovery::Take& t) { setNoise(t, -35.0); }, {}},
    {"hum",
     [](Recording&, recovery::Take& t) {
       t.signal.humFrequency = 60.0;
       t.signal.humLevel = -29.0;
     },
     {"hum"}},
    {"little hum",
     [](Recording&, recovery::Take& t) {
       t.signal.humFrequency = 60.0;
       t.signal.humLevel = -31.0;
     },
     {}},
    {"DC offset, tone at half",
     [](Recording&, recovery::Take& t) { t.signal.dcOffset = -0.06; },
     {"dc-offset"}},
    {"little DC offset", [](Recording&, recovery::Take& t) { t.signal.dcOffset = 0.04; }, {}},
    {"low", [](Recording&, recovery::Take& t) { t.signal.toneLevel = -37.0; }, {"low-level"}},
    {"not low", [](Recording&, recovery::Take& t) { t.signal.toneLevel = -35.0; }, {}},
    {"low in 8 bits",
     [](Recording& r, recovery::Take& t) {
       r.bits = 8;
       t.signal.toneLevel = -30.0;
     },
     {"low-level"}},
    {"clipped", [](Recording&, recovery::Take& t) { t.signal.clippedShare = 0.021; }, {"clipping"}},
    {"hardly clipped", [](Recording&, recovery::Take& t) { t.signal.clippedShare = 0.019; }, {}},
    {"slow", [](Recording&, recovery::Take& t) { t.signal.speedMedian = 0.96; }, {"slow"}},
    {"hardly slow", [](Recording&, recovery::Take& t) { t.signal.speedMedian = 0.98; }, {}},
    {"fast", [](Recording&, recovery::Take& t) { t.signal.speedMedian = 1.04; }, {"fast"}},
    {"hardly fast", [](Recording&, recovery::Take& t) { t.signal.speedMedian = 1.02; }, {}},
    {"unsteady",
     [](Recording&, recovery::Take& t) { t.signal.speedWander = 0.021; },
     {"unsteady-speed"}},
    {"steady", [](Recording&, recovery::Take& t) { t.signal.speedWander = 0.019; }, {}},
    {"drop-out",
     [](Recording&, recovery::Take& t) {
       t.dropOuts = {{{3.0, 3.002}, 11.0}};
     },
     {"drop-out"}},
    {"shallow",
     [](Recording&, recovery::Take& t) {
       t.dropOuts = {{{3.0, 3.002}, 9.0}};
     },
     {}},
    {"leader of nine", [](Recording&, recovery::Take& t) { t.leaderOnes = 9; }, {"no-leader"}},
    {"leader of ten", [](Recording&, recovery::Take& t) { t.leaderOnes = 10; }, {}},
    {"no beginning",
     [](Recording&, recovery::Take& t) { t.bits[0].value = -1; },
     {"cut-beginning"}},
    {"no end", [](Recording&, recovery::Take& t) { t.bits.back().value = -1; }, {"cut-end"}},
    {"sudden end",
     [](Recording& r, recovery::Take& t) { r.facts.duration = t.bits.back().end + 0.0005; },
     {"cut-end"}},
    {"begins early",
     [](Recording& r, recovery::Take&) { r.converter.dataStart = 0.5; },
     {"false-beginning"}},
    {"begins there",
     [](Recording& r, recovery::Take& t) { r.converter.dataStart = t.bits[0].start - 0.001; },
     {}},
    {"second channel",
     [](Recording& r, recovery::Take& t) {
       r.facts.channels = 2;
       t.channelIndex = 1;
     },
     {"wrong-channel"}},
    {"lossy", [](Recording& r, recovery::Take&) { r.isLossy = true; }, {"lossy-file"}},
    {"96,000 Hz",
     [](Recording& r, recovery::Take&) { r.facts.sampleRate = 96000.0; },
     {"sample-rate"}},
    {"48,000 Hz", [](Recording& r, recovery::Take&) { r.facts.sampleRate = 48000.0; }, {}},
};

INSTANTIATE_TEST_SUITE_P(Causes, Threshold, ValuesIn(cases));

TEST(Findings, PutFirstWhatCostsPresets) {
  report::Results results = madeResults();
  recovery::Take& take = results.recordings[0].takes[0];
  results.recordings[0].converter.outcome = ConverterOutcome::ReadsWrong;
  take.signal.speedMedian = 0.95;
  take.signal.humFrequency = 50.0;
  take.signal.humLevel = -8.0;
  take.dropOuts = {{{3.0, 3.02}, 20.0}};
  makeDoubtful(results, 2, recovery::Reason::DropOut);
  const std::vector<report::Finding> found = report::findings(results, 0);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].cause, Cause::DropOut);
  EXPECT_EQ(found[0].weight, Weight::CostsPresets);
  EXPECT_EQ(found[0].presets, 1);
  EXPECT_EQ(found[1].cause, Cause::Hum);
  EXPECT_EQ(found[1].weight, Weight::StopsConverter);
  EXPECT_EQ(found[2].cause, Cause::Slow);
  EXPECT_EQ(found[2].weight, Weight::WorthKnowing);
}

TEST(Findings, StopNoConverterThatReadsItRight) {
  report::Results results = madeResults();
  recovery::Take& take = results.recordings[0].takes[0];
  setNoise(take, -10.0);
  const std::vector<report::Finding> found = report::findings(results, 0);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].weight, Weight::WorthKnowing);
}

// 42 samples may become 49 or 35, 12 samples 19 or 5.
TEST(SpeedsForConverter, FollowFromTheHalfPeriods) {
  report::Results results = madeResults();
  const report::SpeedRange range = report::speedsForConverter(results.recordings[0]);
  EXPECT_NEAR(range.slowest, 42.0 / 49.0, 1e-9);
  EXPECT_NEAR(range.fastest, 42.0 / 35.0, 1e-9);
}

}  // namespace
