#include <algorithm>
#include <string>
#include <vector>

#include "report/Measures.h"
#include "report/Report.h"
#include "report/Words.h"

namespace report {

namespace {

struct Label {
  recovery::Span span;
  std::string text;
};

std::vector<Label> labelsOf(const recovery::BankReading& bank, const recovery::Take& take) {
  std::vector<Label> result;
  const auto add = [&](const recovery::Span& span, const std::string& text) {
    if (span.end > span.start) {
      result.push_back({span, text});
    }
  };
  add(take.leader, "leader");
  add(take.marker, "marker");
  for (int record = 0; record < presetCount; ++record) {
    const recovery::PresetReading& preset = bank.preset(record);
    add(recovery::presetSpan(take, record), presetName(record) + " " + verdictWord(preset.verdict));
  }
  for (const recovery::DropOut& dropOut : dropOutsOf(take)) {
    add(dropOut.span, "drop-out, " + decimal(dropOut.depth, 0) + " dB");
  }
  std::stable_sort(result.begin(), result.end(),
                   [](const Label& a, const Label& b) { return a.span.start < b.span.start; });
  return result;
}

}  // namespace

std::string labels(const Results& results, std::size_t recording) {
  const recovery::Take* take = results.recordings[recording].take();
  std::string lines;
  if (take == nullptr) {
    return lines;
  }
  for (const Label& label : labelsOf(results.bank, *take)) {
    lines +=
        decimal(label.span.start, 6) + "\t" + decimal(label.span.end, 6) + "\t" + label.text + "\n";
  }
  return lines;
}

}  // namespace report
