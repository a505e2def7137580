#include <gtest/gtest.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"

namespace {

using ::testing::_;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Values;

const std::string zero(4, '\0');
const std::string plusOne("\x01\0\0\0", 4);
const std::string minusOne("\xFF\xFF\xFF\xFF", 4);
const std::string highest("\xFF\xFF\xFF\x7F", 4);
const std::string lowest("\0\0\0\x80", 4);

/// The report of the failed `assertion` by the loader, and of no other.
::testing::Matcher<std::string> reportOf(const std::string& assertion) {
  const std::string other = assertion == "v <= 1.0" ? "v >= -1.0" : "v <= 1.0";
  return AllOf(HasSubstr(assertion), HasSubstr("load"), HasSubstr("WavLoader.cpp"),
               Not(HasSubstr(other)));
}

struct LoudRecording {
  std::string name;
  int channels;
  std::string samples;  // 32 bits wide
  std::string assertion;
};

void PrintTo(const LoudRecording& recording, std::ostream* stream) { *stream << recording.name; }

class RangeAssertion : public ConverterTest, public ::testing::WithParamInterface<LoudRecording> {
 protected:
  RangeAssertion() {
    give("x.wav",
         wavFile({.numChannels = GetParam().channels, .bitsPerSample = 32}, GetParam().samples));
  }

  const Outcome aborted{.output = "reading tape data..\n",
                        .signal = SIGABRT,
                        .errors = reportOf(GetParam().assertion)};
};

TEST_P(RangeAssertion, EndsAConversion) { expectOutcome({"x.wav", "out"}, aborted); }

TEST_P(RangeAssertion, EndsARevisionConversion) { expectOutcome({"x.wav", "out", "-R1"}, aborted); }

TEST_P(RangeAssertion, EndsAFormatCheck) {
  expectOutcome({"x.wav", "out", "-CheckWavFormat"}, aborted);
}

INSTANTIATE_TEST_SUITE_P(
    Samples, RangeAssertion,
    Values(LoudRecording{"Positive", 1, plusOne, "v <= 1.0"},
           LoudRecording{"Negative", 1, minusOne, "v >= -1.0"},
           LoudRecording{"Highest", 1, highest, "v <= 1.0"},
           LoudRecording{"Lowest", 1, lowest, "v >= -1.0"},
           LoudRecording{"AfterSilence", 1, zero + zero + minusOne + plusOne, "v >= -1.0"},
           LoudRecording{"OnTheRightChannel", 2, zero + zero + zero + plusOne, "v <= 1.0"},
           LoudRecording{"RightChannelBeforeTheNextFrame", 2, zero + plusOne + minusOne + zero,
                         "v <= 1.0"},
           LoudRecording{"LeftChannelBeforeTheRight", 2, minusOne + plusOne, "v >= -1.0"}),
    nameOf);

class QuietRecording : public ConverterTest {
 protected:
  const Outcome allZero{.output = "reading tape data..\n",
                        .written = transferFiles("out", std::string(960, '\0'))};
};

TEST_F(QuietRecording, Of32BitsIsConverted) {
  give("x.wav", wavFile({.bitsPerSample = 32}, std::string(4 * 1000, '\0')));
  expectOutcome({"x.wav", "out"}, allZero);
}

TEST_F(QuietRecording, MayHaveOtherBytesInAPartialLastFrame) {
  give("x.wav", wavFile({.numChannels = 2, .bitsPerSample = 32}, std::string(80, '\0') + plusOne));
  expectOutcome({"x.wav", "out"}, allZero);
}

TEST_F(QuietRecording, MayHaveOtherBytesAfterTheData) {
  give("x.wav", wavFile({.bitsPerSample = 32, .chunksAfterData = wavChunk("LIST", "INFO")},
                        std::string(80, '\0')));
  expectOutcome({"x.wav", "out"}, allZero);
}

using Arguments = std::vector<std::string>;

class BlockAlignOfZero : public ConverterTest, public ::testing::WithParamInterface<Arguments> {};

TEST_P(BlockAlignOfZero, EndsTheRunByAnArithmeticFault) {
  give("x.wav", wavFile({.blockAlign = 0}, std::string(80, '\0')));
  expectOutcome(GetParam(), {.output = "reading tape data..\n", .signal = SIGFPE, .errors = _});
}

INSTANTIATE_TEST_SUITE_P(Runs, BlockAlignOfZero,
                         Values(Arguments{"x.wav", "out"}, Arguments{"x.wav", "out", "-R1"},
                                Arguments{"x.wav", "out", "-CheckWavFormat"}));

}  // namespace
