#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <iomanip>
#include <ostream>
#include <string>
#include <vector>

#include "audio/WavLoader.h"
#include "signal/TapeSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "tape/TapeDataReader.h"

// What docs/recordings.md promises of the signals that decode is what stands here.

namespace {

using Samples = std::vector<float>;

constexpr double sampleRate = 44100.0;
constexpr int leaderOnes = 20;

std::string randomBytes() { return bytesOf(randomBank(1)); }
std::string zeroBits() { return std::string(960, '\x00'); }
std::string oneBits() { return std::string(960, '\xFF'); }
std::string alternatingBits() { return std::string(960, '\xAA'); }

std::string exampleBytes() {
  const std::string sysex = readFile(EXAMPLE_BANK_PATH);
  std::string bank;
  for (std::size_t preset = 0; preset < 40; ++preset) {
    for (std::size_t byte = 0; byte < 24; ++byte) {
      const std::size_t lowNibble = 53 * preset + 4 + 2 * byte;
      bank += static_cast<char>(sysex.at(lowNibble) | sysex.at(lowNibble + 1) << 4);
    }
  }
  return bank;
}

/// Starts with the opposite of the bits that should come, so that none comes by chance.
class Decoder : public TapeDataReader {
 public:
  explicit Decoder(const std::string& bank) {
    for (int i = 0; i < dataBits; ++i) {
      bitStream[i] = (bank[static_cast<std::size_t>(i / 8)] >> (7 - i % 8) & 1) == 0 ? 1 : 0;
    }
  }
};

bool comesBack(const std::string& bank, Samples samples) {
  Decoder decoder(bank);
  decoder.readPresetData(samples.data(), static_cast<int>(samples.size()));
  std::string decoded(bank.size(), '?');
  decoder.getRawPresetBankBytes(decoded.data());
  return decoded == bank;
}

/// What the decoder is given of a 16-bit recording of `signal`.
Samples play(const HalfPeriods& signal, const TapeConditions& conditions) {
  Samples samples = recordTape(signal, conditions);
  for (float& sample : samples) {
    sample = std::round(sample * 32767.0F) / 65535.5F;
  }
  return samples;
}

Samples playDump(const std::string& bank, const TapeConditions& conditions) {
  return play(dumpSignal(bank, leaderOnes), conditions);
}

/// What the decoder is given of a WAV file.
Samples load(const WavFormat& format, const std::vector<Samples>& channels) {
  const TemporaryFolder folder;
  const std::string path = folder / "recording.wav";
  writeFile(path, wavFile(format, pcmBytes(channels, format.bitsPerSample)));
  WavLoader loader;
  EXPECT_TRUE(loader.load(path.c_str()));
  return {loader.getAudioBuffer(), loader.getAudioBuffer() + loader.getNumberOfSamples()};
}

template <int BitsPerSample>
Samples loadDump(const std::string& bank, const TapeConditions& conditions) {
  return load({.bitsPerSample = BitsPerSample},
              {recordTape(dumpSignal(bank, leaderOnes), conditions)});
}

Samples loadStereo(const HalfPeriods& signal, double leftLevel, double rightLevel) {
  return load({.numChannels = 2}, {recordTape(signal, {.level = leftLevel}),
                                   recordTape(signal, {.level = rightLevel})});
}

constexpr double duration(double samples) { return samples / sampleRate; }

/// When a sample of the signal is played, at nominal speed: the silence before lasts 0.25 s.
constexpr double whenPlayed(double sample) { return 0.25 + duration(sample - 0.25); }

// Where samples stand in a dump of alternating bits: after the leader and the start marker the data
// begin with a one bit, up and down every 12 samples, and a zero bit, every 42.
constexpr int startMarkerUp = leaderOnes * 144;
constexpr int oneBitUp = startMarkerUp + 168;
constexpr int oneBitDown = oneBitUp + 12;
constexpr int zeroBitUp = oneBitUp + 144;
constexpr int zeroBitDown = zeroBitUp + 42;

/// How far one of the conditions may go, the others being as given.
struct Border {
  const char* kind;
  TapeConditions others;
  double TapeConditions::*varied;
  double lastThatWorks;
  double firstThatFails;
  std::string (*bank)() = randomBytes;
  Samples (*play)(const std::string& bank, const TapeConditions& conditions) = playDump;

