#include <algorithm>
#include <string>
#include <vector>

#include "report/Causes.h"
#include "report/Measures.h"
#include "report/Report.h"
#include "report/Words.h"

namespace report {

namespace {

constexpr std::size_t width = 79;
constexpr std::size_t longestName = 70;  // of a recording, in bytes
constexpr std::size_t mostFindings = 5;  // of all recordings, but at least two of each
constexpr int mostDoubtful = 8;

/// `text` in lines of at most `width` characters, each after the first indented.
std::string wrapped(const std::string& text, std::size_t indent) {
  std::string result;
  std::size_t lineStart = 0;
  std::size_t start = 0;
  while (text.size() - start > width - lineStart) {
    const std::size_t space = text.rfind(' ', start + width - lineStart);
    if (space == std::string::npos || space <= start) {
      break;
    }
    result += text.substr(start, space - start) + "\n" + std::string(indent, ' ');
    start = space + 1;
    lineStart = indent;
  }
  return result + text.substr(start) + "\n";
}

/// The number of a recording ahead of what is said of it; empty where there is only one.
std::string numberOf(const Results& results, std::size_t index) {
  return results.recordings.size() > 1 ? std::to_string(index + 1) + ". " : "";
}

std::string dumpLine(const Recording& recording) {
  const recovery::Take* take = recording.take();
  const auto& peaks = recording.facts.channelPeaks;
  if (take == nullptr) {
    const double peak = peaks.empty() ? 0.0 : *std::max_element(peaks.begin(), peaks.end());
    return "no dump found; " + peaksAt(peak);
  }
  const std::string number = dumpNumber(recording);
  const recovery::Span span = dumpSpan(*take);
  return "dump " + number + (number.empty() ? "" : " ") + "from " + clock(span.start) + " to " +
         clock(span.end) + " on " + sourceSentence(*take) + "; " + leaderSentence(*take) + "; " +
         beforeSentence(recording);
}

std::string recordingLines(const Results& results, std::size_t index) {
  const Recording& recording = results.recordings[index];
  std::string lines =
      wrapped(std::to_string(index + 1) + ". " + shortened(shown(recording.name), longestName) +
                  ": " + formatSentence(recording),
              3);
  lines += wrapped("   " + dumpLine(recording), 3);
  if (recording.converter.outcome != ConverterOutcome::NotTried) {
    lines += wrapped("   the converter " + converterSentence(results, recording), 3);
  }
  return lines;
}

std::string findingLines(const Results& results) {
  const std::size_t most =
      std::max<std::size_t>(2, mostFindings / std::max<std::size_t>(1, results.recordings.size()));
  std::string lines;
  for (std::size_t i = 0; i < results.recordings.size(); ++i) {
    const std::vector<Finding> found = findings(results, i);
    const std::string number = numberOf(results, i);
    const std::size_t count = std::min(found.size(), most);
    for (std::size_t k = 0; k < count; ++k) {
      lines += wrapped("- " + number + found[k].text, 2);
      lines += wrapped("    " + found[k].remedy, 4);
    }
    if (count < found.size()) {
      lines += "- " + number + "and " + std::to_string(found.size() - count) + " more\n";
    }
  }
  if (lines.empty()) {
    return lines;
  }
  const bool costs = results.bank.count(recovery::Verdict::Sure) < presetCount;
  return (costs ? std::string("What is wrong, the worst first:\n")
                : wrapped(std::string("What is wrong with the recording. ") + allReadRemark, 0)) +
         lines + "\n";
}

std::string grid(const recovery::BankReading& bank) {
  std::string lines = "Presets    1 2 3 4 5 6 7 8     + sure  ? doubtful  - missing\n";
  for (int record = 0; record < presetCount; ++record) {
    const recovery::Verdict verdict = bank.preset(record).verdict;
    if (presetNumber(record) == 1) {
      lines += "  group " + std::to_string(presetGroup(record)) + " ";
    }
    lines += verdict == recovery::Verdict::Sure       ? " +"
             : verdict == recovery::Verdict::Doubtful ? " ?"
                                                      : " -";
    if (presetNumber(record) == presetsPerGroup) {
      lines += "\n";
    }
  }
  return lines;
}

std::string doubtfulLines(const Results& results) {
  std::string lines;
  const std::string inCommon = beginningPresets(results.bank);
  int count = 0;
  for (int record = 0; record < presetCount; ++record) {
    const recovery::PresetReading& preset = results.bank.preset(record);
    if (preset.verdict != recovery::Verdict::Doubtful ||
        (!inCommon.empty() && preset.reason == recovery::Reason::Beginning)) {
      continue;
    }
    ++count;
    const int recording = recordingOfTake(results, preset.take);
    if (count > mostDoubtful || recording < 0) {
      continue;
    }
    const auto index = static_cast<std::size_t>(recording);
    lines += "  " + presetName(record) + "  " + numberOf(results, index) + clock(preset.worstTime) +
             "  sample " + grouped(sampleAt(results.recordings[index], preset.worstTime)) + "  " +
             reasonSentence(preset) + "\n";
  }
  if (count > mostDoubtful) {
    lines += "  and " + std::to_string(count - mostDoubtful) + " more\n";
  }
  if (!lines.empty()) {
    lines.insert(0, "\nDoubtful, each at its least sure bit:\n");
  }
  return lines + (inCommon.empty() ? "" : "\nDoubtful together: " + inCommon + "\n");
}

}  // namespace

std::string textReport(const Results& results) {
  std::string lines = verdict(results);
  const std::string whatToDo = advice(results);
  lines += "\n" + (whatToDo.empty() ? "" : wrapped(whatToDo + howToWrite(results), 0)) + "\n";
  for (std::size_t i = 0; i < results.recordings.size(); ++i) {
    lines += recordingLines(results, i);
  }
  return lines + "\n" + findingLines(results) + grid(results.bank) + doubtfulLines(results);
}

}  // namespace report
