#include "signal/TapeSignal.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

namespace {

constexpr double sampleRate = 44100.0;
constexpr double humFrequency = 50.0;

int nominalSamples(HalfPeriod halfPeriod) {
  return halfPeriod == HalfPeriod::Short ? shortHalfPeriodSamples : longHalfPeriodSamples;
}

double sineAt(double frequency, double time) {
  return std::sin(2.0 * std::numbers::pi * frequency * time);
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
    const double value = isDone() ? 0.0 : polarity() * halfWave();
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

  double halfWave() const {
    return shape == WaveShape::Square
               ? 1.0
               : std::sin(std::numbers::pi * elapsed / nominalSamples(signal[index]));
  }

  const HalfPeriods& signal;
  WaveShape shape;
  std::size_t index = 0;
  double elapsed = 0.0;  // nominal samples since the half-period began
};

bool isWithin(double time, double start, double duration) {
  return time >= start && time < start + duration;
}

}  // namespace

void appendBit(HalfPeriods& signal, bool bit) {
  signal.insert(signal.end(), bit ? 12 : 4, bit ? HalfPeriod::Short : HalfPeriod::Long);
}

void appendBytes(HalfPeriods& signal, std::string_view bytes) {
  for (const char byte : bytes) {
    for (int bit = 7; bit >= 0; --bit) {
      appendBit(signal, (byte >> bit & 1) != 0);
    }
  }
}

HalfPeriods dumpSignal(std::string_view bank, int leaderOnes) {
  HalfPeriods signal;
  for (int i = 0; i < leaderOnes; ++i) {
    appendBit(signal, true);
  }
  appendBit(signal, false);
  appendBytes(signal, bank);
  signal.insert(signal.end(), 4, HalfPeriod::Short);
  return signal;
}

std::vector<float> recordTape(const HalfPeriods& signal, const TapeConditions& conditions) {
  const auto silentSamples = static_cast<std::size_t>(conditions.silence * sampleRate);
  std::mt19937 randomBits(conditions.noiseSeed);
  std::normal_distribution<double> gaussian;

  std::vector<float> recording;
  const auto record = [&](double tone, double time) {
    if (isWithin(time, conditions.dropOutStart, conditions.dropOutDuration)) {
      tone = 0.0;
    }
    double value =
        conditions.level * tone + conditions.hum * sineAt(humFrequency, time) + conditions.dcOffset;
    if (conditions.noise > 0.0) {
      value += conditions.noise * gaussian(randomBits);
    }
    if (isWithin(time, conditions.clickStart, conditions.clickDuration)) {
      value = 1.0;
    }
    value = std::clamp(value, -conditions.clipLevel, conditions.clipLevel);
    recording.push_back(static_cast<float>(conditions.inverted ? -value : value));
  };
  const auto now = [&recording] { return static_cast<double>(recording.size()) / sampleRate; };

  for (std::size_t i = 0; i < silentSamples; ++i) {
    record(0.0, now());
  }
  TonePlayer player(signal, conditions.shape);
  while (!player.isDone()) {
    const double speed =
        conditions.speed * (1.0 + conditions.wowDepth * sineAt(conditions.wowFrequency, now()) +
                            conditions.flutterDepth * sineAt(conditions.flutterFrequency, now()));
    const double time = now();
    record(player.next(speed), time);
  }
  for (std::size_t i = 0; i < silentSamples; ++i) {
    record(0.0, now());
  }
  return recording;
}