  TapeConditions at(double value) const {
    TapeConditions conditions = others;
    conditions.*varied = value;
    return conditions;
  }
};

void PrintTo(const Border& border, std::ostream* out) { *out << border.kind; }

class SignalBorder : public testing::TestWithParam<Border> {};

TEST_P(SignalBorder, LiesBetweenTheLastThatWorksAndTheFirstThatFails) {
  const Border& border = GetParam();
  const std::string bank = border.bank();
  EXPECT_TRUE(comesBack(bank, border.play(bank, border.at(border.lastThatWorks))))
      << border.kind << " at " << border.lastThatWorks;
  EXPECT_FALSE(comesBack(bank, border.play(bank, border.at(border.firstThatFails))))
      << border.kind << " at " << border.firstThatFails;
}

const auto nameOf = [](const auto& info) { return std::string(info.param.kind); };

constexpr WaveShape square = WaveShape::Square;
using Tape = TapeConditions;

// A low half-period of 42 samples may become 35 to 49, a high one of 12 only 5 to 19; but that is
// far more in proportion, so it is always the low tone that fails first.
constexpr Border speedBorders[] = {
    {"Slow", {}, &Tape::speed, 0.858, 0.856},
    {"SlowSquare", {.shape = square}, &Tape::speed, 0.858, 0.856},
    {"SlowInverted", {.inverted = true}, &Tape::speed, 0.858, 0.856},
    {"SlowZeroBits", {}, &Tape::speed, 0.858, 0.856, zeroBits},
    {"SlowExample", {}, &Tape::speed, 0.858, 0.856, exampleBytes},
    {"Fast", {}, &Tape::speed, 1.198, 1.202},
    {"FastSquare", {.shape = square}, &Tape::speed, 1.198, 1.202},
    {"FastInverted", {.inverted = true}, &Tape::speed, 1.198, 1.202},
    {"FastZeroBits", {}, &Tape::speed, 1.198, 1.202, zeroBits},
    {"FastExample", {}, &Tape::speed, 1.198, 1.202, exampleBytes},
    // What is left of one bits alone is the low tone of the start marker.
    {"SlowOneBits", {}, &Tape::speed, 0.858, 0.84, oneBits},
    {"FastOneBits", {}, &Tape::speed, 1.198, 1.25, oneBits},
    // Samples are counted as if there were 44,100 a second.
    {"SampleRateAbove", {}, &Tape::speed, 44100.0 / 48000, 44100.0 / 88200},
    {"SampleRateBelow", {}, &Tape::speed, 1.0, 44100.0 / 32000},
    {"SlowAt48000Hz", {}, &Tape::speed, 0.935 * 44100 / 48000, 0.931 * 44100 / 48000},
    {"FastAt48000Hz", {}, &Tape::speed, 1.30 * 44100 / 48000, 1.31 * 44100 / 48000},
    // The swings add up with each other and with the speed.
    {"Wow", {}, &Tape::wowDepth, 0.14, 0.145},
    {"WowZeroBits", {}, &Tape::wowDepth, 0.14, 0.145, zeroBits},
    {"Flutter", {}, &Tape::flutterDepth, 0.14, 0.145},
    {"WowWithFlutter", {.flutterDepth = 0.07}, &Tape::wowDepth, 0.07, 0.075},
    {"WowOfAFastTape", {.speed = 1.1}, &Tape::wowDepth, 0.09, 0.095},
};

// An offset of a quarter of the level makes one half-wave of a low sine 49 samples long and the
// other 35; a square keeps its zero crossings until the offset hides one half-wave.
constexpr Border offsetBorders[] = {
    {"DcAbove", {}, &Tape::dcOffset, 0.205, 0.21},
    {"DcBelow", {}, &Tape::dcOffset, -0.205, -0.21},
    {"DcAboveZeroBits", {}, &Tape::dcOffset, 0.205, 0.21, zeroBits},
    {"DcAboveOneBits", {}, &Tape::dcOffset, 0.205, 0.21, oneBits},
    {"DcOfAQuietTape", {.level = 0.08}, &Tape::dcOffset, 0.0205, 0.021},
    {"DcAboveSquare", {.shape = square}, &Tape::dcOffset, 0.79, 0.81},
    {"DcBelowSquare", {.shape = square}, &Tape::dcOffset, -0.79, -0.81},
    {"Hum50Hz", {}, &Tape::hum, 0.205, 0.215},
    {"Hum60Hz", {.humFrequency = 60.0}, &Tape::hum, 0.205, 0.215},
    {"Hum50HzSquare", {.shape = square}, &Tape::hum, 0.79, 0.81},
    {"Hum60HzSquare", {.shape = square, .humFrequency = 60.0}, &Tape::hum, 0.79, 0.81},
};

// Near the zero crossings noise turns the sign back and forth, which makes runs of a few samples
// and shortens the half-wave; a low sine crosses zero slowly. Noise inside a square must outdo it.
constexpr Border noiseBorders[] = {
    {"Noise", {}, &Tape::noise, 0.05, 0.08},
    {"NoiseSecondSeed", {.noiseSeed = 2}, &Tape::noise, 0.05, 0.08},
    {"NoiseInverted", {.inverted = true}, &Tape::noise, 0.05, 0.08},
    {"NoiseZeroBits", {}, &Tape::noise, 0.05, 0.08, zeroBits},
    {"NoiseExample", {}, &Tape::noise, 0.05, 0.08, exampleBytes},
    {"NoiseOneBits", {}, &Tape::noise, 0.13, 0.24, oneBits},
    {"NoiseOfAQuietTape", {.level = 0.2}, &Tape::noise, 0.0125, 0.02},
    {"NoiseSquare", {.shape = square}, &Tape::noise, 0.15, 0.2},
    {"NoiseSquareSecondSeed", {.shape = square, .noiseSeed = 2}, &Tape::noise, 0.15, 0.2},
};

// Only signs count. In 16 bits, a sine of less than two steps rounds to zero, which is not
// positive, for too long; a square needs half a step.
constexpr double step = 1.0 / 32767;
constexpr Border levelBorders[] = {
    {"Level", {}, &Tape::level, 2.0 * step, 1.9 * step},
    {"LevelInverted", {.inverted = true}, &Tape::level, 2.0 * step, 1.9 * step},
    {"LevelZeroBits", {}, &Tape::level, 2.0 * step, 1.9 * step, zeroBits},
    {"LevelSquare", {.shape = square}, &Tape::level, 0.55 * step, 0.45 * step},
    {"ClipLevel", {}, &Tape::clipLevel, 0.55 * step, 0.45 * step},
};

// The filter delays one tone more than the other, so the half-wave between them grows or shrinks.
constexpr Border filterBorders[] = {
    {"LowCut", {}, &Tape::lowCut, 320, 340},
    {"HighCut", {}, &Tape::highCut, 350, 300},
    {"HighCutSquare", {.shape = square}, &Tape::highCut, 475, 450},
};

// A click takes positive samples from a half-wave below zero, a drop-out gives zeros, which are not
// positive, to one above. Seven samples may go to the next half-wave; in the middle of a low
// half-wave one is too much, for neither part of it is long. Runs below five samples do not count,
// those of five do. In the high tone, short parts too many are thrown away at the next zero bit.
constexpr Border stretchBorders[] = {
    {"ClickAtALowZeroCrossing",
     {.clickStart = whenPlayed(zeroBitDown)},
     &Tape::clickDuration,
     duration(7),
     duration(8),
     alternatingBits},
    {"ClickInAHighHalfWave",
     {.clickStart = whenPlayed(oneBitDown + 5)},
     &Tape::clickDuration,
     duration(7),
     duration(8),
     alternatingBits},
    {"ClickAfterALowZeroCrossing",
     {.clickDuration = duration(1)},
     &Tape::clickStart,
     whenPlayed(zeroBitDown + 4),
     whenPlayed(zeroBitDown + 5),
     alternatingBits},
    {"ClickBeforeALowZeroCrossing",
     {.clickDuration = duration(1)},
     &Tape::clickStart,
     whenPlayed(zeroBitDown + 41 - 4),
     whenPlayed(zeroBitDown + 41 - 5),
     alternatingBits},
    {"DropOutAtALowZeroCrossing",
     {.dropOutStart = whenPlayed(zeroBitUp)},
     &Tape::dropOutDuration,
     duration(7),
     duration(8),
     alternatingBits},
    {"DropOutInTheStartMarker",
     {.dropOutStart = whenPlayed(startMarkerUp)},
     &Tape::dropOutDuration,
     duration(7),
     duration(8),
     alternatingBits},
    // Ten of the twenty one bits must be left, and a half-wave is lost where the silence joins it.
    {"DropOutInTheLeader",
     {.dropOutStart = whenPlayed(288)},
     &Tape::dropOutDuration,
     duration(9 * 144),
     duration(10 * 144)},
    // 200 ms in the data: as with any level, it is the noise that limits it.
    {"WeakStretch",
     {.dropOutStart = 0.5, .dropOutDuration = 0.2},
     &Tape::dropOutLevel,
     0.0001,
     0.00005},
    {"WeakStretchWithNoise",
     {.noise = 0.005, .dropOutStart = 0.5, .dropOutDuration = 0.2},
     &Tape::dropOutLevel,
     0.1,
     0.05},
};

// Eight bits are read as signed, though they are not: the signal comes inverted, with 0x80, the
// zero, at the bottom. 0x00, what clips below, is not positive as everything else below the zero
// is, so clipping hides one half-wave.
constexpr double step8Bits = 1.0 / 127;
constexpr Border eightBitBorders[] = {
    {"Level8Bits", {}, &Tape::level, 2.0 * step8Bits, 1.9 * step8Bits, randomBytes, loadDump<8>},
    {"Clipping8Bits", {.clipLevel = 2.0}, &Tape::level, 1.0, 1.01, randomBytes, loadDump<8>},
    {"Clipping8BitsSquare",
     {.shape = square, .clipLevel = 2.0},
     &Tape::level,
     1.0,
     1.01,
     randomBytes,
     loadDump<8>},
    {"Dc8Bits", {}, &Tape::dcOffset, 0.195, 0.22, randomBytes, loadDump<8>},
};

INSTANTIATE_TEST_SUITE_P(Speed, SignalBorder, testing::ValuesIn(speedBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Offset, SignalBorder, testing::ValuesIn(offsetBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Noise, SignalBorder, testing::ValuesIn(noiseBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Level, SignalBorder, testing::ValuesIn(levelBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Filter, SignalBorder, testing::ValuesIn(filterBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Stretch, SignalBorder, testing::ValuesIn(stretchBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(EightBit, SignalBorder, testing::ValuesIn(eightBitBorders), nameOf);

HalfPeriods withoutEnd(HalfPeriods signal, std::size_t halfPeriods) {
  signal.resize(signal.size() - halfPeriods);
  return signal;
}

HalfPeriods joined(HalfPeriods first, const HalfPeriods& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// A recording as a whole, and whether its bank comes back.
struct Recording {
  const char* kind;
  std::string (*bank)();
  Samples (*samples)(const std::string& bank);
  bool comesBack;
};

void PrintTo(const Recording& recording, std::ostream* out) { *out << recording.kind; }

class SignalOnTape : public testing::TestWithParam<Recording> {};

TEST_P(SignalOnTape, ComesBackOrDoesNot) {
  const Recording& recording = GetParam();
  const std::string bank = recording.bank();
  EXPECT_EQ(comesBack(bank, recording.samples(bank)), recording.comesBack) << recording.kind;
}

constexpr Recording wholeRecordings[] = {
    {"LeaderOfTenOnes", randomBytes, [](auto& bank) { return play(dumpSignal(bank, 10), {}); },
     true},
    {"LeaderOfNineOnes", randomBytes, [](auto& bank) { return play(dumpSignal(bank, 9), {}); },
     false},
    // The first half-wave is below zero as the silence before it, and lost.
    {"InvertedLeaderOfElevenOnes", randomBytes,
     [](auto& bank) { return play(dumpSignal(bank, 11), {.inverted = true}); }, true},
    {"InvertedLeaderOfTenOnes", randomBytes,
     [](auto& bank) { return play(dumpSignal(bank, 10), {.inverted = true}); }, false},
    // Four half-waves stand after the data; the last one of the data counts at its end only.
    {"OneHalfWaveAfterTheData", oneBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 3), {}); }, true},
    {"SilenceAfterTheData", oneBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 4), {}); }, false},
    {"SilenceAfterLowTone", zeroBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 4), {}); }, false},
    {"NoiseAfterTheData", oneBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 4), {.noiseInSilence = 0.001}); },
     true},
    {"InvertedSilenceAfterTheData", oneBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 4), {.inverted = true}); }, true},
    {"InvertedWithoutTheLastHalfWave", oneBits,
     [](auto& bank) { return play(withoutEnd(dumpSignal(bank), 5), {.inverted = true}); }, false},
    // Noise is never long; what counts of it passes for more of the leader, or comes too late.
    {"LoudNoiseBeforeAndAfter", randomBytes,
     [](auto& bank) { return playDump(bank, {.noiseInSilence = 0.5}); }, true},
    {"LowToneBefore", randomBytes,
     [](auto& bank) {
       return play(joined(HalfPeriods(400, HalfPeriod::Long), dumpSignal(bank)), {});
     },
     true},
    {"AnotherDumpAfter", randomBytes,
     [](auto& bank) { return play(joined(dumpSignal(bank), dumpSignal(exampleBytes())), {}); },
     true},
    {"EndOfAnotherDumpBefore", randomBytes,
     [](auto& bank) { return play(joined(dumpSignal("end"), dumpSignal(bank)), {}); }, false},
    {"OneSampleClickInALowHalfWave", alternatingBits,
     [](auto& bank) {
       return playDump(bank,
                       {.clickStart = whenPlayed(zeroBitDown + 21), .clickDuration = duration(1)});
     },
     false},
    {"OneSampleDropOutInALowHalfWave", alternatingBits,
     [](auto& bank) {
       return playDump(
           bank, {.dropOutStart = whenPlayed(zeroBitUp + 21), .dropOutDuration = duration(1)});
     },
     false},
    {"Inverted", randomBytes, [](auto& bank) { return playDump(bank, {.inverted = true}); }, true},
    {"FarTooLoud", randomBytes, [](auto& bank) { return playDump(bank, {.level = 100.0}); }, true},
    {"EightBits", exampleBytes, [](auto& bank) { return loadDump<8>(bank, {}); }, true},
    {"SixteenBits", exampleBytes, [](auto& bank) { return loadDump<16>(bank, {}); }, true},
    {"SixteenBitsClipping", exampleBytes,
     [](auto& bank) { return loadDump<16>(bank, {.level = 100.0, .clipLevel = 2.0}); }, true},
    {"TwentyFourBits", exampleBytes, [](auto& bank) { return loadDump<24>(bank, {}); }, true},
    {"TwentyFourBitsVeryQuiet", exampleBytes,
     [](auto& bank) { return loadDump<24>(bank, {.level = 1e-6}); }, true},
    {"StereoOnTheLeft", exampleBytes,
     [](auto& bank) { return loadStereo(dumpSignal(bank), 0.8, 0.0); }, true},
    {"StereoInOppositePhase", exampleBytes,
     [](auto& bank) { return loadStereo(dumpSignal(bank), 0.8, -0.8); }, true},
    {"StereoOnTheRight", exampleBytes,
     [](auto& bank) { return loadStereo(dumpSignal(bank), 0.0, 0.8); }, false},
};

