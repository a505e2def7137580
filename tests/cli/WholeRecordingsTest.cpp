#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/TapeSimulator.h"

namespace {

using ::testing::Bool;
using ::testing::Combine;
using ::testing::Values;

const std::string tape = "reading tape data..\n";
const std::string converting = "converting to Revision 3..\n";

const std::string bank = bytesOf(randomBank(4));

/// A bank that begins with `records` and goes on with zeros.
std::string filledUp(const std::string& records) {
  return records + std::string(960 - records.size(), '\0');
}

constexpr int usualLeader = 300;  // one bits

std::vector<float> noise(std::size_t samples) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> anyLevel(-1.0F, 1.0F);
  std::vector<float> recording(samples);
  for (float& sample : recording) {
    sample = anyLevel(random);
  }
  return recording;
}

/// The file of the recording of a dump of `bytes`, in stereo with noise on the right.
std::string recordingOf(std::string_view bytes, int leaderOnes, const TapeConditions& conditions,
                        const WavFormat& format) {
  std::vector<std::vector<float>> channels{recordTape(dumpSignal(bytes, leaderOnes), conditions)};
  if (format.numChannels == 2) {
    channels.push_back(noise(channels.front().size()));
  }
  return wavFile(format, pcmBytes(channels, format.bitsPerSample));
}

/// Widths in bits, channels, polarities.
class WidthsAndChannels : public ConverterTest,
                          public ::testing::WithParamInterface<std::tuple<int, int, bool>> {};

TEST_P(WidthsAndChannels, GiveTheBankBack) {
  const auto& [bits, channels, inverted] = GetParam();
  give("x.wav", recordingOf(bank, usualLeader, {.inverted = inverted},
                            {.numChannels = channels, .bitsPerSample = bits}));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", bank)});
}

INSTANTIATE_TEST_SUITE_P(Grid, WidthsAndChannels, Combine(Values(8, 16, 24), Values(1, 2), Bool()));

struct Recording {
  std::string name;
  WavFormat format;
  std::string bytesAfterTheBank;
  std::vector<std::string> options;
};

void PrintTo(const Recording& recording, std::ostream* stream) { *stream << recording.name; }

class WholeRecordings : public ConverterTest, public ::testing::WithParamInterface<Recording> {};

