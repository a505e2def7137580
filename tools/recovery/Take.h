#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "preset/PresetBank.h"

namespace recovery {

inline constexpr int bitsPerPreset = 8 * presetSize;
inline constexpr int bitsPerBank = presetCount * bitsPerPreset;

/// What a step of a take's spectrum and of its lengths of half-periods stands for.
inline constexpr double spectrumStep = 10.0;    // hertz
inline constexpr double halfPeriodStep = 0.25;  // samples at 44,100 a second

/// Nats from which on a bit counts as sure.
inline constexpr float sureMargin = 16.0F;

/// A stretch of a recording, in seconds from its first sample.
struct Span {
  double start = 0.0;
  double end = 0.0;
};

/// What is known of one of the 7,680 bits of a dump.
struct BitReading {
  double start = 0.0;      // seconds in the recording
  double end = 0.0;        // seconds in the recording
  float margin = 0.0F;     // nats by which it is likelier than the best reading in which it differs
  std::int8_t value = -1;  // 0, 1, or -1 where the recording does not hold the bit
};

/// Whether the bit was recorded and is sure.
inline bool isSure(const BitReading& bit) { return bit.value >= 0 && bit.margin >= sureMargin; }

/// The speed of the tape at a moment; 1.0 is the instrument's own.
struct SpeedPoint {
  double time = 0.0;  // seconds in the recording
  double speed = 1.0;
};

/// A stretch in which the tones are much weaker than around it.
struct DropOut {
  Span span;
  double depth = 0.0;  // decibels below the tones around it
};

/// A short piece of the wave, for drawings.
struct WavePiece {
  double start = 0.0;       // seconds in the recording
  double sampleRate = 0.0;  // of `samples`, a second
  std::vector<float> samples;
};

/// A place of a dump that was not read surely, with what else it might be.
struct DoubtfulPlace {
  Span span;                                 // the doubtful bits, seconds in the recording
  int firstBit = 0;                          // index of the first doubtful bit, 0 to 7,679
  int bitCount = 0;                          // of the doubtful bits
  float margin = 0.0F;                       // the least of their margins
  bool countIsDoubtful = false;              // a bit may have been lost or gained here
  std::vector<std::int8_t> read = {};        // the bits of the place as read
  std::vector<std::int8_t> nearlyRead = {};  // the next likely reading; its length may differ
  WavePiece wave = {};                       // some 30 ms around the worst bit, as recorded
};

/// How the signal of a dump was recorded. Levels in decibels, frequencies in hertz.
struct SignalFacts {
  double toneLevel = 0.0;        // dBFS, the peaks of the tones, their median
  double peakLevel = 0.0;        // dBFS, the largest sample within the dump
  double humFrequency = 0.0;     // 50 or 60, or 0 where there is none to speak of
  double humLevel = 0.0;         // dB of the hum against the tones
  double dcOffset = 0.0;         // part of full scale
  double clippedShare = 0.0;     // part of the samples that lie on a flat top at the peak
  double shortHalfPeriod = 0.0;  // seconds at the median speed
  double longHalfPeriod = 0.0;   // seconds at the median speed
  double speedMedian = 1.0;      // against nominal half-periods of 12 and 42 samples at 44,100
  double speedWander = 0.0;      // half of the range in which nine tenths of the speeds lie
  double bandwidth = 0.0;        // hertz, above which the recording holds next to nothing
};

/// One dump, as read from one recording.
struct Take {
  int channelIndex = 0;          // of the channel that it was read from, or most of it
  bool isInverted = false;       // bits begin with a negative half-period
  Span leader;                   // empty where there is none
  int leaderOnes = 0;            // bits before the start marker, ones or misread
  Span marker;                   // the start marker, a zero bit; empty where it was not recorded
  bool beginningIsSure = false;  // the first bit is where it is said to be
  bool countIsOff = false;       // bits were lost or repeated, by the place where the tones end
  bool endIsClean = false;       // the tones end within a bit of the last of the 7,680 bits
  std::vector<BitReading> bits;  // always 7,680
  std::vector<SpeedPoint> speed;
  std::vector<DropOut> dropOuts;
  std::vector<DoubtfulPlace> doubtfulPlaces;  // the worst 20 at most, in the order of time
  SignalFacts signal;

  /// Lengths of the half-periods within the dump: `halfPeriods[i]` counts those of i to i + 1
  /// steps.
  std::array<int, 320> halfPeriods{};

  /// The spectrum of the dump as recorded: `spectrum[i]` is the level around step i, in dB
  /// against a sine of full scale.
  std::vector<float> spectrum;
};

/// The bits of a take that were recorded, or of `count` bits from `first` on, as one stretch of
/// time; empty where there are none.
inline Span recordedSpan(const Take& take, std::size_t first = 0, std::size_t count = bitsPerBank) {
  Span span;
  bool isFirst = true;
  for (std::size_t i = first; i < std::min(first + count, take.bits.size()); ++i) {
    const BitReading& bit = take.bits[i];
    if (bit.value < 0) {
      continue;
    }
    span.start = isFirst ? bit.start : span.start;
    span.end = bit.end;
    isFirst = false;
  }
  return span;
}

/// What a whole recording holds.
struct RecordingFacts {
  double sampleRate = 0.0;
  int channels = 0;
  double duration = 0.0;  // seconds

  /// The highest magnitude in each stretch of `levelStep` seconds, over all channels; at most
  /// 4,000.
  std::vector<float> levels;
  double levelStep = 0.0;

  std::vector<float> channelPeaks;  // one a channel, part of full scale
};

}  // namespace recovery
