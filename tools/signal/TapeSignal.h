#pragma once

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

/// Half a swing of one of the two tones: between two zero crossings.
enum class HalfPeriod : std::uint8_t { Short, Long };

using HalfPeriods = std::vector<HalfPeriod>;

/// Nominal lengths at 44,100 samples a second, in the middle of what the decoder takes for short (5
/// to 19 samples) and for long (35 to 49).
inline constexpr int shortHalfPeriodSamples = 12;  // 1,837.5 Hz
inline constexpr int longHalfPeriodSamples = 42;   // 525 Hz

/// Adds a one bit (twelve short half-periods) or a zero bit (four long ones).
void appendBit(HalfPeriods& signal, bool bit);

/// Adds each byte of `bytes`, most significant bit first.
void appendBytes(HalfPeriods& signal, std::string_view bytes);

/// A whole dump: a leader of `leaderOnes` one bits, the start marker (a zero bit), the bytes of
/// `bank`, and a third of a one bit, so that the last data half-period too ends in a zero crossing.
HalfPeriods dumpSignal(std::string_view bank, int leaderOnes = 300);

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

/// The recording of `signal`: samples of -1.0 to 1.0, 44,100 a second. Beyond 1.0 go those of a
/// clip level beyond it, for the converter to clip.
std::vector<float> recordTape(const HalfPeriods& signal, const TapeConditions& conditions = {});
