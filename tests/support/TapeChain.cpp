#include "support/TapeChain.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <string_view>

#include "support/Filter.h"
#include "support/LossyCodec.h"

namespace {

using Neighbour = TapeChain::Neighbour;

constexpr double turn = 2.0 * std::numbers::pi;
constexpr double speedStepsPerSecond = 1000.0;
constexpr double longWavesLoss =
    2.0 / 3.0;  // decibels that a drop-out takes, a decibel of the short

float factor(double db) { return static_cast<float>(std::pow(10.0, db / 20.0)); }

double sampleLength(const TapeChain& chain, HalfPeriod halfPeriod) {
  return (halfPeriod == HalfPeriod::Short ? chain.shortSamples : chain.longSamples) / 44100.0;
}

/// sin(pi x) for x of 0 to 1.
float halfSine(float x) {
  const float z = (x - 0.5F) * (x - 0.5F);
  return 1.0F + z * (-4.934802F + z * (4.058712F + z * (-1.335263F + z * 0.2353306F)));
}

/// Bends upwards of half of full scale, to -1 to 1.
float softLimit(float x) {
  const float limited = std::clamp(x, -3.0F, 3.0F);
  return limited * (27.0F + limited * limited) / (27.0F + 9.0F * limited * limited);
}

/// The speed of the tape against time.
class TapeSpeed {
 public:
  TapeSpeed(const TapeChain& chain, Random& random) {
    constexpr std::size_t count = 60 * 1000;  // longer than any dump; then it begins again
    steps.resize(count);
    const double wowFrequency = random.between(0.4, 1.2);
    const double wowPhase = random.between(0.0, turn);
    const double secondPhase = random.between(0.0, turn);
    std::vector<float> flutter = makeFlutter(chain, count, random);
    for (std::size_t i = 0; i < count; ++i) {
      const double time = static_cast<double>(i) / speedStepsPerSecond;
      const double angle = turn * wowFrequency * time;
      const double wow =
          0.7 * std::sin(angle + wowPhase) + 0.3 * std::sin(3.1 * angle + secondPhase);
      const double drift = chain.drift * (std::min(time, 30.0) / 30.0 - 0.5);
      const double runUp = time < chain.runUp ? 1.0 - std::pow(1.0 - time / chain.runUp, 2.0) : 1.0;
      const double swing = 1.0 + drift + chain.wow * wow + static_cast<double>(flutter[i]);
      steps[i] = static_cast<float>(std::max(0.02, chain.speed * runUp * swing));
    }
  }

  float at(double time) const {
    const double place = time * speedStepsPerSecond;
    const auto step = static_cast<std::size_t>(place);
    const auto part = static_cast<float>(place - static_cast<double>(step));
    const float here = steps[step % steps.size()];
    return here + part * (steps[(step + 1) % steps.size()] - here);
  }

 private:
  static std::vector<float> makeFlutter(const TapeChain& chain, std::size_t count, Random& random) {
    std::vector<float> flutter(count);
    if (chain.flutter == 0.0) {
      return flutter;
    }
    Filter above = Filter::lowPass(chain.flutterHigh, speedStepsPerSecond);
    Filter below = Filter::highPass(chain.flutterLow, speedStepsPerSecond);
    double energy = 0.0;
    for (float& value : flutter) {
      value = below.next(above.next(random.normal()));
      energy += static_cast<double>(value) * static_cast<double>(value);
    }
    const auto gain =
        static_cast<float>(chain.flutter / std::sqrt(energy / static_cast<double>(count)));
    for (float& value : flutter) {
      value *= gain;
    }
    return flutter;
  }

  std::vector<float> steps;
};

/// One channel of tape, sample by sample.
class Track {
 public:
  Track(const TapeChain& tapeChain, double workRate, Random& randomNumbers)
      : chain(tapeChain), rate(workRate), random(randomNumbers), speed(tapeChain, randomNumbers) {}

  double seconds() const { return static_cast<double>(samples.size()) / rate; }

  void append(const Samples& sound, float level) {
    for (const float sample : sound) {
      samples.push_back(level * sample);
    }
  }

