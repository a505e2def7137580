#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "report/Causes.h"
#include "report/MadeResults.h"
#include "report/Measures.h"

namespace {

using report::Cause;
using report::ConverterOutcome;
using report::Recording;
using report::Weight;
using testing::TestWithParam;
using testing::ValuesIn;

/// Moves the tones from -6 to `level` dBFS, and all else with them.
void setLevel(recovery::Take& take, double level) {
  for (float& part : take.spectrum) {
    part += static_cast<float>(level + 6.0);
  }
}

/// White noise of `level` dB against the tones at -6 dBFS. Each 10 Hz of 5,300 have a part 27.24 dB
/// below all; the spectrum shows mean squares times three, 4.77 dB more; and where it is quiet, it
/// is 1.85 dB less.
void setNoise(recovery::Take& take, double level) {
  for (float& part : take.spectrum) {
    part = std::max(part, static_cast<float>(-6.0 + level - 27.24 + 4.77 - 1.85));
  }
}

/// Plays the tape at another speed.
void setSpeed(Recording& recording, double speed) {
  for (recovery::BitReading& bit : recording.takes[0].bits) {
    bit.start /= speed;
    bit.end /= speed;
  }
  recording.facts.duration /= speed;
}

/// Makes the high tone `level` dB louder.
void setHighTone(recovery::Take& take, double level) {
  take.spectrum[184] += static_cast<float>(level);
}

void setHum(recovery::Take& take, double level) {
  take.signal.humFrequency = 60.0;
  take.signal.humLevel = level;
}

void addDropOut(recovery::Take& take, double depth) {
  take.dropOuts.push_back({.span = {3.0, 3.002}, .depth = depth});
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
  EXPECT_EQ(statedCauses(results), GetParam().stated);
}

const std::vector<Case> cases{
    {"clean", [](auto&, auto&) {}, {}},
    {"noise", [](auto&, auto& t) { setNoise(t, -31.0); }, {"noise"}},
    {"little noise", [](auto&, auto& t) { setNoise(t, -33.0); }, {}},
    {"hum", [](auto&, auto& t) { setHum(t, -29.0); }, {"hum"}},
    {"little hum", [](auto&, auto& t) { setHum(t, -31.0); }, {}},
    {"DC offset, tone at half", [](auto&, auto& t) { t.signal.dcOffset = -0.06; }, {"dc-offset"}},
    {"little DC offset", [](auto&, auto& t) { t.signal.dcOffset = 0.04; }, {}},
    {"low", [](auto&, auto& t) { setLevel(t, -37.0); }, {"low-level"}},
    {"not low", [](auto&, auto& t) { setLevel(t, -35.0); }, {}},
    {"low in 8 bits",
     [](auto& r, auto& t) {
       r.bits = 8;
       setLevel(t, -30.0);
     },
     {"low-level"}},
    {"clipped", [](auto&, auto& t) { t.signal.clippedShare = 0.051; }, {"clipping"}},
    {"hardly clipped", [](auto&, auto& t) { t.signal.clippedShare = 0.049; }, {}},
    {"no bass", [](auto&, auto& t) { setHighTone(t, 4.5); }, {"bass-loss"}},
    {"little bass", [](auto&, auto& t) { setHighTone(t, 3.5); }, {}},
    {"no treble", [](auto&, auto& t) { setHighTone(t, -6.5); }, {"treble-loss"}},
    {"little treble", [](auto&, auto& t) { setHighTone(t, -5.5); }, {}},
    {"tones shifted, 26 of 100 samples and more than 1 % of all",
     [](auto&, auto& t) { t.halfPeriods[4 * 26] = 700; },
     {"tone-shift"}},
    {"tones hardly shifted", [](auto&, auto& t) { t.halfPeriods[4 * 26] = 500; }, {}},
    {"noise of the steps of 8 bits at -24 dBFS",
     [](auto& r, auto& t) {
       r.bits = 8;
       setLevel(t, -24.0);
       setNoise(t, -49.0);  // 31 dB below the tone, steps alone 35
     },
     {}},
    {"more noise than that of the steps",
     [](auto& r, auto& t) {
       r.bits = 8;
       setLevel(t, -24.0);
       setNoise(t, -45.0);
     },
     {"noise"}},
    {"slow", [](auto& r, auto&) { setSpeed(r, 0.96); }, {"slow"}},
    {"hardly slow", [](auto& r, auto&) { setSpeed(r, 0.98); }, {}},
    {"fast", [](auto& r, auto&) { setSpeed(r, 1.04); }, {"fast"}},
    {"hardly fast", [](auto& r, auto&) { setSpeed(r, 1.02); }, {}},
    {"unsteady", [](auto&, auto& t) { t.signal.speedWander = 0.021; }, {"unsteady-speed"}},
    {"steady", [](auto&, auto& t) { t.signal.speedWander = 0.019; }, {}},
    {"drop-out", [](auto&, auto& t) { addDropOut(t, 11.0); }, {"drop-out"}},
    {"shallow", [](auto&, auto& t) { addDropOut(t, 9.0); }, {}},
    {"leader of nine", [](auto&, auto& t) { t.leaderOnes = 9; }, {"no-leader"}},
    {"leader of ten", [](auto&, auto& t) { t.leaderOnes = 10; }, {}},
    {"no beginning", [](auto&, auto& t) { t.bits[0].value = -1; }, {"cut-beginning"}},
    {"no end", [](auto&, auto& t) { t.bits.back().value = -1; }, {"cut-end"}},
    {"sudden end",
     [](auto& r, auto& t) { r.facts.duration = t.bits.back().end + 0.0005; },
     {"cut-end"}},
    {"begins early", [](auto& r, auto&) { r.converter.dataStart = 0.5; }, {"false-beginning"}},
    {"begins there", [](auto& r, auto& t) { r.converter.dataStart = t.bits[0].start - 0.001; }, {}},
    {"second channel",
     [](auto& r, auto& t) {
       r.facts.channels = 2;
       t.channelIndex = 1;
     },
     {"wrong-channel"}},
    {"lossy", [](auto& r, auto&) { r.isLossy = true; }, {"lossy-file"}},
    {"96,000 Hz", [](auto& r, auto&) { r.facts.sampleRate = 96000.0; }, {"sample-rate"}},
    {"48,000 Hz", [](auto& r, auto&) { r.facts.sampleRate = 48000.0; }, {}},
};

INSTANTIATE_TEST_SUITE_P(Causes, Threshold, ValuesIn(cases));

TEST(Findings, PutFirstWhatCostsPresets) {
  report::Results results = madeResults();
  recovery::Take& take = results.recordings[0].takes[0];
  results.recordings[0].converter.outcome = ConverterOutcome::ReadsWrong;
  setSpeed(results.recordings[0], 0.95);
  setHum(take, -8.0);
  addDropOut(take, 20.0);
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

TEST(Findings, SayThatAFailureIsNotPlain) {
  report::Results results = madeResults();
  results.recordings[0].converter.outcome = ConverterOutcome::ReadsWrong;
  const std::vector<report::Finding> found = report::findings(results, 0);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].cause, Cause::Unclear);
}

// 42 samples may become 49 or 35, 12 samples 19 or 5.
TEST(SpeedsForConverter, FollowFromTheHalfPeriods) {
  report::Results results = madeResults();
  const report::Recording& recording = results.recordings[0];
  const report::SpeedRange range =
      report::speedsForConverter(recording, report::measure(recording, *recording.take()));
  EXPECT_NEAR(range.slowest, 42.0 / 49.0, 1e-9);
  EXPECT_NEAR(range.fastest, 42.0 / 35.0, 1e-9);
}

}  // namespace
