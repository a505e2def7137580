#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "report/Cards.h"
#include "report/Causes.h"
#include "report/Drawings.h"
#include "report/Markup.h"
#include "report/Measures.h"
#include "report/Report.h"
#include "report/Style.h"
#include "report/Words.h"

namespace report {

namespace {

constexpr std::size_t mostPlaces = 20;  // in the whole report

constexpr const char* pageHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width,initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="color-scheme" content="light dark">
)";

constexpr const char* reportRules = R"(
dd{overflow-wrap:anywhere}a{color:inherit}
figcaption{color:var(--faint);font-size:.9rem;margin-top:4px}
figure{margin:12px 0 20px}
dl{display:grid;grid-template-columns:max-content 1fr;gap:2px 16px;margin:0}
dt{color:var(--faint)}dd{margin:0}
.grid{border-collapse:separate;border-spacing:4px}
.grid th{font-weight:normal;color:var(--faint);font-size:.9rem;padding:0 4px}
.grid td{padding:0;width:40px}.grid a{display:block;text-align:center;text-decoration:none;
border:2px solid;border-radius:6px;font-weight:bold;line-height:30px}
.unseen{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%)}
.v-sure{color:var(--sure)}.v-doubtful{color:var(--doubt)}
.v-missing{color:var(--miss)}.grid .v-missing{border-style:dashed}
.scroll{overflow-x:auto}.wide{min-width:720px}
.list{border-collapse:collapse;width:100%}.list th,.list td{text-align:left;vertical-align:top;
padding:4px 12px 4px 0;border-bottom:1px solid var(--pale)}
.list th{color:var(--faint);font-weight:normal}.list .figure{text-align:right;white-space:nowrap;
font-variant-numeric:tabular-nums}
.key{white-space:nowrap;margin-right:12px}
.key svg{display:inline-block;width:22px;height:12px;margin-right:4px;vertical-align:baseline}
input[name=revision]{margin:0 6px 0 0}label{margin-right:20px}
#revision1:checked~.cards .of3,#revision3:checked~.cards .of1{display:none}
@media (min-width:1000px){.pair{display:grid;grid-template-columns:1fr 1fr;gap:0 32px}}
@media (max-width:500px){dl{grid-template-columns:1fr}dd{margin-bottom:6px}.grid{border-spacing:2px}
.grid td{width:34px}.optional{display:none}}
@media print{figure,dl,tr{break-inside:avoid}h2,h3{break-after:avoid}
label,input{display:none}.wide{min-width:0}}
)";

std::string element(std::string_view name, std::string_view content) {
  return report::element(name, {}, content);
}

std::string element(std::string_view name, std::string_view content, const std::string& classes) {
  return report::element(name, {{"class", classes}}, content);
}

/// A link to a preset's card.
std::string presetLink(int record, std::string_view content, const std::string& classes = "link") {
  return report::element("a", {{"href", "#preset" + presetName(record)}, {"class", classes}},
                         content);
}

std::string figure(const std::string& drawing, std::string_view caption) {
  return drawing.empty() ? "" : element("figure", drawing + element("figcaption", caption));
}

std::string entry(std::string_view name, const std::string& content) {
  return content.empty() ? "" : element("dt", name) + element("dd", content);
}

/// A sentence of what was a part of one.
std::string sentence(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') {
    text.front() = static_cast<char>(text.front() - 'a' + 'A');
  }
  return text + ".";
}

std::string facts(const Results& results, const Recording& recording, const Measures& measures) {
  std::string result = entry("File", escaped(formatSentence(recording)));
  const recovery::Take* take = recording.take();
  if (take == nullptr) {
    return element("dl", result + entry("Dump", "none was found"));
  }
  const recovery::Span span = dumpSpan(*take);
  const std::string number = dumpNumber(recording);
  result += entry("Dump", clock(span.start) + " to " + clock(span.end) +
                              (number.empty() ? "" : "; number " + number));
  result += entry("Beginning", beforeSentence(recording));
  result += entry("Read from", sourceSentence(*take));
  result += entry("Leader", take->leaderOnes == 0
                                ? "none seen"
                                : counted(take->leaderOnes, "bit") + ", " +
                                      decimal(take->leader.end - take->leader.start, 2) + " s");
  const recovery::SignalFacts& signal = take->signal;
  const bool hasNoise = measures.noiseLevel > unknownNoise;
  result += entry("Level", "tone " + decimal(measures.toneLevel, 1) + " dBFS" +
                               (hasNoise ? ", noise at most " + decimal(measures.noiseLevel, 1) +
                                               " dB against it"
                                         : ""));
  result += entry("Speed", decimal(100.0 * measures.speed, 1) + " % of the instrument's, &plusmn;" +
                               decimal(100.0 * signal.speedWander, 1) + " %");
  if (recording.converter.outcome != ConverterOutcome::NotTried) {
    result += entry("Converter", escaped(converterSentence(results, recording)));
  }
  return element("dl", result);
}