  /// Plays half-periods. Returns the times at which each begins, and at which the last one ends.
  std::vector<double> play(const HalfPeriods& signal) {
    std::vector<double> times;
    times.reserve(signal.size() + 1);
    const float drive =
        chain.squareness <= 0.0 ? 0.0F : static_cast<float>(std::pow(20.0, chain.squareness) * 0.6);
    const auto high = static_cast<float>(1.0 + chain.asymmetry);
    const auto low = static_cast<float>(1.0 - chain.asymmetry);
    const auto squeeze = static_cast<float>(3.0 * chain.saturation);
    const float unsqueeze = squeeze > 0.0F ? 1.0F / softLimit(squeeze) : 1.0F;
    const float undrive = drive > 0.0F ? 1.0F / softLimit(drive) : 1.0F;
    bool isAbove = true;
    double left = 0.0;  // nominal seconds since the half-period began
    for (const HalfPeriod halfPeriod : signal) {
      const double length = sampleLength(chain, halfPeriod);
      times.push_back(seconds() - left / static_cast<double>(speed.at(played)));
      while (left < length) {
        float value = halfSine(static_cast<float>(left / length));
        if (drive > 0.0F) {
          value = softLimit(drive * value) * undrive;
        }
        if (squeeze > 0.0F) {
          value = softLimit(squeeze * value) * unsqueeze;
        }
        samples.push_back(isAbove ? high * value : -low * value);
        left += static_cast<double>(speed.at(played)) / rate;
        played += 1.0 / rate;
      }
      left -= length;
      isAbove = !isAbove;
    }
    times.push_back(seconds());
    return times;
  }

  void dropOut(double start, double duration, double depth, double edges) {
    const auto from = static_cast<std::size_t>(std::max(0.0, start) * rate);
    const auto to = std::min(samples.size(), from + static_cast<std::size_t>(duration * rate));
    const auto edge = static_cast<float>(std::max(1.0, edges * duration * rate));
    Filter longWaves = Filter::gentleLowPass(900.0, rate);
    for (std::size_t i = from; i < to; ++i) {
      const auto inside = static_cast<float>(std::min(i - from, to - i));
      const float part = std::min(1.0F, inside / edge);
      const float kept = longWaves.next(samples[i]);
      const float lost = samples[i] - kept;
      const double loss = depth * static_cast<double>(part);
      samples[i] = factor(-longWavesLoss * loss) * kept + factor(-loss) * lost;
    }
  }

  void followWithNoise(float level) {
    Filter slow = Filter::gentleLowPass(300.0, rate);
    const float gain = level * static_cast<float>(std::sqrt(rate / (std::numbers::pi * 300.0)));
    for (float& sample : samples) {
      sample *= 1.0F + gain * slow.next(random.normal());
    }
  }

  void click() {
    const auto at = static_cast<std::size_t>(random.between(0.0, seconds()) * rate);
    float value =
        static_cast<float>(random.between(0.5, 6.0)) * (random.chance(0.5) ? 1.0F : -1.0F);
    const auto keep = static_cast<float>(random.between(0.3, 0.95));
    for (std::size_t i = at; i < samples.size() && std::abs(value) > 0.01F; ++i) {
      samples[i] += value;
      value *= keep;
    }
  }

  void playBack() {
    for (const double corner : chain.lowCut) {
      if (corner > 0.0) {
        Filter::highPass(corner, rate).apply(samples);
      }
    }
    if (chain.bump != 0.0) {
      Filter::peak(chain.bumpFrequency, chain.bump, 1.2, rate).apply(samples);
    }
    if (chain.allPass > 0.0) {
      Filter::allPass(chain.allPass, rate).apply(samples);
    }
    if (chain.highCut < 0.45 * rate) {
      Filter::lowPass(chain.highCut, rate).apply(samples);
    }
  }

  void halveRate() {
    Filter::lowPass(0.2 * rate, rate).apply(samples);
    for (std::size_t i = 0; 2 * i < samples.size(); ++i) {
      samples[i] = samples[2 * i];
    }
    samples.resize((samples.size() + 1) / 2);
    rate /= 2.0;
  }

  /// The largest magnitude between two times but for a thousandth.
  float peakWithin(double start, double end) const {
    std::vector<float> magnitudes;
    const auto to = std::min(samples.size(), static_cast<std::size_t>(end * rate));
    for (auto i = static_cast<std::size_t>(start * rate); i < to; i += 7) {
      magnitudes.push_back(std::abs(samples[i]));
    }
    if (magnitudes.empty()) {
      return 1.0F;
    }
    const auto rank = static_cast<std::ptrdiff_t>(magnitudes.size() - 1 - magnitudes.size() / 1000);
    std::nth_element(magnitudes.begin(), magnitudes.begin() + rank, magnitudes.end());
    return std::max(1e-6F, magnitudes[static_cast<std::size_t>(rank)]);
  }

