#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "report/Cards.h"
#include "report/MadeResults.h"
#include "report/Report.h"
#include "report/Words.h"

namespace {

using recovery::Reason;
using recovery::Verdict;
using testing::HasSubstr;
using testing::Not;

long lineCount(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

std::size_t longestLine(const std::string& text) {
  std::size_t longest = 0;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    longest = std::max(longest, end - start);
    start = end + 1;
  }
  return longest;
}

/// Results in which all that can be wrong is wrong.
report::Results worstResults() {
  report::Results results = madeResults();
  for (int record = 0; record < presetCount; ++record) {
    makeDoubtful(results, record, Reason::DropOut);
  }
  report::Recording& recording = results.recordings[0];
  recording.isLossy = true;
  recording.converter.outcome = report::ConverterOutcome::ReadsWrong;
  recording.converter.isWrong.fill(true);
  recording.converter.isWrong[7] = false;
  recovery::Take& take = recording.takes[0];
  take.leaderOnes = 3;
  take.dropOuts.push_back({{5.0, 5.04}, 30.0});
  take.signal.speedMedian = 0.9;
  take.signal.speedWander = 0.05;
  take.spectrum.assign(take.spectrum.size(), -40.0F);
  take.signal.humFrequency = 50.0;
  take.signal.humLevel = 3.0;
  take.signal.dcOffset = 0.3;
  take.signal.clippedShare = 0.2;
  take.signal.toneLevel = -50.0;
  return results;
}

TEST(Words, Clock) {
  EXPECT_EQ(report::clock(0.0), "0:00.000");
  EXPECT_EQ(report::clock(62.3456), "1:02.346");
  EXPECT_EQ(report::clock(59.9996), "1:00.000");
  EXPECT_EQ(report::clock(7200.5), "120:00.500");
}

TEST(Words, GroupedNumbers) {
  EXPECT_EQ(report::grouped(0), "0");
  EXPECT_EQ(report::grouped(999), "999");
  EXPECT_EQ(report::grouped(44100), "44,100");
  EXPECT_EQ(report::grouped(-1234567), "-1,234,567");
}

TEST(Words, ShowOnlyValidTextWithoutControlCharacters) {
  EXPECT_EQ(report::shown("B\xC3\xA4nder \xE2\x82\xAC \xF0\x9F\x8E\xB9.wav"),
            "B\xC3\xA4nder \xE2\x82\xAC \xF0\x9F\x8E\xB9.wav");
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(report::shown("a\nb"), "a" + replaced + "b");
  EXPECT_EQ(report::shown("\x1B[2J"), replaced + "[2J");
  EXPECT_EQ(report::shown("\xE4.wav"), replaced + ".wav");
  EXPECT_EQ(report::shown("\xC0\xAF"), replaced + replaced);
  EXPECT_EQ(report::shown("\xC2\x85"), replaced + replaced);
  EXPECT_EQ(report::shown("end\xE2\x82"), "end" + replaced + replaced);
}

TEST(TextReport, FitsAScreen) {
  const std::string text = report::textReport(madeResults());
  EXPECT_LE(longestLine(text), 80U);
  EXPECT_LE(lineCount(text), 24);
}

TEST(TextReport, StaysShortWhereAllIsWrong) {
  const std::string text = report::textReport(worstResults());
  EXPECT_LE(longestLine(text), 80U);
  EXPECT_LE(lineCount(text), 40);
}

TEST(TextReport, ShowsTheEndOfALongName) {
  report::Results results = madeResults();
  results.recordings[0].name.insert(0, 200, '/');
  const std::string text = report::textReport(results);
  EXPECT_LE(longestLine(text), 80U);
  EXPECT_THAT(text, HasSubstr("dump.wav"));
}

TEST(TextReport, ShowsEachPresetInTheGrid) {
  report::Results results = madeResults();
  makeDoubtful(results, 10, Reason::Noise);
  results.bank.presets[39].verdict = Verdict::Missing;
  const std::string text = report::textReport(results);
  EXPECT_THAT(text, HasSubstr("group 1  + + + + + + + +\n"));
  EXPECT_THAT(text, HasSubstr("group 2  + + ? + + + + +\n"));
  EXPECT_THAT(text, HasSubstr("group 5  + + + + + + + -\n"));
}

TEST(TextReport, NamesPlaceOfADoubtfulPreset) {
  report::Results results = madeResults();
  makeDoubtful(results, 10, Reason::Noise);
  results.bank.presets[10].worstTime = 10.5;
  const std::string text = report::textReport(results);
  EXPECT_THAT(text, HasSubstr("2-3  0:10.500  sample 463,050  "));
}

TEST(TextReport, SaysOnceThatManyPresetsAreDoubtfulTogether) {
  report::Results results = madeResults();
  for (int record = 3; record < presetCount; ++record) {
    makeDoubtful(results, record, Reason::Beginning);
  }
  const std::string text = report::textReport(results);
  EXPECT_THAT(text, HasSubstr("37 presets, 1-4 to 5-8: "));
  EXPECT_THAT(text, Not(HasSubstr("  1-4  ")));
}

TEST(Labels, LieWhereThingsAre) {
  report::Results results = madeResults();
  makeDoubtful(results, 1, Reason::DropOut);
  recovery::Take& take = results.recordings[0].takes[0];
  take.dropOuts.push_back({{2.1, 2.112}, 31.6});
  const std::string lines = report::labels(results, 0);
  // A leader of 100 bits of 144 samples, a start marker of 168, presets of 96 * (144 + 168).
  EXPECT_EQ(lines.substr(0, lines.find("1-3")),
            "1.000000\t1.326531\tleader\n"
            "1.326531\t1.330340\tmarker\n"
            "1.330340\t2.009524\t1-1 sure\n"
            "2.009524\t2.688707\t1-2 doubtful\n"
            "2.100000\t2.112000\tdrop-out, 32 dB\n"
            "2.688707\t3.367891\t");
  EXPECT_EQ(lineCount(lines), 2 + presetCount + 1);
}

TEST(Labels, LeaveOutWhatIsNotThere) {
  report::Results results = madeResults();
  recovery::Take& take = results.recordings[0].takes[0];
  take.leader = {};
  take.marker = {};
  for (int i = 0; i < recovery::bitsPerPreset; ++i) {
    take.bits[static_cast<std::size_t>(i)].value = -1;
  }
  EXPECT_EQ(report::labels(results, 0).substr(0, 32), "2.009524\t2.688707\t1-2 sure\n2.688");
  results.recordings[0].chosenTake = -1;
  EXPECT_EQ(report::labels(results, 0), "");
}

TEST(HtmlReport, EscapesNamesAndLoadsNothing) {
  report::Results results = worstResults();
  results.recordings[0].name = "<script>alert('&\")</script>\x1B.wav";
  results.recordings[0].codec = "<img>";
  results.recordings[0].converter = {report::ConverterOutcome::Rejects, "<b>", {}, -1.0};
  const std::string page = report::htmlReport(results);
  EXPECT_THAT(page,
              HasSubstr("&lt;script&gt;alert(&#39;&amp;&quot;)&lt;/script&gt;\xEF\xBF\xBD.wav"));
  for (const char* part : {"<script", "<img", "<b>", "http:", "https:", "src=", "@import"}) {
    EXPECT_THAT(page, Not(HasSubstr(part)));
  }
}

TEST(HtmlReport, BearsResultsWithoutAnything) {
  report::Results results;
  EXPECT_THAT(report::htmlReport(results), HasSubstr("</html>"));
  results.recordings.resize(2);
  EXPECT_THAT(report::htmlReport(results), HasSubstr("</html>"));
  results.recordings[1].takes.resize(1);
  results.recordings[1].chosenTake = 0;
  EXPECT_THAT(report::htmlReport(results), HasSubstr("</html>"));
  EXPECT_NE(report::textReport(results), "");
  EXPECT_NE(report::jsonReport(results), "");
}

TEST(Cards, NameDoubtfulFieldsInEitherArrangement) {
  report::Results results = madeResults();
  makeDoubtful(results, 0, Reason::Noise);
  auto& bits = results.bank.presets[0].doubtfulBits;
  bits = {};
  bits[8] = 0x81;
  EXPECT_EQ(report::doubtfulKeys(results.bank.presets[0]), "POLY-MOD_FREQ_A, FILTER_CUTOFF");
  // On an instrument of revision 1, bit 7 of byte 8 is UNISON.
  EXPECT_EQ(report::doubtfulKeys(report::asRevision3(results.bank).presets[0]),
            "UNISON, FILTER_CUTOFF");
}

TEST(RecordingOfTake, PassesOverRecordingsWithoutADump) {
  report::Results results = madeResults();
  results.recordings.insert(results.recordings.begin(), report::Recording());
  results.recordings.push_back(results.recordings[1]);
  EXPECT_EQ(report::recordingOfTake(results, 0), 1);
  EXPECT_EQ(report::recordingOfTake(results, 1), 2);
  EXPECT_EQ(report::recordingOfTake(report::Results(), 0), -1);
}

}  // namespace
