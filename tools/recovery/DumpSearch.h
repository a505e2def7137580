#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "recovery/Take.h"

namespace recovery {

/// Searches a recording of any length for dumps and reads each, in a stream: memory depends on the
/// length of a dump and the number of channels, not on the length of the recording.
class DumpSearch {
 public:
  /// For a recording of `channels` channels and `sampleRate` frames a second. Finds nothing where
  /// the rate is not 4,000 to 1,000,000 or there is no channel.
  DumpSearch(double sampleRate, int channels);
  ~DumpSearch();
  DumpSearch(DumpSearch&& other) noexcept;
  DumpSearch& operator=(DumpSearch&& other) noexcept;

  /// Takes the next `frames` frames, interleaved, full scale at -1.0 to 1.0; anything else that a
  /// float can hold is borne. The samples are the caller's and are not kept.
  void add(const float* interleaved, std::size_t frames);

  /// Ends the recording and returns the dumps in the order of time. After it only `facts` may be
  /// asked for.
  std::vector<Take> finish();

  /// What is known of the recording so far.
  RecordingFacts facts() const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace recovery