std::string findingList(const Results& results, std::size_t recording) {
  const std::vector<Finding> found = findings(results, recording);
  if (found.empty()) {
    return element("p", "Nothing is wrong with it.");
  }
  std::string items;
  for (const Finding& finding : found) {
    items +=
        element(found.size() > 1 ? "li" : "p", element("strong", escaped(sentence(finding.text))) +
                                                   "<br>" + escaped(finding.remedy));
  }
  const bool costs = results.bank.count(recovery::Verdict::Sure) < presetCount;
  return element("h3", std::string("What is wrong with it") +
                           (found.size() > 1 ? ", the worst first" : "")) +
         (costs ? "" : element("p", allReadRemark)) +
         (found.size() > 1 ? element("ol", items) : items);
}

std::string key(const char* classes, const char* word) {
  return element(
      "span",
      element("svg", shape("rect", {{"width", "22"}, {"height", "12"}, {"class", classes}})) + word,
      "key");
}

std::string recordingSection(const Results& results, std::size_t index) {
  const Recording& recording = results.recordings[index];
  const recovery::Take* take = recording.take();
  const Measures measures = take != nullptr ? measure(recording, *take) : Measures();
  std::string result = element("h2", escaped(recording.name));
  if (take != nullptr) {
    result += findingList(results, index);
    result += element("h3", "What it is");
  }
  result += facts(results, recording, measures);
  const std::string keys =
      key("leader", "leader") + key("sure", "sure") + key("doubtful", "doubtful") +
      "A triangle is a drop-out, a number is that of a group." +
      (results.bank.count(recovery::Verdict::Missing) > 0 ? " Missing presets have no place in it."
                                                          : "");
  result += element("h3", "Level over time");
  result += figure(levelDrawing(results, index), keys);
  result += figure(dumpDrawing(results, index), "The dump alone.");
  std::string pairs = figure(speedDrawing(recording, measures),
                             "Speed of the tape; 100 % is the instrument's. The converter reads "
                             "speeds within the coloured band.");
  pairs += figure(halfPeriodDrawing(recording),
                  "Lengths of the half-periods in samples; the heights are logarithmic. The "
                  "converter reads only those within the two coloured bands.");
  pairs += figure(spectrumDrawing(recording, measures),
                  "Spectrum of the dump, with the tones of the bits 0 and 1 and with the hum if "
                  "there is any.");
  return element("section", result + element("div", pairs, "pair"));
}

std::string gridSection(const recovery::BankReading& bank) {
  std::string row = "<th></th>";
  for (int number = 1; number <= presetsPerGroup; ++number) {
    row += element("th", std::to_string(number));
  }
  std::string rows;
  for (int record = 0; record < presetCount; ++record) {
    const recovery::Verdict verdict = bank.preset(record).verdict;
    const char* sign = verdict == recovery::Verdict::Sure       ? "&#10003;"
                       : verdict == recovery::Verdict::Doubtful ? "?"
                                                                : "&ndash;";
    if (presetNumber(record) == 1) {
      rows += element("tr", row);
      row = element("th", std::to_string(presetGroup(record)));
    }
    const std::string name = presetName(record) + " " + verdictWord(verdict);
    row += element("td", presetLink(record, element("span", sign) + element("span", name, "unseen"),
                                    std::string("v-") + verdictWord(verdict)));
  }
  return element("table", rows + element("tr", row), "grid") +
         element("p", "&#10003; sure, ? doubtful, &ndash; missing; rows are groups.", "quiet");
}

std::string presetRow(const Results& results, int record) {
  const recovery::PresetReading& preset = results.bank.preset(record);
  const int index = recordingOfTake(results, preset.take);
  const bool isInDoubt = preset.verdict == recovery::Verdict::Doubtful && index >= 0;
  const auto recording = static_cast<std::size_t>(std::max(index, 0));
  std::string cells = element("td", presetLink(record, presetName(record))) +
                      element("td", verdictWord(preset.verdict),
                              std::string("optional v-") + verdictWord(preset.verdict));
  cells += element("td", isInDoubt ? clock(preset.worstTime) : "", "figure");
  cells += element(
      "td", isInDoubt ? grouped(sampleAt(results.recordings[recording], preset.worstTime)) : "",
      "figure optional");
  if (results.recordings.size() > 1) {
    cells += element("td", isInDoubt ? escaped(results.recordings[recording].name) : "");
  }
  return element("tr", cells + element("td", reasonSentence(preset)));
}

