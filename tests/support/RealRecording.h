#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "preset/PresetBank.h"

/// A dump that a recording holds, whole or in part.
struct RecordedDump {
  PresetBank bank{};
  double start = 0.0;  // seconds: where the first of its bits that was recorded begins
  double end = 0.0;    // seconds: where its last one ends
  std::array<bool, presetCount> isRecorded{};  // in full, where it can be told which one it is

  bool isComplete() const;
};

/// A recording as a musician might have it, and what is in it.
struct RealRecording {
  std::vector<float> samples = {};  // interleaved; full scale at -1.0 to 1.0
  double sampleRate = 44100.0;
  int channels = 1;
  int bitsPerSample = 16;  // the steps that the samples are rounded to; 0 where not at all
  bool isPlainWav = true;  // the file would be one that the converter's loader accepts
  std::vector<RecordedDump> dumps = {};
  int mainDump = -1;        // index of the one that it was made for; -1 where it holds none
  std::string faults = {};  // what is the matter with it, for people

  /// The samples that the converter would load of the file, but for their scale.
  std::vector<float> firstChannel() const;
};

/// The mixtures and single faults that `makeRecording` knows, in the order of a table.
std::vector<std::string> mixtureNames();

/// The recording number `seed` of `mixture`, always the same. Recordings with the same seed and
/// another number of `take` hold the same dump, and all else is drawn anew.
/// The mixtures are
/// - "typical": thirty-year-old cassettes and cheap interfaces, one file in three a lossy one
/// - "severe": far worse, with drop-outs of 40 to 120 ms by the dozen and hum above the tones
/// - "grid": what the converter's own tests of signals cover, mostly such as it reads
/// - "incomplete": the beginning or the end is missing
/// - "voice", "music", "noise", "modem": no dump at all
/// - FAULT-mild, FAULT-typical and FAULT-severe: one thing is wrong and all else in order.
RealRecording makeRecording(std::string_view mixture, std::uint32_t seed, int take = 0);
