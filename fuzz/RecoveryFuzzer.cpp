#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "signal/DumpSignal.h"
#include "support/Check.h"
#include "support/Search.h"
#include "support/TapeInput.h"

namespace {

using namespace recovery;

/// Reads numbers from the input; zeros where it has ended.
class Reader {
 public:
  explicit Reader(std::string_view input) : bytes(input) {}

  std::uint8_t byte() {
    if (bytes.empty()) {
      return 0;
    }
    const auto value = static_cast<std::uint8_t>(bytes.front());
    bytes.remove_prefix(1);
    return value;
  }

  std::string_view take(std::size_t count) {
    const std::string_view taken = bytes.substr(0, count);
    bytes.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest() { return take(bytes.size()); }

 private:
  std::string_view bytes;
};

struct Recording {
  double sampleRate = 8000.0;
  int channels = 1;
  std::vector<float> samples;
  bool isNoise = false;
  std::string bank;  // of a dump whose beginning is there; otherwise empty
};

constexpr std::array sampleRates = {8000.0,
                                    11025.0,
                                    22050.0,
                                    44100.0,
                                    48000.0,
                                    96000.0,
                                    192000.0,
                                    4000.0,
                                    1000000.0,
                                    3999.0,
                                    0.0,
                                    -1.0,
                                    44100.5,
                                    1e300,
                                    std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::quiet_NaN()};

constexpr std::array channelCounts = {0, 1, 2, 3, -1, 8, 64, 1024};

constexpr std::size_t noiseSamples = 120'000;  // 15 s at 8,000 a second
constexpr std::size_t longest = 300'000;

std::vector<float> noiseOf(Reader& input) {
  std::mt19937 random(input.byte() + 256U * input.byte());
  const float keep = static_cast<float>(input.byte()) / 256.0F;
  std::vector<float> samples(noiseSamples);
  float value = 0.0F;
  for (float& sample : samples) {
    value = keep * value + (static_cast<float>(random()) / 4294967296.0F - 0.5F);
    sample = value;
  }
  return samples;
}

/// A dump at 8,000 samples a second, with what the input says is wrong with it.
Recording dumpOf(Reader& input) {
  const double speed = 0.8 + input.byte() / 640.0;
  const float noise = static_cast<float>(input.byte()) / 512.0F;
  const double beginning = input.byte() / 255.0;  // the part of the dump that is there
  const double end = input.byte() / 255.0;
  const int leader = input.byte();
  std::array<std::uint8_t, 12> places{};  // pairs: where something happens, and what
  for (std::uint8_t& place : places) {
    place = input.byte();
  }
  const std::string_view pattern = input.rest();
  std::string bank(960, '\x5A');
  for (std::size_t i = 0; i < bank.size() && !pattern.empty(); ++i) {
    bank[i] = pattern[i % pattern.size()];
  }

  std::vector<float> samples(800);
  double left = 0.0;
  float sign = 1.0F;
  for (const HalfPeriod halfPeriod : dumpSignal(bank, leader)) {
    const double length = nominalSamples(halfPeriod) * 8000.0 / nominalSampleRate;
    while (left < length) {
      samples.push_back(sign * static_cast<float>(std::sin(std::numbers::pi * left / length)));
      left += speed;
    }
    left -= length;
    sign = -sign;
  }
  std::mt19937 random(1);
  for (float& sample : samples) {
    sample += noise * (static_cast<float>(random()) / 4294967296.0F - 0.5F);
  }
  using Limits = std::numeric_limits<float>;
  constexpr std::array special = {
      0.0F, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), 1e38F, 1.0F};
  for (std::size_t i = 0; i < places.size(); i += 2) {
    const std::size_t start = samples.size() * places[i] / 256;
    const std::size_t count = std::size_t{places[i + 1]} / 6 * 20;
    std::fill_n(samples.begin() + static_cast<std::ptrdiff_t>(start),
                std::min(count, samples.size() - start), special[places[i + 1] % 6]);
  }
  const auto at = [&samples](double part) {
    return samples.begin() +
           static_cast<std::ptrdiff_t>(part * static_cast<double>(samples.size()));
  };
  Recording recording;
  recording.samples = {at(std::min(beginning, end)), at(std::max(beginning, end))};
  if (std::min(beginning, end) == 0.0 && leader >= 16) {
    recording.bank = std::move(bank);
  }
  return recording;
}

Recording recordingOf(std::string_view bytes) {
  Reader input(bytes);
  const int form = input.byte() % 8;
  Recording recording;
  if (form < 4) {
    return dumpOf(input);
  }
  recording.sampleRate = sampleRates[input.byte() % sampleRates.size()];
  recording.channels = channelCounts[input.byte() % channelCounts.size()];
  if (form == 4) {
    recording.sampleRate = 8000.0;
    recording.channels = 1;
    recording.isNoise = true;
    recording.samples = noiseOf(input);
  } else if (form == 5) {
    recording.samples = recordingOfFloats(input.rest());
  } else {
    recording.samples = recordingOfHalfPeriods(input.rest(), longest);
  }
  return recording;
}

Found search(const Recording& recording, std::size_t framesAtATime) {
  return ::search(recording.samples, recording.sampleRate, recording.channels, framesAtATime);
}

void checkSpan(const Span& span, double duration, const char* what) {
  check(std::isfinite(span.start) && std::isfinite(span.end), what);
  check(span.start <= span.end, what);
  check(span.start >= -0.01 && span.end <= duration + 0.01, what);
}

template <class... Numbers>
void checkFinite(const char* what, Numbers... numbers) {
  check((std::isfinite(numbers) && ...), what);
}

void checkFiniteAll(const std::vector<float>& numbers, const char* what) {
  for (const float number : numbers) {
    checkFinite(what, number);
  }
}

void checkSignal(const SignalFacts& signal) {
  checkFinite("what is known of the signal is a number", signal.toneLevel, signal.peakLevel,
              signal.humFrequency, signal.humLevel, signal.dcOffset, signal.clippedShare,
              signal.shortHalfPeriod, signal.longHalfPeriod, signal.speedMedian, signal.speedWander,
              signal.bandwidth);
  check(signal.clippedShare >= 0.0 && signal.clippedShare <= 1.0, "a share is 0 to 1");
  check(signal.shortHalfPeriod >= 0.0 && signal.longHalfPeriod >= 0.0, "lengths are not negative");
}

void checkBits(const Take& take, double duration) {
  checkEqual(static_cast<long long>(take.bits.size()), bitsPerBank, "bits of a take");
  double time = -1.0;
  for (const BitReading& bit : take.bits) {
    check(bit.value >= -1 && bit.value <= 1, "a bit is 0, 1 or -1");
    check(std::isfinite(bit.margin) && bit.margin >= 0.0F, "a margin is 0 or more");
    if (bit.value >= 0) {
      checkSpan({bit.start, bit.end}, duration, "a bit lies within the recording");
      check(bit.start >= time, "bits follow one another");
      time = bit.start;
    }
  }
}

void checkTake(const Take& take, double duration, int channels) {
  checkBits(take, duration);
  check(take.channelIndex >= 0 && take.channelIndex < channels, "the channel is one of those");
  check(take.leaderOnes >= 0, "ones of the leader");
  checkSpan(take.leader, duration, "the leader lies within the recording");
  checkSpan(take.marker, duration, "the start marker lies within the recording");
  double time = -1.0;
  for (const SpeedPoint& point : take.speed) {
    checkFinite("a speed is a number", point.time, point.speed);
    check(point.speed > 0.0, "a speed is above 0");
    check(point.time >= time, "speeds follow one another");
    time = point.time;
  }
  for (const DropOut& dropOut : take.dropOuts) {
    checkSpan(dropOut.span, duration, "a drop-out lies within the recording");
    checkFinite("a drop-out has a depth", dropOut.depth);
  }
  check(take.doubtfulPlaces.size() <= 20, "at most 20 doubtful places");
  int bit = -1;
  for (const DoubtfulPlace& place : take.doubtfulPlaces) {
    check(place.firstBit > bit && place.bitCount > 0, "doubtful places follow one another");
    bit = place.firstBit;
    check(place.firstBit + place.bitCount <= bitsPerBank, "a doubtful place is one of the bank");
    checkSpan(place.span, duration, "a doubtful place lies within the recording");
    check(static_cast<int>(place.read.size()) >= place.bitCount, "a doubtful place has its bits");
    checkFinite("a doubtful place has numbers", place.margin, place.wave.start,
                place.wave.sampleRate);
    checkFiniteAll(place.wave.samples, "a doubtful place has a wave");
  }
  checkSignal(take.signal);
  checkFiniteAll(take.spectrum, "a level of the spectrum is a number");
}

char byteOf(const Take& take, std::size_t byte) {
  int value = 0;
  for (std::size_t bit = 8 * byte; bit < 8 * byte + 8; ++bit) {
    value = 2 * value + take.bits[bit].value;
  }
  return static_cast<char>(value);
}

/// A preset that is said to be sure is sure in the only take, bit by bit.
void checkSurePreset(const Take& take, const char* record, std::size_t preset) {
  check(take.beginningIsSure, "nothing is sure without a beginning");
  for (std::size_t i = 0; i < presetSize; ++i) {
    const std::size_t byte = presetSize * preset + i;
    check(std::all_of(&take.bits[8 * byte], &take.bits[8 * byte] + 8, isSure),
          "a sure preset has all its bits, with margins");
    checkEqual(record[i], byteOf(take, byte), "a byte is made of its bits");
  }
}

void checkPreset(const PresetReading& read, const char* record) {
  check((read.verdict == Verdict::Sure) == (read.reason == Reason::None), "a reason for doubt");
  checkFinite("what is known of a preset is a number", read.span.start, read.span.end, read.margin,
              read.worstTime);
  for (std::size_t i = 0; i < presetSize; ++i) {
    check(read.verdict != Verdict::Missing || record[i] == 0, "missing is zero");
    check(read.verdict != Verdict::Sure || read.doubtfulBits[i] == 0, "sure is without doubt");
  }
}

/// What holds of any reading of takes of `bank`, which is empty where it is not known.
void checkReading(const BankReading& reading, std::span<const Take> takes,
                  const std::string& bank) {
  checkEqual(reading.count(Verdict::Sure) + reading.count(Verdict::Doubtful) +
                 reading.count(Verdict::Missing),
             presetCount, "presets of all verdicts");
  for (std::size_t preset = 0; preset < presetCount; ++preset) {
    const PresetReading& read = reading.presets[preset];
    const char* const record = reading.bank.data() + presetSize * preset;
    checkPreset(read, record);
    if (read.verdict == Verdict::Missing) {
      continue;
    }
    check(read.take >= 0 && static_cast<std::size_t>(read.take) < takes.size(),
          "a preset was read from one of the takes");
    if (read.verdict == Verdict::Sure) {
      if (takes.size() == 1) {  // several may be sure together of what none is alone
        checkSurePreset(takes[0], record, preset);
      }
      check(bank.empty() || isRight(reading, bank, preset), "a sure preset is right");
    }
  }
}

void checkSameTakes(const std::vector<Take>& actual, const std::vector<Take>& expected) {
  checkEqual(static_cast<long long>(actual.size()), static_cast<long long>(expected.size()),
             "dumps found in blocks of another size");
  for (std::size_t i = 0; i < actual.size(); ++i) {
    for (std::size_t bit = 0; bit < bitsPerBank; ++bit) {
      const BitReading& a = actual[i].bits[bit];
      const BitReading& e = expected[i].bits[bit];
      check(a.value == e.value && a.margin == e.margin && a.start == e.start && a.end == e.end,
            "bits are the same in blocks of another size");
    }
  }
}

void checkRecording(const Recording& recording, std::size_t framesAtATime,
                    std::vector<Take>& allTakes) {
  const auto [takes, facts] = search(recording, 1'000'000);
  check(facts.levels.size() <= 4000, "at most 4,000 levels");
  check(!recording.isNoise || takes.empty(), "no dump in noise");
  const int best = bestTake(takes);
  check(takes.empty() ? best == -1 : best >= 0 && static_cast<std::size_t>(best) < takes.size(),
        "the best take is one of them");
  for (const Take& take : takes) {
    checkTake(take, facts.duration, recording.channels);
    checkReading(readBank({&take, 1}), {&take, 1}, recording.bank);
    allTakes.push_back(take);
  }
  checkSameTakes(search(recording, framesAtATime).takes, takes);
}

}  // namespace

/// The first byte says how many recordings there are, the second in what blocks they are searched
/// a second time; the rest is shared out evenly among them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  const auto recordings = static_cast<std::size_t>(std::max(1, data[0] % 8 - 4));  // 1 to 3
  const std::size_t framesAtATime = 1 + std::size_t{data[1]} * data[1];
  Reader input(textOf(data + 2, size - 2));
  const std::size_t share = (size - 2) / recordings;

  std::vector<Take> takes;
  for (std::size_t i = 0; i < recordings; ++i) {
    const std::string_view bytes = i + 1 < recordings ? input.take(share) : input.rest();
    checkRecording(recordingOf(bytes), framesAtATime, takes);
  }
  const DifferentDumps different = findDifferentDumps(takes);
  if (!different.found()) {
    checkReading(readBank(takes), takes, "");
  } else {
    check(different.first != different.second && different.second >= 0 &&
              static_cast<std::size_t>(std::max(different.first, different.second)) < takes.size(),
          "two of the takes are different dumps");
  }
  return 0;
}