  const TapeChain& chain;
  double rate;
  Random& random;
  TapeSpeed speed;
  double played = 0.0;  // seconds of tones so far
  Samples samples;
};

/// The gain that raises what is quiet and lowers what is loud.
void levelOut(Samples& samples, double rate) {
  const auto release = static_cast<float>(std::exp(-1.0 / (0.8 * rate)));
  float envelope = 0.01F;
  for (float& sample : samples) {
    envelope = std::max(0.01F, envelope * release);
    envelope += 0.01F * std::max(0.0F, std::abs(sample) - envelope);
    sample *= 0.5F / std::max(0.05F, envelope);
  }
}

/// One period of the mains hum, peak 1.
std::vector<float> humPeriod(Random& random) {
  std::vector<float> period(1024);
  const double harmonics[] = {1.0, random.between(0.0, 0.7), random.between(0.0, 0.6),
                              random.between(0.0, 0.3), random.between(0.0, 0.3)};
  float peak = 0.0F;
  for (std::size_t i = 0; i < period.size(); ++i) {
    for (int h = 0; h < 5; ++h) {
      period[i] += static_cast<float>(
          harmonics[h] * std::sin(turn * (h + 1) * (static_cast<double>(i) / 1024.0 + 0.13 * h)));
    }
    peak = std::max(peak, std::abs(period[i]));
  }
  for (float& value : period) {
    value /= peak;
  }
  return period;
}

/// What the wiring lets through of the tape at a time, for each of two channels.
struct ChannelGains {
  float first = 1.0F;
  float second = 1.0F;
};

ChannelGains steadyGains(const TapeChain& chain) {
  const float weak = factor(-chain.wiringStrength);
  switch (chain.wiring) {
    case Wiring::FirstDead:
      return {0.0F, 1.0F};
    case Wiring::SecondDead:
      return {1.0F, 0.0F};
    case Wiring::FirstWeak:
      return {weak, 1.0F};
    case Wiring::SecondWeak:
      return {1.0F, weak};
    case Wiring::Antiphase:
      return {1.0F, -1.0F};
    default:
      return {};
  }
}

/// Loose contacts open and close a channel every second or so.
class Contact {
 public:
  Contact(double sampleRate, std::uint64_t seed) : rate(sampleRate), random(seed) {}

  float next() {
    if (left-- <= 0) {
      left = static_cast<int>(random.between(0.3, 2.5) * rate);
      target = target < 0.5F ? 1.0F : 0.0F;
    }
    gain += (target - gain) * 0.002F;
    return gain;
  }

 private:
  double rate;
  Random random;
  int left = 0;
  float target = 0.0F;
  float gain = 1.0F;
};

class Recorder {
 public:
  Recorder(const TapeChain& tapeChain, Track& tapeTrack, float tonePeak, Random& randomNumbers)
      : chain(tapeChain),
        track(tapeTrack),
        peak(tonePeak),
        random(randomNumbers),
        contactSeed(randomNumbers.next()) {}

  /// The channels, each with noise of its own.
  std::vector<Samples> channels() {
    const auto period = humPeriod(random);
    const bool isMono = chain.wiring == Wiring::Mono;
    const ChannelGains gains = steadyGains(chain);
    std::vector<Samples> all;
    all.push_back(channel(gains.first, 0, period));
    if (!isMono) {
      const auto late =
          chain.wiring == Wiring::SecondLate ? static_cast<std::size_t>(chain.wiringStrength) : 0;
      all.push_back(channel(gains.second, late, period));
    }
    return all;
  }

