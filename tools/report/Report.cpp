#include "report/Report.h"

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

}  // namespace report