INSTANTIATE_TEST_SUITE_P(Tape, SignalOnTape, testing::ValuesIn(wholeRecordings), nameOf);

/// What an ordinary cassette deck and sound card make of the dump.
TapeConditions ordinaryConditions(double speed, WaveShape shape) {
  return {.shape = shape,
          .speed = speed,
          .wowDepth = 0.002,
          .flutterDepth = 0.001,
          .level = 0.5,
          .lowCut = 30.0,
          .highCut = 10000.0,
          .noise = 0.005,
          .hum = 0.02,
          .dcOffset = 0.01};
}

using OrdinaryCase = std::tuple<std::string (*)(), double, WaveShape>;
class OrdinaryRecording : public testing::TestWithParam<OrdinaryCase> {};

TEST_P(OrdinaryRecording, ComesBack) {
  const auto [bankOf, speed, shape] = GetParam();
  EXPECT_TRUE(comesBack(bankOf(), playDump(bankOf(), ordinaryConditions(speed, shape))))
      << "speed " << speed;
}

INSTANTIATE_TEST_SUITE_P(OfEveryBank, OrdinaryRecording,
                         testing::Combine(testing::Values(randomBytes, zeroBits, oneBits,
                                                          exampleBytes),
                                          testing::Values(0.98, 1.02),
                                          testing::Values(WaveShape::Sine, WaveShape::Square)));

}  // namespace