std::string doubtfulSection(const Results& results) {
  const std::string inCommon = beginningPresets(results.bank);
  const std::string together =
      inCommon.empty() ? "" : element("p", "Doubtful together: " + inCommon + ".");
  std::string rows;
  for (int record = 0; record < presetCount; ++record) {
    const recovery::PresetReading& preset = results.bank.preset(record);
    if (preset.verdict != recovery::Verdict::Sure &&
        (together.empty() || preset.reason != recovery::Reason::Beginning)) {
      rows += presetRow(results, record);
    }
  }
  const std::string heading = element("h2", "Doubtful and missing presets") + together;
  if (rows.empty()) {
    return together.empty() ? "" : heading;
  }
  const std::string head =
      element("th", "Preset") + element("th", "", "optional") + element("th", "Time", "figure") +
      element("th", "Sample", "figure optional") +
      (results.recordings.size() > 1 ? element("th", "Recording") : "") + element("th", "Why");
  return heading + element("p", "The time is that of the least sure bit.", "quiet") +
         element("table", element("tr", head) + rows, "list");
}

std::string bitsOf(const recovery::DoubtfulPlace& place) {
  const int first = place.firstBit / recovery::bitsPerPreset;
  const int last = (place.firstBit + std::max(place.bitCount, 1) - 1) / recovery::bitsPerPreset;
  std::string text = "preset " + presetName(std::clamp(first, 0, presetCount - 1));
  if (last > first) {
    text += " to " + presetName(std::clamp(last, 0, presetCount - 1));
  }
  return text + ", " + counted(place.bitCount, "doubtful bit");
}

/// How loud a piece of wave is, and how much it is enlarged.
std::string enlargement(const recovery::WavePiece& wave) {
  const double peak = peakOf(wave);
  return "wave with " + peaksAt(peak) + ", enlarged " + decimal(1.0 / peak, peak > 0.1 ? 1 : 0) +
         " times";
}

std::string placesSection(const Results& results) {
  std::string result;
  std::size_t count = 0;
  for (const Recording& recording : results.recordings) {
    const recovery::Take* take = recording.take();
    for (std::size_t i = 0; take != nullptr && i < take->doubtfulPlaces.size(); ++i) {
      const recovery::DoubtfulPlace& place = take->doubtfulPlaces[i];
      const std::string drawing = placeDrawing(*take, place);
      if (drawing.empty() || count == mostPlaces) {
        continue;
      }
      ++count;
      const std::string name =
          results.recordings.size() > 1 ? " of " + escaped(recording.name) : std::string();
      result += element("h3", clock(place.span.start) + name + ": " + bitsOf(place) + "; " +
                                  enlargement(place.wave));
      result += report::element("div", {{"class", "scroll"}, {"tabindex", "0"}},
                                element("div", drawing, "wide"));
    }
  }
  if (result.empty()) {
    return result;
  }
  return element("h2", "Doubtful places") +
         element("p",
                 "Each wave is drawn enlarged to full height, however weak it is. Under it lie its "
                 "half-periods as zero crossings cut them: " +
                     key("short", "short, of a 1") + key("long", "long, of a 0") +
                     key("stray", "neither") +
                     "Numbers are lengths in samples at 44,100 a second. Hatched bits are "
                     "doubtful.",
                 "quiet") +
         result;
}

/// A preset as an instrument of one revision plays it.
std::string cardOf(const recovery::BankReading& reading, int record, const char* classes) {
  return element("div", cardDrawing(reading, record) + cardNote(reading, record), classes);
}

std::string cardsSection(const Results& results) {
  const recovery::BankReading moved = asRevision3(results.bank);
  std::string cards;
  for (int record = 0; record < presetCount; ++record) {
    cards += report::element("div", {{"class", "card"}, {"id", "preset" + presetName(record)}},
                             cardOf(results.bank, record, "of3") + cardOf(moved, record, "of1"));
  }
  return element("h2", "The presets, as an instrument plays them") + R"(
<input type="radio" name="revision" id="revision3" checked>
<label for="revision3">Revision 3</label>
<input type="radio" name="revision" id="revision1">
<label for="revision1">Revision 1 or 2</label>
)" + element("div", cards, "cards") +
         element("p", cardsCaption, "quiet");
}

}  // namespace

std::string htmlReport(const Results& results) {
  const std::string name =
      results.recordings.empty() ? "" : escaped(results.recordings.front().name);
  std::string body = element("h1", verdict(results));
  const std::string whatToDo = advice(results);
  body += whatToDo.empty() ? "" : element("p", escaped(whatToDo + howToWrite(results)), "advice");
  body += gridSection(results.bank);
  for (std::size_t i = 0; i < results.recordings.size(); ++i) {
    body += recordingSection(results, i);
  }
  body += doubtfulSection(results) + placesSection(results) + cardsSection(results);
  body += element("p", "Made by " + escaped(results.program) + ".", "quiet");
  const std::string definitions = report::element(
      "svg", {{"id", "definitions"}}, element("defs", drawingDefinitions() + cardDefinition()));
  return pageHead + element("title", name + ": " + verdict(results)) +
         element("style", drawingStyle(true) + pageStyle() + drawingRules() + reportRules) +
         "</head>\n<body>\n" + definitions + body + "</body>\n</html>\n";
}

}  // namespace report
