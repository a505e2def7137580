#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "signal/DumpSignal.h"

enum class WaveShape { Sine, Square };

/// What the tape, its player and the sound card do to the signal. Times in seconds from the start
/// of the recording, frequencies in Hz, levels as parts of full scale. The defaults are a clean
/// recording. The tones pass the drop-out and the player's filter; hum, noise and DC offset come on
/// top of them; the click, the clipping and the polarity are those of the sum.
struct TapeConditions {
  WaveShape shape = WaveShape::Sine;
  double speed = 1.0;     // 1.05 plays 5 % too fast
  double wowDepth = 0.0;  // how far the speed swings slowly: 0.01 is 1 % up and down
  double wowFrequency = 0.7;
  double flutterDepth = 0.0;  // the same, fast
  double flutterFrequency = 12.0;
  double level = 0.8;   // of the tones' peaks
  double lowCut = 0.0;  // corner frequencies of what the player lets through, 6 dB an octave
  double highCut = std::numeric_limits<double>::infinity();
  double noise = 0.0;           // standard deviation of white noise
  double noiseInSilence = 0.0;  // more of it before and after the signal
  std::uint32_t noiseSeed = 1;
  double hum = 0.0;  // of the peaks of a mains hum
  double humFrequency = 50.0;
  double dcOffset = 0.0;
  double clipLevel = 1.0;  // what lies above or below minus it is cut off
  bool inverted = false;
  double dropOutStart = 0.0;  // a stretch with less of the tones
  double dropOutDuration = 0.0;
  double dropOutLevel = 0.0;  // the part of the tones that is left in it
  double clickStart = 0.0;    // a stretch at positive full scale
  double clickDuration = 0.0;
  double silence = 0.25;  // before and after the signal
};

/// The recording of `signal` from a tape with faults: samples of -1.0 to 1.0, 44,100 a second.
/// Beyond 1.0 go those of a clip level beyond it, for the converter to clip.
std::vector<float> recordTape(const HalfPeriods& signal, const TapeConditions& conditions);
