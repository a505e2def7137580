#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/TapeSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using ::testing::Values;

const std::string bank = bytesOf(randomBank(8));

std::string littleEndian(std::size_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) {
    bytes += static_cast<char>(value >> (8 * i) & 0xFF);
  }
  return bytes;
}

/// The file of the dump of `bank`: 16 bits, mono, 44,100 Hz (0xAC44), 88,200 bytes a second
/// (0x15888).
std::string recordingOf(std::string_view bytes) {
  const std::string pcm = pcmBytes({recordTape(dumpSignal(bytes))}, 16);
  return "RIFF" + littleEndian(pcm.size() + 36) + "WAVE" +
         std::string("fmt \x10\0\0\0\x01\0\x01\0\x44\xAC\0\0\x88\x58\x01\0\x02\0\x10\0", 24) +
         "data" + littleEndian(pcm.size()) + pcm;
}

std::string sysexWithByte(std::size_t position, char byte) {
  std::string file = sysexFile(bank);
  file[position] = byte;
  return file;
}

class SysexToTapeTest : public ProgramTest {
 protected:
  SysexToTapeTest() : ProgramTest(SYSEX_TO_TAPE_PATH) {}
};

struct Bank {
  std::string name;
  std::string file;
};

void PrintTo(const Bank& sysex, std::ostream* stream) { *stream << sysex.name; }

class CompleteBank : public SysexToTapeTest, public ::testing::WithParamInterface<Bank> {};

TEST_P(CompleteBank, IsRecorded) {
  give("bank.syx", GetParam().file);
  expectOutcome({"bank.syx", "out/x.wav"}, {.written = {{"out/x.wav", recordingOf(bank)}}});
}

INSTANTIATE_TEST_SUITE_P(Banks, CompleteBank,
                         Values(Bank{"AsUsual", sysexFile(bank)},
                                Bank{"WithoutItsLastByte", sysexFile(bank).substr(0, 2119)},
                                Bank{"LastByteFF", sysexWithByte(2119, '\xFF')},
                                Bank{"Longer", sysexFile(bank) + std::string(3000, '\xFF')},
                                Bank{"OtherBytesBetweenThePresets", sysexWithByte(53, '\x12')}),
                         nameOf);

TEST_F(SysexToTapeTest, ReplacesAnOlderRecording) {
  give("bank.syx", sysexFile(bank));
  give("x.wav", std::string(4000000, 'x'));
  expectOutcome({"bank.syx", "x.wav"}, {.written = {{"x.wav", recordingOf(bank)}}});
}

TEST_F(SysexToTapeTest, NoticesThatTheLastByteDoesNotFit) {
  const std::string recording = recordingOf(bank);
  const std::string allButOneByte = recording.substr(0, recording.size() - 1);
  give("bank.syx", sysexFile(bank));
  expectOutcome(
      {"bank.syx", "x.wav"},
      {.status = 1,
       .errors = "Kestrel7SysexToTape: can't write x.wav\n",
       .written = {{"x.wav", allButOneByte}}},
      {.largestFile = static_cast<long>(allButOneByte.size()), .ignoreFileSizeSignal = true});
}

class IncompleteBank : public SysexToTapeTest, public ::testing::WithParamInterface<Bank> {};

TEST_P(IncompleteBank, IsRefused) {
  give("in.syx", GetParam().file);
  expectOutcome(
      {"in.syx", "out/x.wav"},
      {.status = 1,
       .errors = "Kestrel7SysexToTape: in.syx is not a complete SysEx bank of 40 presets\n"});
}

INSTANTIATE_TEST_SUITE_P(Banks, IncompleteBank,
                         Values(Bank{"Empty", ""},
                                Bank{"2118Bytes", sysexFile(bank).substr(0, 2118)},
                                Bank{"HalfABank", sysexFile(bank).substr(0, 1060)},
                                Bank{"FirstByteFF", sysexWithByte(0, '\xFF')},
                                Bank{"ByteFFBetweenPresets", sysexWithByte(53, '\xFF')},
                                Bank{"ByteFFInThePresets", sysexWithByte(1000, '\xFF')},
                                Bank{"LastNibbleFF", sysexWithByte(2118, '\xFF')}),
                         nameOf);

struct Failure {
  std::string name;
  std::vector<std::string> arguments;
  std::string message;
};

void PrintTo(const Failure& failure, std::ostream* stream) { *stream << failure.name; }

class Failures : public SysexToTapeTest, public ::testing::WithParamInterface<Failure> {
 protected:
  Failures() {
    give("bank.syx", sysexFile(bank));
    giveFolder("folder.syx");
    giveLink("full.wav", "/dev/full");
    giveLink("same.wav", "bank.syx");
  }
};

TEST_P(Failures, AreToldInALine) {
  expectOutcome(GetParam().arguments,
                {.status = 1, .errors = "Kestrel7SysexToTape: " + GetParam().message + "\n"});
}

const std::string usage = "usage: Kestrel7SysexToTape bank.syx recording.wav";

INSTANTIATE_TEST_SUITE_P(Arguments, Failures,
                         Values(Failure{"None", {}, usage}, Failure{"One", {"bank.syx"}, usage},
                                Failure{"Three", {"bank.syx", "out/x.wav", "more"}, usage}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    Input, Failures,
    Values(Failure{"Missing", {"missing.syx", "out/x.wav"}, "can't open missing.syx"},
           Failure{"Folder",
                   {"folder.syx", "out/x.wav"},
                   "folder.syx is not a complete SysEx bank of 40 presets"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Output, Failures,
    Values(Failure{"InAMissingFolder", {"bank.syx", "missing/x.wav"}, "can't open missing/x.wav"},
           Failure{"Folder", {"bank.syx", "out"}, "can't open out"},
           Failure{"InPlaceOfTheBank", {"bank.syx", "bank.syx"}, "bank.syx is the bank itself"},
           Failure{"ByALinkToTheBank", {"bank.syx", "same.wav"}, "same.wav is the bank itself"},
           Failure{"OnAFullDevice", {"bank.syx", "full.wav"}, "can't write full.wav"}),
    nameOf);

}  // namespace