 private:
  Samples channel(float gain, std::size_t late, const std::vector<float>& period) {
    const double rate = track.rate;
    const float level = factor(chain.peak) / peak;
    const float clipLevel = chain.clip > 0.0 ? factor(chain.peak - chain.clip) : 1.0F;
    const float hissLevel = 0.7F * peak * factor(-chain.hiss);
    const float humLevel = peak * factor(chain.hum);
    const auto dc = static_cast<float>(chain.dcOffset) * peak;
    const bool isLoose = isNowAndThen();
    Filter hissFilter = Filter::gentleLowPass(std::min(12000.0, 0.4 * rate), rate);
    Contact contact(rate, contactSeed);  // the same for both channels
    const double humStep = chain.humFrequency * 1024.0 / rate;
    double humPlace = 0.0;

    Samples samples(track.samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
      float value = i < late ? 0.0F : gain * track.samples[i - late];
      if (isLoose) {
        const float open = contact.next();
        value *= isSecond && chain.wiring == Wiring::BothComeAndGo ? 1.0F - open : open;
      }
      if (chain.hiss < 200.0) {
        value += hissLevel * hissFilter.next(random.normal());
      }
      if (chain.hum > -200.0) {
        humPlace += humStep;
        if (humPlace >= 1024.0) {
          humPlace -= 1024.0;
        }
        value += humLevel * period[static_cast<std::size_t>(humPlace)];
      }
      samples[i] = level * (value + dc);
    }
    if (chain.automaticGain) {
      levelOut(samples, rate);
    }
    if (chain.codecNoise > 0.0) {
      passThroughCodec(samples, rate, chain.codecBandwidth, chain.codecNoise);
    }
    for (float& sample : samples) {
      sample = std::clamp(chain.inverted ? -sample : sample, -clipLevel, clipLevel);
    }
    round(samples);
    isSecond = true;
    return samples;
  }

  bool isNowAndThen() const {
    return chain.wiring == Wiring::BothComeAndGo ||
           (chain.wiring == Wiring::FirstComesAndGoes && !isSecond);
  }

  void round(Samples& samples) const {
    if (chain.bitsPerSample == 0 || chain.bitsPerSample > 24) {
      return;  // a float holds no more
    }
    const auto steps = static_cast<float>((1 << (chain.bitsPerSample - 1)) - 1);
    for (float& sample : samples) {
      // Rounds by adding and taking away a number whose steps are whole.
      const double scaled = static_cast<double>(sample * steps) + 0x1.8p52;
      sample = static_cast<float>(scaled - 0x1.8p52) / steps;
    }
  }

  const TapeChain& chain;
  Track& track;
  float peak;
  Random& random;
  std::uint64_t contactSeed;
  bool isSecond = false;
};

/// A dump as half-periods, and which of them begin a preset.
struct DumpSignal {
  HalfPeriods halfPeriods;
  std::array<std::size_t, presetCount + 1> presetStarts{};  // the last one is the end

  DumpSignal(const TapeChain& chain, const PresetBank& bank) {
    halfPeriods = dumpSignal("", chain.leaderOnes);
    halfPeriods.resize(halfPeriods.size() - 4);
    for (std::size_t preset = 0; preset < presetCount; ++preset) {
      presetStarts[preset] = halfPeriods.size();
      appendBytes(
          halfPeriods,
          std::string_view(bank.data(), bank.size()).substr(presetSize * preset, presetSize));
    }
    presetStarts.back() = halfPeriods.size();
    halfPeriods.insert(halfPeriods.end(), static_cast<std::size_t>(chain.halfPeriodsAfter),
                       HalfPeriod::Short);
  }
};

/// Plays the half-periods `from` to `to` of a dump and notes what was recorded of it.
RecordedDump playPart(Track& track, const DumpSignal& signal, const PresetBank& bank,
                      std::size_t from, std::size_t to) {
  const auto at = [&signal](std::size_t index) {
    return signal.halfPeriods.begin() + static_cast<std::ptrdiff_t>(index);
  };
  const std::vector<double> times = track.play({at(from), at(to)});
  RecordedDump dump{.bank = bank};
  const auto timeOf = [&](std::size_t index) { return times[std::clamp(index, from, to) - from]; };
  dump.start = timeOf(signal.presetStarts.front());
  dump.end = timeOf(signal.presetStarts.back());
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    dump.isRecorded[preset] =
        signal.presetStarts[preset] >= from && signal.presetStarts[preset + 1] <= to;
  }
  return dump;
}

/// How many half-periods from `start` on last `seconds`.
std::size_t halfPeriodsOf(const TapeChain& chain, const HalfPeriods& signal, std::size_t start,
                          double seconds) {
  std::size_t end = start;
  for (double length = 0.0; end < signal.size() && length < seconds; ++end) {
    length += sampleLength(chain, signal[end]);
  }
  return end - start;
}

