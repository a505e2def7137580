#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/Check.h"

enum class WavOutcome {
  Rejected,
  Loaded,
  OutOfMemory,      // the samples need more memory than can be had, or a negative number of it
  ArithmeticFault,  // a block align of 0
  RangeAssertion,   // a 32-bit sample other than 0
};

/// What a WAV loader has to make of a file.
struct ExpectedWav {
  WavOutcome outcome = WavOutcome::Rejected;
  int bitDepth = 0;
  int sampleRate = 0;
  int numChannels = 0;
  int numberOfSamples = 0;
  std::vector<float> samples = {};  // channel after channel
};

/// Works out from the bytes of `file` what a loader has to make of it where no allocation of more
/// than `largestAllocation` bytes succeeds. Everything but the outcome is zero unless it is Loaded.
ExpectedWav expectedWav(Bytes file, std::size_t largestAllocation);
