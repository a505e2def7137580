#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

const std::string bank = bytesOf(randomBank(8));
const std::string sysex = sysexFile(bank);

const std::string& recording() {
  static const std::string file = tapeRecording(bank, 300);
  return file;
}

std::string sysexWithByte(std::size_t position, char byte) {
  std::string file = sysex;
  file[position] = byte;
  return file;
}

class SysexToTapeTest : public ProgramTest {
 protected:
  SysexToTapeTest() : ProgramTest(SYSEX_TO_TAPE_PATH) { give("bank.syx", sysex); }

  void expectFailure(const Arguments& arguments, const std::string& message) {
    expectOutcome(arguments, {.status = 1, .errors = "Kestrel7SysexToTape: " + message + "\n"});
  }
};

TEST_F(SysexToTapeTest, RecordsACompleteBank) {
  const std::string banks[] = {
      sysex, sysex.substr(0, 2119),      // without its last byte, which is never read
      sysex + std::string(300, '\xFF'),  // nor is what follows
      sysexWithByte(1, '\x12'),          // header bytes may be any
  };
  for (const std::string& file : banks) {
    SCOPED_TRACE(&file - banks);
    give("bank.syx", file);
    expectOutcome("bank.syx out/x.wav", {.written = {{"out/x.wav", recording()}}});
    emptyFolder("out");
  }
}

TEST_F(SysexToTapeTest, RefusesAnyOther) {
  const std::string files[] = {
      "",
      sysex.substr(0, 2118),
      sysex.substr(0, 20 * 53),  // a preset has 53 bytes
      sysexWithByte(0, '\xFF'),
      sysexWithByte(1000, '\xFF'),
      sysexWithByte(2118, '\xFF'),
      sysexWithByte(0, '\x12'),
      sysexWithByte(39 * 53, '\x12'),
      sysexWithByte(52, '\x12'),
      sysexWithByte(2119, '\x12'),
      std::string(2120, '\0'),
      "\xF0" + sysex,
  };
  for (const std::string& file : files) {
    SCOPED_TRACE(&file - files);
    give("in.syx", file);
    expectFailure("in.syx out/x.wav", "in.syx is not a complete SysEx bank of 40 presets");
  }
}

const std::string usage = "usage: Kestrel7SysexToTape bank.syx recording.wav";

TEST_F(SysexToTapeTest, TellsItsUsage) {
  expectFailure("", usage);
  expectFailure("bank.syx", usage);
  expectFailure("bank.syx out/x.wav more", usage);
}

TEST_F(SysexToTapeTest, TellsWhatItCannotOpen) {
  giveFolder("folder.syx");
  expectFailure("missing.syx out/x.wav", "can't open missing.syx");
  expectFailure("folder.syx out/x.wav", "folder.syx is not a complete SysEx bank of 40 presets");
  expectFailure("bank.syx missing/x.wav", "can't open missing/x.wav");
  expectFailure("bank.syx out", "can't open out");
  const std::string longName(300, 'x');
  expectFailure({"bank.syx", longName}, "can't open " + longName);
}

TEST_F(SysexToTapeTest, RefusesArgumentsTheWrongWayRound) {
  give("dump.wav", recording());
  expectFailure("dump.wav bank.syx", "dump.wav is not a complete SysEx bank of 40 presets");
}

TEST_F(SysexToTapeTest, ReplacesNothingButRecordings) {
  give("x.wav", wavFile({}, std::string(4'000'000, 'x')));
  give("notes.txt", "RIFF in the style of a WAVE");
  give("empty.wav", "");
  give("short.wav", "RIFFWAVE");
  give("other.wav", "RIFX    WAVE");
  giveLink("same.wav", "bank.syx");
  expectOutcome("bank.syx x.wav", {.written = {{"x.wav", recording()}}});
  expectOutcome("bank.syx syx", {.written = {{"syx", recording()}}});
  expectFailure("bank.syx bank.syx", "bank.syx is the bank itself");
  expectFailure("bank.syx same.wav", "same.wav is the bank itself");
  for (const std::string name : {"notes.txt", "empty.wav", "short.wav", "other.wav"}) {
    expectFailure({"bank.syx", name}, name + " is not a WAV file and is not replaced");
  }
  for (const std::string name : {"new.syx", "new.SYX", ".syx", "out/new.sysex", "x.wav.SysEx"}) {
    expectFailure({"bank.syx", name}, name + " is named like a bank, not like a recording");
  }
}

TEST_F(SysexToTapeTest, DoesNotReplaceWhatItMayNotRead) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  give("out/x.wav", recording());
  allow("out/x.wav", 0222);
  const ProcessResult result = runProgram("bank.syx out/x.wav", ordinaryUser);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "Kestrel7SysexToTape: out/x.wav is not a WAV file and is not replaced\n");
}

TEST_F(SysexToTapeTest, NoticesThatTheRecordingDoesNotFit) {
  giveLink("full.wav", "/dev/full");
  expectFailure("bank.syx full.wav", "can't write full.wav");
  const std::string allButOneByte = recording().substr(0, recording().size() - 1);
  expectOutcome(
      "bank.syx x.wav",
      {.status = 1,
       .errors = "Kestrel7SysexToTape: can't write x.wav\n",
       .written = {{"x.wav", allButOneByte}}},
      {.largestFile = static_cast<long>(allButOneByte.size()), .ignoreFileSizeSignal = true});
}

TEST_F(SysexToTapeTest, NeedNotWriteTheBankNorKeepItOpen) {
  ProcessOptions options = asOrdinaryUser();
  allow("bank.syx", 0444);
  options.openFiles = 4;  // the standard ones and one at a time
  expectOutcome("bank.syx out/x.wav", {.written = {{"out/x.wav", recording()}}}, options);
}

}  // namespace
