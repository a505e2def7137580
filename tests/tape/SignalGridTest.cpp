#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/OpenClasses.h"
#include "support/TapeSimulator.h"

// docs/recordings.md promises what is measured here.

namespace {

using Samples = std::vector<float>;

constexpr double sampleRate = 44100.0;
constexpr int leaderOnes = 20;

std::string randomBytes() { return bytesOf(randomBank(1)); }
std::string zeroBits() { return std::string(960, '\x00'); }
std::string oneBits() { return std::string(960, '\xFF'); }
std::string alternatingBits() { return std::string(960, '\xAA'); }
std::string exampleBytes() { return bankOf(readFile(EXAMPLE_BANK_PATH)); }

/// Whether the reader makes `bank` of the samples. It starts with the opposite of the bits that
/// should come, so that none comes by chance.
bool comesBack(const std::string& bank, Samples samples) {
  OpenTapeDataReader reader;
  for (std::size_t i = 0; i < 8 * bank.size(); ++i) {
    reader.bitStream[i] = (bank[i / 8] >> (7 - i % 8) & 1) == 0 ? 1 : 0;
  }
  reader.readPresetData(samples.data(), static_cast<int>(samples.size()));
  return reader.bank() == bank;
}

/// What the reader is given of a 16-bit recording of `signal`.
Samples play(const HalfPeriods& signal, const TapeConditions& conditions) {
  Samples samples = recordTape(signal, conditions);
  for (float& sample : samples) {
    sample = std::round(sample * 32767.0F) / 65535.5F;
  }
  return samples;
}

/// What the reader is given of a WAV file.
template <int BitsPerSample>
Samples playFile(const HalfPeriods& signal, const TapeConditions& conditions) {
  const TemporaryFolder folder;
  const std::string path = folder / "recording.wav";
  writeFile(path, wavFile({.bitsPerSample = BitsPerSample},
                          pcmBytes({recordTape(signal, conditions)}, BitsPerSample)));
  WavLoader loader;
  EXPECT_TRUE(loader.load(path.c_str()));
  return {loader.getAudioBuffer(), loader.getAudioBuffer() + loader.getNumberOfSamples()};
}

using Chain = Samples (*)(const HalfPeriods& signal, const TapeConditions& conditions);

/// How far one of the conditions may go, the others being as given.
struct Border {
  const char* kind;
  TapeConditions others;
  decltype(&TapeConditions::speed) varied;
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

void expectBorders(const std::vector<Border>& borders) {
  for (const Border& border : borders) {
    SCOPED_TRACE(border.kind);
    EXPECT_TRUE(border.worksAt(border.lastThatWorks)) << border.lastThatWorks;
    EXPECT_FALSE(border.worksAt(border.firstThatFails)) << border.firstThatFails;
  }
}

using Tape = TapeConditions;
constexpr WaveShape square = WaveShape::Square;

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

void expectRecordings(const std::vector<Recording>& recordings) {
  for (const Recording& recording : recordings) {
    const std::string bank = recording.bank();
    HalfPeriods signal = dumpSignal(bank, recording.leader);
    signal.resize(signal.size() - static_cast<std::size_t>(recording.cutOff));
    EXPECT_EQ(comesBack(bank, recording.chain(signal, recording.conditions)), recording.comesBack)
        << recording.kind;
  }
}

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

// A click lifts a half-period below zero, a drop-out lowers one above, for its zeros are not
// positive. The half-period before may gain seven samples and its neighbour lose them. What stands
// off the zero crossing splits a half-period: parts below five samples do not count, a part of five
// is short, and neither part of a low one is long. Short ones too many vanish at the next zero bit.
constexpr struct {
  const char* kind;
  TapeConditions conditions;
  bool comesBack;
} stretches[] = {
    {"Click7SamplesAtLowZeroCrossing", click(zeroBitDown, 7), true},
    {"Click8SamplesAtLowZeroCrossing", click(zeroBitDown, 8), false},
    {"Click1Sample4AfterLowZeroCrossing", click(zeroBitDown + 4, 1), true},
    {"Click1Sample5AfterLowZeroCrossing", click(zeroBitDown + 5, 1), false},
    {"Click1Sample4BeforeLowZeroCrossing", click(zeroBitDown + 37, 1), true},
    {"Click1Sample5BeforeLowZeroCrossing", click(zeroBitDown + 36, 1), false},
    {"Click1SampleInLowHalfPeriod", click(zeroBitDown + 21, 1), false},
    {"Click1SampleInHighHalfPeriod", click(oneBitDown + 5, 1), true},
    {"Click7SamplesAtHighZeroCrossing", click(oneBitDown, 7), true},
    {"Click8SamplesAtHighZeroCrossing", click(oneBitDown, 8), false},
    {"ClickMakesAHighHalfPeriodOf19Samples", click(oneBitDown + 5, 19), true},
    {"ClickMakesAHighHalfPeriodOf20Samples", click(oneBitDown + 5, 20), false},
    {"DropOut7SamplesAtLowZeroCrossing", dropOut(zeroBitUp, 7), true},
    {"DropOut8SamplesAtLowZeroCrossing", dropOut(zeroBitUp, 8), false},
    {"DropOut1SampleInLowHalfPeriod", dropOut(zeroBitUp + 21, 1), false},
    {"DropOut1SampleInHighHalfPeriod", dropOut(oneBitUp + 5, 1), true},
    {"DropOut7SamplesInStartMarker", dropOut(startMarkerUp, 7), true},
    {"DropOut8SamplesInStartMarker", dropOut(startMarkerUp, 8), false},
    // Ten of the twenty ones must be left, and the silence swallows a half-period.
    {"DropOut9OnesOfTheLeader", dropOut(288, 9 * 144), true},
    {"DropOut10OnesOfTheLeader", dropOut(288, 10 * 144), false},
    {"Click9OnesOfTheLeader", click(288, 9 * 144), true},
};

}  // namespace

TEST(SignalBorders, OfSpeed) {
  // A low half-period of 42 samples may become 35 to 49, a high one of 12 only 5 to 19; but that is
  // far more in proportion, so it is always the low tone that fails first.
  expectBorders({
      {"Slow", {}, &Tape::speed, 0.858, 0.856},
      {"Fast", {}, &Tape::speed, 1.198, 1.202},
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
      {"Flutter", {}, &Tape::flutterDepth, 0.14, 0.145},
      {"WowWithFlutter", {.flutterDepth = 0.07}, &Tape::wowDepth, 0.07, 0.075},
      {"WowOfAFastTape", {.speed = 1.1}, &Tape::wowDepth, 0.09, 0.095},
  });
}

TEST(SignalBorders, OfOffsets) {
  // An offset of a quarter of the level makes one half-period of a low sine 49 samples long and the
  // other 35; a square keeps its zero crossings until the offset hides one half-period.
  expectBorders({
      {"DcAbove", {}, &Tape::dcOffset, 0.205, 0.21},
      {"DcBelow", {}, &Tape::dcOffset, -0.205, -0.21},
      {"DcOfAQuietTape", {.level = 0.08}, &Tape::dcOffset, 0.0205, 0.021},
      {"DcAboveSquare", {.shape = square}, &Tape::dcOffset, 0.79, 0.81},
      {"DcBelowSquare", {.shape = square}, &Tape::dcOffset, -0.79, -0.81},
      {"Hum50Hz", {}, &Tape::hum, 0.205, 0.215},
      {"Hum60Hz", {.humFrequency = 60.0}, &Tape::hum, 0.205, 0.215},
      {"Hum50HzSquare", {.shape = square}, &Tape::hum, 0.79, 0.81},
  });
}

TEST(SignalBorders, OfNoise) {
  // Near the zero crossings noise turns the sign back and forth, which splits runs of a few samples
  // off the half-period until it is too short; a low sine crosses zero slowly. Over a square noise
  // must win.
  expectBorders({
      {"Noise", {}, &Tape::noise, 0.05, 0.08},
      {"NoiseSecondSeed", {.noiseSeed = 2}, &Tape::noise, 0.05, 0.08},
      {"NoiseZeroBits", {}, &Tape::noise, 0.05, 0.08, zeroBits},
      {"NoiseOneBits", {}, &Tape::noise, 0.13, 0.24, oneBits},
      {"NoiseOfAQuietTape", {.level = 0.2}, &Tape::noise, 0.0125, 0.02},
      {"NoiseSquare", {.shape = square}, &Tape::noise, 0.15, 0.2},
  });
}

TEST(SignalBorders, OfLevel) {
  // Only signs count. In 16 bits, a sine of less than two steps rounds to zero, which is not
  // positive, for too long; a square needs half a step.
  constexpr double step = 1.0 / 32767;
  expectBorders({
      {"Level", {}, &Tape::level, 2.0 * step, 1.9 * step},
      {"LevelSquare", {.shape = square}, &Tape::level, 0.55 * step, 0.45 * step},
      {"ClipLevel", {}, &Tape::clipLevel, 0.55 * step, 0.45 * step},
  });
}

TEST(SignalBorders, OfFilters) {
  // The filter delays one tone more than the other, so the half-period between them grows or
  // shrinks.
  expectBorders({
      {"LowCut", {}, &Tape::lowCut, 320, 340},
      {"HighCut", {}, &Tape::highCut, 350, 300},
      {"HighCutSquare", {.shape = square}, &Tape::highCut, 475, 450},
  });
}

TEST(SignalBorders, OfEightBits) {
  // Eight bits are read as signed, though they are not: what lies below the zero of 0x80 is
  // positive, the rest negative. Only 0x00, where a converter clips, is not positive, so clipping
  // splits or hides that half-period.
  constexpr double step8Bits = 1.0 / 127;
  constexpr TapeConditions hot{.clipLevel = 2.0};  // clips in the converter
  constexpr TapeConditions hotSquare{.shape = square, .clipLevel = 2.0};
  expectBorders({
      {"Level", {}, &Tape::level, 2.0 * step8Bits, 1.9 * step8Bits, randomBytes, playFile<8>},
      {"Clipping", hot, &Tape::level, 1.0, 1.01, randomBytes, playFile<8>},
      {"ClippingSquare", hotSquare, &Tape::level, 1.0, 1.01, randomBytes, playFile<8>},
      {"Dc", {}, &Tape::dcOffset, 0.195, 0.22, randomBytes, playFile<8>},
  });
}

TEST(SignalBorders, OfWeakStretches) {
  // Where the tones almost vanish for 200 ms, it is again the resolution or the noise that counts.
  constexpr TapeConditions weakStretch{.dropOutStart = 0.5, .dropOutDuration = 0.2};
  constexpr TapeConditions noisyWeakStretch{
      .noise = 0.005, .dropOutStart = 0.5, .dropOutDuration = 0.2};
  expectBorders({
      {"WithoutNoise", weakStretch, &Tape::dropOutLevel, 0.0001, 0.00005},
      {"WithNoise", noisyWeakStretch, &Tape::dropOutLevel, 0.1, 0.02},
  });
}

TEST(SignalBorders, OfOrdinaryRecordings) {
  expectBorders({
      {"Slow", ordinary, &Tape::speed, 0.91, 0.88},
      {"Fast", ordinary, &Tape::speed, 1.13, 1.16},
      {"Noise", ordinary, &Tape::noise, 0.025, 0.05},
  });
}

TEST(WholeRecordings, ComeBackFramedAsTheyShouldBe) {
  constexpr TapeConditions inverted{.inverted = true};
  constexpr TapeConditions faintNoise{.noiseInSilence = 0.001};
  constexpr TapeConditions loudNoise{.noiseInSilence = 0.5};
  // Silence counts as below zero: it swallows the half-period below zero that it adjoins.
  expectRecordings({
      {.kind = "LeaderOfTenOnes", .leader = 10},
      {.kind = "LeaderOfNineOnes", .leader = 9, .comesBack = false},
      {.kind = "InvertedElevenOnes", .conditions = inverted, .leader = 11},
      {.kind = "InvertedTenOnes", .conditions = inverted, .leader = 10, .comesBack = false},
      {.kind = "OneHalfPeriodAfter", .bank = oneBits, .cutOff = 3},
      {.kind = "SilenceAfter", .bank = oneBits, .cutOff = 4, .comesBack = false},
      {.kind = "SilenceAfterLowTone", .bank = zeroBits, .cutOff = 4, .comesBack = false},
      {.kind = "FaintNoiseAfter", .conditions = faintNoise, .bank = oneBits, .cutOff = 4},
      {.kind = "InvertedSilenceAfter", .conditions = inverted, .bank = oneBits, .cutOff = 4},
      {.kind = "CutOff",
       .conditions = faintNoise,
       .bank = zeroBits,
       .cutOff = 5,
       .comesBack = false},
      // Noise has no long half-periods; the short ones pass for a part of the leader, or come too
      // late.
      {.kind = "LoudNoiseBeforeAndAfter", .conditions = loudNoise},
  });
}

TEST(WholeRecordings, ComeBackOverdrivenAndVeryQuiet) {
  constexpr TapeConditions overdriven{.level = 100.0, .clipLevel = 2.0};
  expectRecordings({
      {.kind = "SixteenBits", .conditions = overdriven, .chain = playFile<16>},
      {.kind = "TwentyFourBits", .conditions = overdriven, .chain = playFile<24>},
      {.kind = "TwentyFourBitsVeryQuiet", .conditions = {.level = 1e-6}, .chain = playFile<24>},
  });
}

TEST(WholeRecordings, ComeBackWithSmallClicksAndDropOuts) {
  const std::string bank = alternatingBits();
  for (const auto& [kind, conditions, isSpared] : stretches) {
    EXPECT_EQ(comesBack(bank, play(dumpSignal(bank, leaderOnes), conditions)), isSpared) << kind;
  }
}

TEST(WholeRecordings, ComeBackFromAnOrdinaryDeck) {
  for (const auto bank : {randomBytes, zeroBits, oneBits, exampleBytes}) {
    for (const double speed : {0.98, 1.02}) {
      for (const WaveShape shape : {WaveShape::Sine, WaveShape::Square}) {
        TapeConditions conditions = ordinary;
        conditions.speed = speed;
        conditions.shape = shape;
        EXPECT_TRUE(comesBack(bank(), play(dumpSignal(bank(), leaderOnes), conditions)))
            << "speed " << speed << (shape == square ? ", square" : ", sine");
      }
    }
  }
}

TEST(WholeRecordings, ComeBackAmongOtherSounds) {
  const auto playJoined = [](HalfPeriods first, const HalfPeriods& second) {
    first.insert(first.end(), second.begin(), second.end());
    return play(first, {});
  };
  const HalfPeriods dump = dumpSignal(randomBytes());
  const HalfPeriods lowTone(400, HalfPeriod::Long);
  EXPECT_TRUE(comesBack(randomBytes(), playJoined(lowTone, dump)));
  EXPECT_TRUE(comesBack(randomBytes(), playJoined(dump, dumpSignal(exampleBytes()))));
  EXPECT_FALSE(comesBack(randomBytes(), playJoined(dumpSignal("short"), dump)));
}
