#include "support/TapeSimulator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

namespace {

constexpr double sampleRate = 44100.0;

/// A sine at `time`; one without a peak costs nothing.
double sine(double peak, double frequency, double time) {
  return peak == 0.0 ? 0.0 : peak * std::sin(2.0 * std::numbers::pi * frequency * time);
}

/// Plays the half-periods sample by sample, at whatever speed each step names.
class TonePlayer {
 public:
  TonePlayer(const HalfPeriods& halfPeriods, WaveShape waveShape)
      : signal(halfPeriods), shape(waveShape) {}

  bool isDone() const { return index == signal.size(); }

  /// The tone in the middle of the next sample, which lasts `speed` nominal samples.
  double next(double speed) {
    const double middle = speed / 2.0;
    advance(middle);
    const double value = isDone() ? 0.0 : polarity() * swing();
    advance(speed - middle);
    return value;
  }

 private:
  void advance(double nominalTime) {
    elapsed += nominalTime;
    while (!isDone() && elapsed >= nominalSamples(signal[index])) {
      elapsed -= nominalSamples(signal[index]);
      ++index;
    }
  }

  double polarity() const { return index % 2 == 0 ? 1.0 : -1.0; }

  double swing() const {
    return shape == WaveShape::Square
               ? 1.0
               : std::sin(std::numbers::pi * elapsed / nominalSamples(signal[index]));
  }

  const HalfPeriods& signal;
  WaveShape shape;
  std::size_t index = 0;
  double elapsed = 0.0;  // nominal samples since the half-period began
};

/// A filter of the first order; keeps nothing of the past at an infinite corner frequency and lets
/// nothing through at one of 0 Hz.
class LowPass {
 public:
  explicit LowPass(double cornerFrequency)
      : kept(std::exp(-2.0 * std::numbers::pi * cornerFrequency / sampleRate)) {}

  double next(double value) {
    output = value + kept * (output - value);
    return output;
  }

 private:
  double kept;
  double output = 0.0;
};

/// White noise of standard deviation 1. Drawn by hand, for the library's normal distribution
/// differs from one implementation to the next.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : random(seed) {}

  double next() {
    const double radius = std::sqrt(-2.0 * std::log(uniform()));
    return radius * std::cos(2.0 * std::numbers::pi * uniform());
  }

 private:
  /// Between 0 and 1, never one of the two.
  double uniform() { return (static_cast<double>(random()) + 0.5) / 4294967296.0; }

  std::mt19937 random;
};

bool isWithin(double time, double start, double duration) {
  return time >= start && time < start + duration;
}

}  // namespace

std::vector<float> recordTape(const HalfPeriods& signal, const TapeConditions& conditions) {
  const auto silentSamples = static_cast<std::size_t>(conditions.silence * sampleRate);
  Noise noise(conditions.noiseSeed);
  LowPass belowLowCut(conditions.lowCut);
  LowPass belowHighCut(conditions.highCut);

  std::vector<float> recording;
  const auto now = [&recording] { return static_cast<double>(recording.size()) / sampleRate; };
  const auto record = [&](double tone, double noiseLevel) {
    const double time = now();
    if (isWithin(time, conditions.dropOutStart, conditions.dropOutDuration)) {
      tone *= conditions.dropOutLevel;
    }
    tone = belowHighCut.next(tone - belowLowCut.next(tone));
    double value = conditions.level * tone + conditions.dcOffset +
                   sine(conditions.hum, conditions.humFrequency, time);
    if (noiseLevel != 0.0) {
      value += noiseLevel * noise.next();
    }
    if (isWithin(time, conditions.clickStart, conditions.clickDuration)) {
      value = 1.0;
    }
    value = std::clamp(value, -conditions.clipLevel, conditions.clipLevel);
    recording.push_back(static_cast<float>(conditions.inverted ? -value : value));
  };
  const auto recordSilence = [&] {
    for (std::size_t i = 0; i < silentSamples; ++i) {
      record(0.0, conditions.noise + conditions.noiseInSilence);
    }
  };
  const auto speedNow = [&] {
    const double wow = sine(conditions.wowDepth, conditions.wowFrequency, now());
    const double flutter = sine(conditions.flutterDepth, conditions.flutterFrequency, now());
    return conditions.speed * (1.0 + wow + flutter);
  };

  recordSilence();
  TonePlayer player(signal, conditions.shape);
  while (!player.isDone()) {
    record(player.next(speedNow()), conditions.noise);
  }
  recordSilence();
  return recording;
}
