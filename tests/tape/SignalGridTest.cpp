#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "audio/WavLoader.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/TapeSimulator.h"
#include "tape/TapeDataReader.h"

// docs/recordings.md promises what is measured here.

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

/// What the decoder is given of a WAV file.
Samples loadFile(const WavFormat& format, const std::vector<Samples>& channels) {
  const TemporaryFolder folder;
  const std::string path = folder / "recording.wav";
  writeFile(path, wavFile(format, pcmBytes(channels, format.bitsPerSample)));
  WavLoader loader;
  EXPECT_TRUE(loader.load(path.c_str()));
  return {loader.getAudioBuffer(), loader.getAudioBuffer() + loader.getNumberOfSamples()};
}

template <int BitsPerSample>
Samples playFile(const HalfPeriods& signal, const TapeConditions& conditions) {
  return loadFile({.bitsPerSample = BitsPerSample}, {recordTape(signal, conditions)});
}

using Chain = Samples (*)(const HalfPeriods& signal, const TapeConditions& conditions);

/// How far one of the conditions may go, the others being as given.
struct Border {
  const char* kind;
  TapeConditions others;
  double TapeConditions::*varied;
  double lastThatWorks;
  double firstThatFails;
  std::string (*bank)() = randomBytes;
  Chain chain = play;

  bool worksAt(double value) const {
    TapeConditions conditions = others;
    conditions.*varied = value;
    return comesBack(bank(), chain(dumpSignal(bank(), leaderOnes), conditions));
  }
};

void PrintTo(const Border& border, std::ostream* out) { *out << border.kind; }

class SignalBorder : public testing::TestWithParam<Border> {};

TEST_P(SignalBorder, LiesBetweenTheLastThatWorksAndTheFirstThatFails) {
  const Border& border = GetParam();
  EXPECT_TRUE(border.worksAt(border.lastThatWorks)) << border.kind << " " << border.lastThatWorks;
  EXPECT_FALSE(border.worksAt(border.firstThatFails))
      << border.kind << " " << border.firstThatFails;
}

const auto nameOf = [](const auto& info) { return std::string(info.param.kind); };

using Tape = TapeConditions;
constexpr WaveShape square = WaveShape::Square;

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
    // The low tone is that of the start marker alone.
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

// Near the zero crossings noise turns the sign back and forth, which splits runs of a few samples
// off the half-wave until it is too short; a low sine crosses zero slowly. Over a square noise must
// win.
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

// Eight bits are read as signed, though they are not: what lies below the zero of 0x80 is positive,
// the rest negative. Only 0x00, where a converter clips, is not positive, so clipping splits or
// hides that half-wave.
constexpr double step8Bits = 1.0 / 127;
constexpr TapeConditions hot{.clipLevel = 2.0};  // clips in the converter
constexpr TapeConditions hotSquare{.shape = square, .clipLevel = 2.0};
constexpr Border eightBitBorders[] = {
    {"Level", {}, &Tape::level, 2.0 * step8Bits, 1.9 * step8Bits, randomBytes, playFile<8>},
    {"Clipping", hot, &Tape::level, 1.0, 1.01, randomBytes, playFile<8>},
    {"ClippingSquare", hotSquare, &Tape::level, 1.0, 1.01, randomBytes, playFile<8>},
    {"Dc", {}, &Tape::dcOffset, 0.195, 0.22, randomBytes, playFile<8>},
};

// Where the tones almost vanish for 200 ms, it is again the resolution or the noise that counts.
constexpr TapeConditions weakStretch{.dropOutStart = 0.5, .dropOutDuration = 0.2};
constexpr TapeConditions noisyWeakStretch{
    .noise = 0.005, .dropOutStart = 0.5, .dropOutDuration = 0.2};
constexpr Border weakStretchBorders[] = {
    {"WithoutNoise", weakStretch, &Tape::dropOutLevel, 0.0001, 0.00005},
    {"WithNoise", noisyWeakStretch, &Tape::dropOutLevel, 0.1, 0.02},
};