std::size_t halfPeriodsAtEnd(const TapeChain& chain, const HalfPeriods& signal, double seconds) {
  const double length = std::accumulate(
      signal.begin(), signal.end(), 0.0,
      [&chain](double sum, HalfPeriod one) { return sum + sampleLength(chain, one); });
  const double rest = length - seconds;
  return signal.size() - (rest <= 0.0 ? 0 : halfPeriodsOf(chain, signal, 0, rest));
}

Samples soundOf(const Neighbour& neighbour, Random& random, double rate) {
  switch (neighbour.kind) {
    case Neighbour::Kind::Voice:
      return voice(random, neighbour.seconds, rate);
    case Neighbour::Kind::Music:
      return music(random, neighbour.seconds, rate);
    case Neighbour::Kind::Hiss:
      return hiss(random, neighbour.seconds, rate, random.byRatio(1500.0, 9000.0));
    default:
      return Samples(static_cast<std::size_t>(neighbour.seconds * rate));
  }
}

void playNeighbour(Track& track, const Neighbour& neighbour, const PresetBank& bank,
                   RealRecording& recording) {
  using Kind = Neighbour::Kind;
  const DumpSignal signal(track.chain, bank);
  std::size_t from = 0;
  std::size_t to = signal.halfPeriods.size();
  if (neighbour.kind == Kind::DumpsBeginning) {
    to = halfPeriodsOf(track.chain, signal.halfPeriods, 0, neighbour.seconds);
  } else if (neighbour.kind == Kind::DumpsEnd) {
    from = to - halfPeriodsAtEnd(track.chain, signal.halfPeriods, neighbour.seconds);
  } else if (neighbour.kind != Kind::Dump) {
    const Samples sound = soundOf(neighbour, track.random, track.rate);
    return track.append(sound, static_cast<float>(neighbour.level));
  }
  recording.dumps.push_back(playPart(track, signal, bank, from, to));
}

}  // namespace

RealRecording recordThrough(const TapeChain& chain, const PresetBank& bank,
                            const PresetBank& otherBank, Random& random) {
  const bool isHalved = chain.sampleRate < 40000.0;
  RealRecording recording{.sampleRate = chain.sampleRate, .bitsPerSample = chain.bitsPerSample};
  Track track(chain, isHalved ? 2.0 * chain.sampleRate : chain.sampleRate, random);

  for (const Neighbour& neighbour : chain.before) {
    playNeighbour(track, neighbour, otherBank, recording);
  }
  const DumpSignal signal(chain, bank);
  const std::size_t dataStart = signal.presetStarts.front();
  const std::size_t cutBefore =
      chain.missingBefore == 0.0
          ? 0
          : dataStart + halfPeriodsOf(chain, signal.halfPeriods, dataStart, chain.missingBefore);
  const std::size_t cutAfter =
      chain.missingAfter == 0.0 ? 0
                                : halfPeriodsAtEnd(chain, signal.halfPeriods, chain.missingAfter);
  recording.mainDump = static_cast<int>(recording.dumps.size());
  recording.dumps.push_back(
      playPart(track, signal, bank, cutBefore, signal.halfPeriods.size() - cutAfter));
  if (cutBefore > 0 && cutAfter > 0) {
    recording.dumps.back().isRecorded.fill(false);  // there is no end to count from
  }
  const RecordedDump main = recording.dumps.back();
  for (const Neighbour& neighbour : chain.after) {
    playNeighbour(track, neighbour, otherBank, recording);
  }

  for (const TapeDropOut& dropOut : chain.dropOuts) {
    track.dropOut(main.start + dropOut.place * (main.end - main.start), dropOut.duration,
                  dropOut.depth, dropOut.edges);
  }
  if (chain.followingNoise < 200.0) {
    track.followWithNoise(factor(-chain.followingNoise));
  }
  for (int i = 0; i < chain.clicks; ++i) {
    track.click();
  }
  track.playBack();
  if (isHalved) {
    track.halveRate();
  }

  Recorder recorder(chain, track, track.peakWithin(main.start, main.end), random);
  const std::vector<Samples> channels = recorder.channels();
  recording.channels = static_cast<int>(channels.size());
  for (std::size_t i = 0; i < channels.front().size(); ++i) {
    for (const Samples& channel : channels) {
      recording.samples.push_back(channel[i]);
    }
  }
  return recording;
}
