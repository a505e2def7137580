#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

enum class WavOutcome {
  Rejected,
  Loaded,
  OutOfMemory,      // the samples need more memory than can be had, or a negative number of it
  ArithmeticFault,  // a block align of 0
  AboveRange,       // a 32-bit sample above 0 ends the process
  BelowRange,       // one below 0 does
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
ExpectedWav expectedWav(std::string_view file, std::size_t largestAllocation);
