#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/DumpSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using namespace messages;

const std::string bank = bytesOf(randomBank(4));

TEST_F(ConverterTest, ReadsTheBankFromRecordingsOfItsKinds) {
  const WavFormat formats[] = {
      {.bitsPerSample = 8},
      {.bitsPerSample = 16},
      {.bitsPerSample = 24},
      {.numChannels = 2, .bitsPerSample = 24},
      {.chunksBeforeFormat = wavChunk("JUNK", std::string(27, 'j'))},
      {.chunksAfterData = wavChunk("LIST", "INFOISFT\x05\0\0\0tape\0\0")},
  };
  for (const WavFormat& format : formats) {
    SCOPED_TRACE(&format - formats);
    std::vector<std::vector<float>> channels{recordTape(dumpSignal(bank))};
    if (format.numChannels == 2) {
      channels.emplace_back(channels.front().rbegin(), channels.front().rend());
    }
    give("x.wav", wavFile(format, pcmBytes(channels, format.bitsPerSample)));
    expectOutcome("x.wav out", {.output = tape, .written = transferFiles("out", bank)});
    emptyFolder("out");
  }
}

TEST_F(ConverterTest, EndsARecordingWithTheFileAndAfter16Mebibytes) {
  const std::string recording = tapeRecording(bank.substr(0, 10 * 24));
  const std::string size("\0\0\0\x01", 4);  // 2^24
  const std::string junk = "JUNK" + size + std::string(16777216, 'j');
  give("cut.wav", recording.substr(0, 100'000));
  give("late.wav", recording.substr(0, 12) + junk + recording.substr(12));
  ASSERT_EQ(runProgram("cut.wav out").output, tape);
  EXPECT_EQ(readFile(folder / "out/preset1-1.txt"), expectedTransferText(bank.substr(0, 24)));
  expectOutcome("late.wav out", {.output = tape, .written = transferFiles("out", filledUp(""))});
}

TEST_F(ConverterTest, ReadsTheExampleBankAndItsRecording) {
  const ProcessResult recorder =
      run({SYSEX_TO_TAPE_PATH, EXAMPLE_BANK_PATH, folder / "recording.wav"});
  ASSERT_EQ(recorder.status, 0) << recorder.errors;
  const std::string example = bankOf(readFile(EXAMPLE_BANK_PATH));
  giveFolder("other");
  expectOutcome("recording.wav out", {.output = tape, .written = transferFiles("out", example)});
  expectOutcome({EXAMPLE_BANK_PATH, "other"},
                {.output = sysex, .written = transferFiles("other", example)});
}

}  // namespace
