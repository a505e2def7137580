#include "support/Sounds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "support/Filter.h"

namespace {

constexpr double turn = 2.0 * std::numbers::pi;

std::size_t countOf(double seconds, double sampleRate) {
  return static_cast<std::size_t>(seconds * sampleRate);
}

/// Rises from 0 to 1 in the first quarter and falls back in the last.
float swell(std::size_t i, std::size_t count) {
  const double x = static_cast<double>(i) / static_cast<double>(count);
  return static_cast<float>(std::min(1.0, 4.0 * std::min(x, 1.0 - x)));
}

void normalise(Samples& samples) {
  float peak = 1e-9F;
  for (const float sample : samples) {
    peak = std::max(peak, std::abs(sample));
  }
  for (float& sample : samples) {
    sample /= peak;
  }
}

void appendVowel(Samples& samples, Random& random, double pitch, double sampleRate) {
  const std::size_t count = countOf(random.between(0.06, 0.3), sampleRate);
  Filter first = Filter::bandPass(random.between(250.0, 850.0), 6.0, sampleRate);
  Filter second = Filter::bandPass(random.between(850.0, 2400.0), 9.0, sampleRate);
  Filter third = Filter::bandPass(random.between(2300.0, 3200.0), 9.0, sampleRate);
  const double glide = random.between(0.85, 1.15);
  double phase = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = static_cast<double>(i) / static_cast<double>(count);
    phase += pitch * (1.0 + (glide - 1.0) * x) / sampleRate;
    float pulse = 0.0F;
    if (phase >= 1.0) {
      phase -= 1.0;
      pulse = 1.0F + 0.1F * random.normal();
    }
    const float glottis = pulse + 0.003F * random.normal();
    samples.push_back(swell(i, count) * (first.next(glottis) + 0.7F * second.next(glottis) +
                                         0.4F * third.next(glottis)));
  }
}

void appendConsonant(Samples& samples, Random& random, double sampleRate) {
  const std::size_t count = countOf(random.between(0.02, 0.12), sampleRate);
  Filter band = Filter::bandPass(random.between(1500.0, 6500.0), 1.5, sampleRate);
  for (std::size_t i = 0; i < count; ++i) {
    samples.push_back(0.02F * swell(i, count) * band.next(random.normal()));
  }
}

void appendSilence(Samples& samples, double seconds, double sampleRate) {
  samples.resize(samples.size() + countOf(seconds, sampleRate));
}

}  // namespace

Samples voice(Random& random, double seconds, double sampleRate) {
  Samples samples;
  const std::size_t count = countOf(seconds, sampleRate);
  const double pitch = random.byRatio(85.0, 260.0);
  while (samples.size() < count) {
    appendVowel(samples, random, pitch * random.between(0.8, 1.25), sampleRate);
    if (random.chance(0.5)) {
      appendConsonant(samples, random, sampleRate);
    }
    if (random.chance(0.15)) {
      appendSilence(samples, random.between(0.1, 0.8), sampleRate);
    }
  }
  samples.resize(count);
  normalise(samples);
  return samples;
}

Samples music(Random& random, double seconds, double sampleRate) {
  Samples samples(countOf(seconds, sampleRate));
  const double beat = random.between(0.2, 0.6);
  for (double start = 0.0; start < seconds; start += beat) {
    const std::size_t from = countOf(start, sampleRate);
    for (int voiceCount = random.below(4); voiceCount > 0; --voiceCount) {
      const double frequency = 110.0 * std::exp2(random.below(48) / 12.0);
      const double glide = random.chance(0.1) ? random.between(0.5, 2.0) : 1.0;
      const double decay = random.between(1.0, 8.0);
      const std::size_t to =
          std::min(samples.size(), from + countOf(random.between(beat, 4.0 * beat), sampleRate));
      const float level = static_cast<float>(random.between(0.1, 0.3));
      const int harmonics = 1 + random.below(4);
      double phase = 0.0;
      for (std::size_t i = from; i < to; ++i) {
        const double time = static_cast<double>(i - from) / sampleRate;
        phase += frequency * (1.0 + (glide - 1.0) * time) / sampleRate;
        phase -= std::floor(phase);
        const auto gain = level * static_cast<float>(std::exp(-decay * time));
        // A polynomial like a sine; its odd powers make the harmonics.
        const auto x = static_cast<float>(2.0 * phase - 1.0);
        float wave = 4.0F * x * (1.0F - std::abs(x));
        for (int h = 1; h < harmonics; ++h) {
          wave = 1.4F * wave - 0.4F * wave * wave * wave;
        }
        samples[i] += gain * wave;
      }
    }
    if (random.chance(0.6)) {
      Filter drum = Filter::bandPass(random.byRatio(80.0, 6000.0), 1.0, sampleRate);
      const std::size_t to = std::min(samples.size(), from + countOf(0.15, sampleRate));
      float level = 0.8F;
      for (std::size_t i = from; i < to; ++i) {
        samples[i] += level * drum.next(random.normal());
        level *= 0.999F;
      }
    }
  }
  normalise(samples);
  return samples;
}

Samples hiss(Random& random, double seconds, double sampleRate, double corner) {
  Samples samples(countOf(seconds, sampleRate));
  Filter filter = Filter::lowPass(corner, sampleRate);
  for (float& sample : samples) {
    sample = filter.next(random.normal());
  }
  normalise(samples);
  return samples;
}

Samples noise(Random& random, double seconds, double sampleRate) {
  Samples samples = hiss(random, seconds, sampleRate, random.byRatio(600.0, 20000.0));
  const int kind = random.below(5);
  if (kind == 1) {
    Filter::bandPass(random.byRatio(300.0, 3000.0), random.byRatio(1.0, 50.0), sampleRate)
        .apply(samples);
  } else if (kind == 2) {  // crackle
    for (float& sample : samples) {
      sample *= random.chance(0.0005) ? 1.0F : 0.01F;
    }
  } else if (kind == 3) {  // swelling, as of surf or of a bad contact
    const double frequency = random.byRatio(0.1, 200.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] *= static_cast<float>(
          0.5 + 0.5 * std::sin(turn * frequency * static_cast<double>(i) / sampleRate));
    }
  } else if (kind == 4) {  // a hum with harmonics above the noise
    const double frequency = random.byRatio(45.0, 700.0);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const double x = turn * frequency * static_cast<double>(i) / sampleRate;
      samples[i] = 0.1F * samples[i] + static_cast<float>(std::sin(x) + 0.3 * std::sin(3.0 * x) +
                                                          0.1 * std::sin(5 * x));
    }
  }
  normalise(samples);
  return samples;
}

Samples modem(Random& random, const Modem& kind, double seconds, double sampleRate) {
  Samples samples(countOf(seconds, sampleRate));
  double phase = 0.0;
  double clock = 1.0;
  double tone = kind.oneTone;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    clock += kind.baud / sampleRate;
    if (clock >= 1.0) {
      clock -= 1.0;
      const bool isIdle = static_cast<double>(i) < sampleRate;
      tone = isIdle || random.chance(0.5) ? kind.oneTone : kind.zeroTone;
    }
    phase += turn * tone / sampleRate;
    samples[i] = static_cast<float>(std::sin(phase)) + 0.003F * random.normal();
  }
  return samples;
}
