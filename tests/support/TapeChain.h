#pragma once

#include <limits>
#include <vector>

#include "signal/DumpSignal.h"
#include "support/RealRecording.h"
#include "support/Sounds.h"

/// What one channel of a recording is like beside the other.
enum class Wiring {
  Mono,
  Stereo,
  FirstDead,
  FirstWeak,
  SecondDead,
  SecondWeak,
  SecondLate,
  Antiphase,
  FirstComesAndGoes,
  BothComeAndGo  // one at a time
};

/// A stretch with less of the tones. It is placed by its part of the dump, 0 to 1.
struct TapeDropOut {
  double place = 0.0;
  double duration = 0.0;  // seconds
  double depth = 0.0;     // dB; the short waves lose more
  double edges = 0.15;    // the part of the duration in which it sets in, and in which it ends
};

/// How a dump was made, kept, played and recorded. Levels in dB are relative to the tones unless
/// said otherwise; frequencies in hertz; times in seconds. The defaults are a clean recording.
struct TapeChain {
  // The instrument
  double shortSamples = shortHalfPeriodSamples;  // at 44,100 a second
  double longSamples = longHalfPeriodSamples;
  double squareness = 0.0;  // 0 is a sine, 1 a square
  double asymmetry = 0.0;   // how much higher the half-periods above zero are
  int leaderOnes = 300;
  int halfPeriodsAfter = 4;  // of the short tone, after the last bit

  // The tape
  double speed = 1.0;
  double drift = 0.0;    // by how much the speed changes from the beginning to the end
  double wow = 0.0;      // how far the speed swings slowly
  double flutter = 0.0;  // rms of the fast swings
  double flutterLow = 5.0;
  double flutterHigh = 30.0;
  double runUp = 0.0;       // how long the motor takes to run up
  double saturation = 0.0;  // 0 to 1
  double lowCut[2] = {0.0, 0.0};
  double highCut = std::numeric_limits<double>::infinity();
  double bumpFrequency = 80.0;
  double bump = 0.0;               // dB
  double allPass = 0.0;            // corner of the phase rotation; 0 is none
  double hiss = 1000.0;            // dB below the tones
  double followingNoise = 1000.0;  // dB below the tones, and only where they are
  std::vector<TapeDropOut> dropOuts = {};
  int clicks = 0;

  // The wiring
  double hum = -1000.0;
  double humFrequency = 50.0;
  double dcOffset = 0.0;  // part of the tones' peaks
  double peak = -6.0;     // dBFS of the tones
  bool automaticGain = false;
  double clip = 0.0;  // dB by which the tones' peaks are cut off
  bool inverted = false;
  Wiring wiring = Wiring::Mono;
  double wiringStrength = 0.0;  // dB of a weak channel, samples of a late one

  // The file
  double sampleRate = 44100.0;
  int bitsPerSample = 16;
  double codecNoise = 0.0;  // dB below the tones; 0 is no codec
  double codecBandwidth = 16000.0;

  // Around the dump
  struct Neighbour {
    enum class Kind { Silence, Voice, Music, Hiss, DumpsBeginning, DumpsEnd, Dump } kind;
    double seconds = 1.0;  // of a sound or of the part of a dump
    double level = 1.0;    // against the tones' peaks
  };
  std::vector<Neighbour> before = {{Neighbour::Kind::Silence, 0.5}};
  std::vector<Neighbour> after = {{Neighbour::Kind::Silence, 0.5}};
  double missingBefore = 0.0;  // seconds of the dump's bits that are cut off
  double missingAfter = 0.0;
};

/// The recording of `bank`, with other dumps of `otherBank`. What is left to chance is drawn from
/// `random`. `faults` is left empty, `isPlainWav` true.
RealRecording recordThrough(const TapeChain& chain, const PresetBank& bank,
                            const PresetBank& otherBank, Random& random);
