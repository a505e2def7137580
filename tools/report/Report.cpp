#include "report/Report.h"

#include <algorithm>
#include <utility>

#include "report/Causes.h"
#include "report/Words.h"

namespace report {

namespace {

/// The indices of the recordings with a dump; the bank's takes are of these.
std::vector<int> recordingsWithDump(const Results& results) {
  std::vector<int> indices;
  for (std::size_t i = 0; i < results.recordings.size(); ++i) {
    if (results.recordings[i].take() != nullptr) {
      indices.push_back(static_cast<int>(i));
    }
  }
  return indices;
}

}  // namespace

bool Results::hasDump() const { return !recordingsWithDump(*this).empty(); }

recovery::DifferentDumps readBank(Results& results) {
  std::vector<recovery::Take> takes;
  for (const Recording& recording : results.recordings) {
    if (recording.take() != nullptr) {
      takes.push_back(*recording.take());
    }
  }
  const recovery::DifferentDumps different = recovery::findDifferentDumps(takes);
  if (different.found()) {
    return {recordingOfTake(results, different.first), recordingOfTake(results, different.second)};
  }
  results.bank = recovery::readBank(takes);
  return {};
}

int recordingOfTake(const Results& results, int take) {
  const std::vector<int> indices = recordingsWithDump(results);
  if (indices.empty()) {
    return -1;
  }
  const auto index = static_cast<std::size_t>(take);
  return index < indices.size() ? indices[index] : indices.front();
}

std::string verdict(const Results& results) {
  const int sure = results.bank.count(recovery::Verdict::Sure);
  const int doubtful = results.bank.count(recovery::Verdict::Doubtful);
  const int missing = results.bank.count(recovery::Verdict::Missing);
  if (!results.hasDump()) {
    return "No dump was found.";
  }
  if (sure == presetCount) {
    return "All 40 presets are sure.";
  }
  std::string sentence = sure == 0
                             ? "No preset is sure"
                             : counted(sure, "preset") + (sure == 1 ? " is" : " are") + " sure";
  for (const auto& [number, word] :
       {std::pair(doubtful, "doubtful"), std::pair(missing, "missing")}) {
    if (number > 0) {
      sentence += ", " + std::to_string(number) + " " + word;
    }
  }
  return sentence + ".";
}

std::string advice(const Results& results) {
  if (results.bank.count(recovery::Verdict::Sure) < presetCount) {
    Finding worst;
    for (std::size_t i = 0; i < results.recordings.size(); ++i) {
      for (const Finding& finding : findings(results, i)) {
        if (worst.remedy.empty() || finding.presets > worst.presets) {
          worst = finding;
        }
      }
    }
    return worst.remedy;
  }
  const bool isRead =
      std::all_of(results.recordings.begin(), results.recordings.end(), [](const Recording& r) {
        return r.converter.outcome == ConverterOutcome::ReadsRight ||
               r.converter.outcome == ConverterOutcome::NotTried;
      });
  return isRead ? "" : std::string("All presets were read. ") + bankRemedy;
}

}  // namespace report