/// What an ordinary cassette deck and sound card make of the dump.
constexpr TapeConditions ordinary{.speed = 1.02,
                                  .wowDepth = 0.002,
                                  .flutterDepth = 0.001,
                                  .level = 0.5,
                                  .lowCut = 30.0,
                                  .highCut = 10000.0,
                                  .noise = 0.005,
                                  .hum = 0.02,
                                  .dcOffset = 0.01};

constexpr Border ordinaryBorders[] = {
    {"Slow", ordinary, &Tape::speed, 0.91, 0.88},
    {"Fast", ordinary, &Tape::speed, 1.13, 1.16},
    {"Noise", ordinary, &Tape::noise, 0.025, 0.05},
};

INSTANTIATE_TEST_SUITE_P(Speed, SignalBorder, testing::ValuesIn(speedBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Offset, SignalBorder, testing::ValuesIn(offsetBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Noise, SignalBorder, testing::ValuesIn(noiseBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Level, SignalBorder, testing::ValuesIn(levelBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Filter, SignalBorder, testing::ValuesIn(filterBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(WeakStretch, SignalBorder, testing::ValuesIn(weakStretchBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(EightBit, SignalBorder, testing::ValuesIn(eightBitBorders), nameOf);
INSTANTIATE_TEST_SUITE_P(Ordinary, SignalBorder, testing::ValuesIn(ordinaryBorders), nameOf);

/// A recording as a whole, and whether its bank comes back.
struct Recording {
  const char* kind;
  TapeConditions conditions = {};
  std::string (*bank)() = randomBytes;
  int leader = leaderOnes;
  int cutOff = 0;  // half-periods at the end, of which four follow the data
  Chain chain = play;
  bool comesBack = true;
};

void PrintTo(const Recording& recording, std::ostream* out) { *out << recording.kind; }

class WholeRecording : public testing::TestWithParam<Recording> {};

TEST_P(WholeRecording, ComesBackOrDoesNot) {
  const Recording& recording = GetParam();
  const std::string bank = recording.bank();
  HalfPeriods signal = dumpSignal(bank, recording.leader);
  signal.resize(signal.size() - static_cast<std::size_t>(recording.cutOff));
  EXPECT_EQ(comesBack(bank, recording.chain(signal, recording.conditions)), recording.comesBack)
      << recording.kind;
}

constexpr TapeConditions inverted{.inverted = true};
constexpr TapeConditions faintNoise{.noiseInSilence = 0.001};
constexpr TapeConditions loudNoise{.noiseInSilence = 0.5};

// Silence counts as below zero: it swallows the half-wave below zero that it adjoins.
constexpr Recording framings[] = {
    {.kind = "LeaderOfTenOnes", .leader = 10},
    {.kind = "LeaderOfNineOnes", .leader = 9, .comesBack = false},
    {.kind = "InvertedElevenOnes", .conditions = inverted, .leader = 11},
    {.kind = "InvertedTenOnes", .conditions = inverted, .leader = 10, .comesBack = false},
    {.kind = "OneHalfWaveAfter", .bank = oneBits, .cutOff = 3},
    {.kind = "SilenceAfter", .bank = oneBits, .cutOff = 4, .comesBack = false},
    {.kind = "SilenceAfterLowTone", .bank = zeroBits, .cutOff = 4, .comesBack = false},
    {.kind = "FaintNoiseAfter", .conditions = faintNoise, .bank = oneBits, .cutOff = 4},
    {.kind = "InvertedSilenceAfter", .conditions = inverted, .bank = oneBits, .cutOff = 4},
    {.kind = "CutOff", .conditions = faintNoise, .bank = zeroBits, .cutOff = 5, .comesBack = false},
    // Noise has no long half-waves; the short ones pass for a part of the leader, or come too late.
    {.kind = "LoudNoiseBeforeAndAfter", .conditions = loudNoise},
};

constexpr TapeConditions overdriven{.level = 100.0, .clipLevel = 2.0};
constexpr TapeConditions veryQuiet{.level = 1e-6};

constexpr Recording files[] = {
    {.kind = "EightBits", .bank = exampleBytes, .chain = playFile<8>},
    {.kind = "SixteenBits", .bank = exampleBytes, .chain = playFile<16>},
    {.kind = "SixteenBitsOverdriven", .conditions = overdriven, .chain = playFile<16>},
    {.kind = "TwentyFourBits", .bank = exampleBytes, .chain = playFile<24>},
    {.kind = "TwentyFourBitsOverdriven", .conditions = overdriven, .chain = playFile<24>},
    {.kind = "TwentyFourBitsVeryQuiet", .conditions = veryQuiet, .chain = playFile<24>},
};

constexpr double duration(double samples) { return samples / sampleRate; }

/// When a sample of the signal is played, at nominal speed: the silence before lasts 0.25 s.
constexpr double whenPlayed(int sample) { return 0.25 + duration(sample - 0.25); }

constexpr TapeConditions click(int start, int samples) {
  return {.clickStart = whenPlayed(start), .clickDuration = duration(samples)};
}

constexpr TapeConditions dropOut(int start, int samples) {
  return {.dropOutStart = whenPlayed(start), .dropOutDuration = duration(samples)};
}

// Where samples stand in a dump of alternating bits: after the leader and the start marker the data
// begin with a one bit, up and down every 12 samples, and a zero bit, every 42.
constexpr int startMarkerUp = leaderOnes * 144;
constexpr int oneBitUp = startMarkerUp + 168;
constexpr int oneBitDown = oneBitUp + 12;
constexpr int zeroBitUp = oneBitUp + 144;
constexpr int zeroBitDown = zeroBitUp + 42;

struct Stretch {
  const char* kind;
  TapeConditions conditions;
  bool comesBack;
};

void PrintTo(const Stretch& stretch, std::ostream* out) { *out << stretch.kind; }

class ClickOrDropOut : public testing::TestWithParam<Stretch> {};

TEST_P(ClickOrDropOut, SparesTheBankOrDoesNot) {
  const Stretch& stretch = GetParam();
  const std::string bank = alternatingBits();
  const Samples samples = play(dumpSignal(bank, leaderOnes), stretch.conditions);
  EXPECT_EQ(comesBack(bank, samples), stretch.comesBack) << stretch.kind;
}

// A click lifts a half-wave below zero, a drop-out lowers one above, for its zeros are not
// positive. The half-wave before may gain seven samples and its neighbour lose them. What stands
// off the zero crossing splits a half-wave: parts below five samples do not count, a part of five
// is short, and neither part of a low one is long. Short ones too many vanish at the next zero bit.
constexpr Stretch stretches[] = {
    {"Click7SamplesAtLowZeroCrossing", click(zeroBitDown, 7), true},
    {"Click8SamplesAtLowZeroCrossing", click(zeroBitDown, 8), false},
    {"Click1Sample4AfterLowZeroCrossing", click(zeroBitDown + 4, 1), true},
    {"Click1Sample5AfterLowZeroCrossing", click(zeroBitDown + 5, 1), false},
    {"Click1Sample4BeforeLowZeroCrossing", click(zeroBitDown + 37, 1), true},
    {"Click1Sample5BeforeLowZeroCrossing", click(zeroBitDown + 36, 1), false},
    {"Click1SampleInLowHalfWave", click(zeroBitDown + 21, 1), false},
    {"Click1SampleInHighHalfWave", click(oneBitDown + 5, 1), true},
    {"Click7SamplesAtHighZeroCrossing", click(oneBitDown, 7), true},
    {"Click8SamplesAtHighZeroCrossing", click(oneBitDown, 8), false},
    {"ClickMakesAHighHalfWaveOf19Samples", click(oneBitDown + 5, 19), true},
    {"ClickMakesAHighHalfWaveOf20Samples", click(oneBitDown + 5, 20), false},
    {"DropOut7SamplesAtLowZeroCrossing", dropOut(zeroBitUp, 7), true},
    {"DropOut8SamplesAtLowZeroCrossing", dropOut(zeroBitUp, 8), false},
    {"DropOut1SampleInLowHalfWave", dropOut(zeroBitUp + 21, 1), false},
    {"DropOut1SampleInHighHalfWave", dropOut(oneBitUp + 5, 1), true},
    {"DropOut7SamplesInStartMarker", dropOut(startMarkerUp, 7), true},
    {"DropOut8SamplesInStartMarker", dropOut(startMarkerUp, 8), false},
    // Ten of the twenty ones must be left, and the silence swallows a half-wave.
    {"DropOut9OnesOfTheLeader", dropOut(288, 9 * 144), true},
    {"DropOut10OnesOfTheLeader", dropOut(288, 10 * 144), false},
    {"Click9OnesOfTheLeader", click(288, 9 * 144), true},
};

INSTANTIATE_TEST_SUITE_P(Framing, WholeRecording, testing::ValuesIn(framings), nameOf);
INSTANTIATE_TEST_SUITE_P(File, WholeRecording, testing::ValuesIn(files), nameOf);
INSTANTIATE_TEST_SUITE_P(Tape, ClickOrDropOut, testing::ValuesIn(stretches), nameOf);

struct NamedBank {
  const char* kind;
  std::string (*bytes)();
};

void PrintTo(const NamedBank& bank, std::ostream* out) { *out << bank.kind; }

class OrdinaryRecording : public testing::TestWithParam<NamedBank> {};

TEST_P(OrdinaryRecording, ComesBack) {
  const std::string bank = GetParam().bytes();
  const HalfPeriods signal = dumpSignal(bank, leaderOnes);
  for (const double speed : {0.98, 1.02}) {
    for (const WaveShape shape : {WaveShape::Sine, WaveShape::Square}) {
      TapeConditions conditions = ordinary;
      conditions.speed = speed;
      conditions.shape = shape;
      EXPECT_TRUE(comesBack(bank, play(signal, conditions)))
          << GetParam().kind << ", speed " << speed << (shape == square ? ", square" : ", sine");
    }
  }
}

constexpr NamedBank banks[] = {
    {"Random", randomBytes}, {"Zeros", zeroBits}, {"Ones", oneBits}, {"Example", exampleBytes}};

INSTANTIATE_TEST_SUITE_P(OfBank, OrdinaryRecording, testing::ValuesIn(banks), nameOf);

Samples playJoined(HalfPeriods first, const HalfPeriods& second) {
  first.insert(first.end(), second.begin(), second.end());
  return play(first, {});
}

TEST(DumpAmongOtherSounds, ComesBackAfterALowTone) {
  const HalfPeriods lowTone(400, HalfPeriod::Long);
  EXPECT_TRUE(comesBack(randomBytes(), playJoined(lowTone, dumpSignal(randomBytes()))));
}

TEST(DumpAmongOtherSounds, ComesBackBeforeAnotherDump) {
  const HalfPeriods other = dumpSignal(exampleBytes());
  EXPECT_TRUE(comesBack(randomBytes(), playJoined(dumpSignal(randomBytes()), other)));
}

TEST(DumpAmongOtherSounds, IsLostAfterTheBeginningOfAnotherDump) {
  const HalfPeriods other = dumpSignal("short");
  EXPECT_FALSE(comesBack(randomBytes(), playJoined(other, dumpSignal(randomBytes()))));
}

Samples loadStereo(const std::string& bank, double leftLevel, double rightLevel) {
  const HalfPeriods signal = dumpSignal(bank, leaderOnes);
  return loadFile({.numChannels = 2}, {recordTape(signal, {.level = leftLevel}),
                                       recordTape(signal, {.level = rightLevel})});
}

TEST(StereoFile, IsReadOnTheLeft) {
  EXPECT_TRUE(comesBack(exampleBytes(), loadStereo(exampleBytes(), 0.8, 0.0)));
}

TEST(StereoFile, IsReadOnTheLeftWhateverTheRightDoes) {
  EXPECT_TRUE(comesBack(exampleBytes(), loadStereo(exampleBytes(), 0.8, -0.8)));
}

TEST(StereoFile, IsNotReadOnTheRight) {
  EXPECT_FALSE(comesBack(exampleBytes(), loadStereo(exampleBytes(), 0.0, 0.8)));
}

}  // namespace