TEST_P(WholeRecordings, GiveTheBankBack) {
  const auto& [name, format, bytesAfterTheBank, options] = GetParam();
  give("x.wav", recordingOf(bank + bytesAfterTheBank, usualLeader, {}, format));
  std::vector<std::string> arguments{"x.wav", "out"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  expectOutcome(arguments,
                {.output = options.empty() ? tape : tape + converting,
                 .written = transferFiles("out", options.empty() ? bank : asRevision3(bank))});
}

const std::string evenJunk = wavChunk("JUNK", std::string(28, 'j'));
const std::string oddJunk = wavChunk("JUNK", std::string(27, 'j'));
const std::string list = wavChunk("LIST", "INFOISFT\x05\0\0\0tape\0\0");
const std::string furtherData = wavChunk("data", std::string(9999, '\x7F'));

INSTANTIATE_TEST_SUITE_P(
    Files, WholeRecordings,
    Values(Recording{"Revision1", {}, "", {"-R1"}},
           Recording{"Revision2Stereo24Bits", {.numChannels = 2, .bitsPerSample = 24}, "", {"-R2"}},
           Recording{"EmptyJunkChunk", {.chunksBeforeFormat = wavChunk("JUNK", "")}, "", {}},
           Recording{"EvenJunkChunk", {.chunksBeforeFormat = evenJunk}, "", {}},
           Recording{"OddJunkChunk", {.chunksBeforeFormat = oddJunk}, "", {}},
           Recording{"ChunkAfterTheData", {.chunksAfterData = list}, "", {}},
           Recording{"DataAfterTheData", {.chunksAfterData = furtherData}, "", {}},
           Recording{"JunkBeforeAndChunkAfter",
                     {.numChannels = 2, .chunksBeforeFormat = oddJunk, .chunksAfterData = list},
                     "",
                     {"-R1"}},
           Recording{"EightBitsAfterTheBank", {}, "\xA5", {}},
           Recording{"ManyBitsAfterTheBank", {}, bytesOf(randomBank(6)).substr(0, 100), {}}),
    nameOf);

/// A dump with a leader of `ones` one bits.
struct Leader {
  std::string name;
  int ones;
  TapeConditions conditions;
  bool isFound;
};

void PrintTo(const Leader& leader, std::ostream* stream) { *stream << leader.name; }

class Leaders : public ConverterTest, public ::testing::WithParamInterface<Leader> {};

TEST_P(Leaders, AreFoundFromTenOneBitsOn) {
  // A missed leader is looked for in the data: its first ten ones in a row are those of the three
  // bytes after the hundredth, and the last bit of these is then the start marker.
  const std::string tail = bytesOf(randomBank(7)).substr(0, 97);
  const std::string recorded = std::string(100, '\x55') + "\xFF\xFF\xFE" + tail;
  const std::string decoded = filledUp(GetParam().isFound ? recorded : tail);
  give("x.wav", recordingOf(recorded, GetParam().ones, GetParam().conditions, {}));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", decoded)});
}

INSTANTIATE_TEST_SUITE_P(
    OneBits, Leaders,
    Values(Leader{"Ten", 10, {}, true}, Leader{"Nine", 9, {}, false}, Leader{"None", 0, {}, false},
           // The first half-period on the side of the silence is one with it and does not count.
           Leader{"TenInverted", 10, {.inverted = true}, false},
           Leader{"ElevenInverted", 11, {.inverted = true}, true},
           Leader{"TenWithoutSilence", 10, {.silence = 0.0}, true},
           Leader{"TenInvertedWithoutSilence", 10, {.inverted = true, .silence = 0.0}, true}),
    nameOf);

using LeaderInPieces = ConverterTest;

TEST_F(LeaderInPieces, StartsAnewAfterAZeroBit) {
  HalfPeriods signal;
  appendBytes(signal, std::string("\xFF\x80", 2));  // nine ones and seven zeros
  const std::string records = bank.substr(0, 48);
  const HalfPeriods dump = dumpSignal(records, 10);
  signal.insert(signal.end(), dump.begin(), dump.end());
  give("x.wav", wavFile({}, pcmBytes({recordTape(signal)}, 16)));
  expectOutcome({"x.wav", "out"},
                {.output = tape, .written = transferFiles("out", filledUp(records))});
}

TEST_F(LeaderInPieces, GivesZerosIfTenOnesNeverComeInARow) {
  give("x.wav", recordingOf(std::string(96, '\x55'), 9, {}, {}));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", filledUp(""))});
}

/// A recording that ends, or counts no further, with the first half of the bank.
class CutRecording : public ConverterTest {
 protected:
  CutRecording() {
    recorded[479] |= '\x01';
    firstHalf = filledUp(recorded.substr(0, 480));
    lastBitLost = firstHalf;
    lastBitLost[479] &= '\xFE';
  }

  std::string recordingAfter(const std::string& chunksBeforeFormat) const {
    return recordingOf(recorded, usualLeader, {}, {.chunksBeforeFormat = chunksBeforeFormat});
  }

  /// 16-bit frames from the start of the recording to the end of the first half's last half-period.
  std::size_t framesOfFirstHalf() const {
    const std::size_t oneBit = 12 * 12;
    const std::size_t zeroBit = 4 * 42;
    std::size_t frames = 11025 + usualLeader * oneBit + zeroBit;
    for (std::size_t bit = 0; bit < 480 * 8; ++bit) {
      frames += (recorded[bit / 8] >> (7 - bit % 8) & 1) != 0 ? oneBit : zeroBit;
    }
    return frames;
  }

  std::string recorded = bank.substr(0, 500);
  std::string firstHalf;    // all of it decoded
  std::string lastBitLost;  // all but its last bit, which is a one
};

// A half-period counts with the first sample after it.
TEST_F(CutRecording, GivesWhatStandsInTheFile) {
  const std::size_t size = 44 + 2 * (framesOfFirstHalf() + 1);
  give("x.wav", recordingAfter("").substr(0, size));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", firstHalf)});
}

TEST_F(CutRecording, DropsAPartialFrame) {
  const std::size_t size = 44 + 2 * (framesOfFirstHalf() + 1) - 1;
  give("x.wav", recordingAfter("").substr(0, size));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", lastBitLost)});
}

TEST_F(CutRecording, IsConvertedAsFarAsItReaches) {
  give("x.wav", recordingAfter("").substr(0, 44 + 2 * (framesOfFirstHalf() + 1)));
  expectOutcome({"x.wav", "out", "-R1"}, {.output = tape + converting,
                                          .written = transferFiles("out", asRevision3(firstHalf))});
}

TEST_F(CutRecording, GivesTheFirst16MebibytesOfALongFile) {
  const std::size_t headers = 12 + 8 + 24 + 8;  // with that of the JUNK chunk
  const std::size_t junk = 16777216 - headers - 2 * (framesOfFirstHalf() + 1);
  give("x.wav", recordingAfter(wavChunk("JUNK", std::string(junk, '\0'))));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", firstHalf)});
}

TEST_F(CutRecording, GivesNothingBeyondTheFirst16MebibytesOfALongFile) {
  const std::size_t headers = 12 + 8 + 24 + 8;  // with that of the JUNK chunk
  const std::size_t junk = 16777216 - headers - 2 * framesOfFirstHalf();
  give("x.wav", recordingAfter(wavChunk("JUNK", std::string(junk, '\0'))));
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", lastBitLost)});
}

class ExampleBank : public ConverterTest {
 protected:
  /// The bank of the example file: its nibbles at their offsets.
  static std::string exampleBank() {
    const std::string file = readFile(EXAMPLE_BANK_PATH);
    std::string records;
    for (std::size_t preset = 0; preset < 40; ++preset) {
      for (std::size_t byte = 0; byte < 24; ++byte) {
        const std::size_t low = 53 * preset + 4 + 2 * byte;
        records += static_cast<char>(file.at(low) | file.at(low + 1) << 4);
      }
    }
    return records;
  }
};

TEST_F(ExampleBank, ComesBackFromTape) {
  const ProcessResult recorder =
      run({SYSEX_TO_TAPE_PATH, EXAMPLE_BANK_PATH, folder / "recording.wav"});
  ASSERT_EQ(recorder.status, 0) << recorder.errors;
  expectOutcome({"recording.wav", "out"},
                {.output = tape, .written = transferFiles("out", exampleBank())});
}

TEST_F(ExampleBank, IsReadFromItsFile) {
  expectOutcome({EXAMPLE_BANK_PATH, "out"}, {.output = "reading sysex data..\n",
                                             .written = transferFiles("out", exampleBank())});
}

}  // namespace
