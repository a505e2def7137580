#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "cli/MissingMemory.h"
#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using ::testing::Combine;
using ::testing::HasSubstr;
using ::testing::Values;

const std::string tape = "reading tape data..\n";
const std::string sysex = "reading sysex data..\n";
const std::string converting = "converting to Revision 3..\n";
const std::string failed = "hmmm, that didn't work..";

const std::string bank = bytesOf(randomBank(9));
const std::string tapeRecords = bytesOf(randomBank(10)).substr(0, 2 * 24);
const std::string tapeBank = tapeRecords + std::string(38 * 24, '\0');
const std::string zeroBank(40 * 24, '\0');

class FaultsTest : public ConverterTest {
 protected:
  FaultsTest() {
    give("bank.syx", sysexFile(bank));
    give("tape.wav", tapeRecording(tapeRecords));
  }
};

using InputFaults = FaultsTest;

TEST_F(InputFaults, FolderNamedLikeARecordingIsAnUnreadableRecording) {
  giveFolder("x.wav");
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", zeroBank)});
}

TEST_F(InputFaults, FolderNamedLikeARecordingHasNoFormat) {
  giveFolder("x.wav");
  expectOutcome({"x.wav", "out", "-CheckWavFormat"},
                {.output = tape + "Wav format -> SampleRate 0 BitDepth 0\n",
                 .written = {{"out/format", "WRONG SAMPLERATE: SampleRate 0\n"}}});
}

TEST_F(InputFaults, FolderNamedLikeABankIsAnEmptyBank) {
  giveFolder("x.syx");
  expectOutcome({"x.syx", "out"}, {.output = sysex, .written = transferFiles("out", zeroBank)});
}

TEST_F(InputFaults, EmptyRecordingGivesZeros) {
  give("x.wav", "");
  expectOutcome({"x.wav", "out"}, {.output = tape, .written = transferFiles("out", zeroBank)});
}

TEST_F(InputFaults, EmptyBankGivesZerosConvertedOrNot) {
  give("x.syx", "");
  expectOutcome({"x.syx", "out", "-R1"},
                {.output = sysex + converting, .written = transferFiles("out", zeroBank)});
}

TEST_F(InputFaults, UnreadableRecordingCannotBeOpened) {
  allowOrdinaryUser();
  allow("tape.wav", std::filesystem::perms::none);
  expectOutcome({"tape.wav", "out"}, {.output = tape + "can't open tape.wav\n"},
                {.asOrdinaryUser = true});
}

TEST_F(InputFaults, UnreadableBankCannotBeOpened) {
  allowOrdinaryUser();
  allow("bank.syx", std::filesystem::perms::none);
  expectOutcome({"bank.syx", "out"}, {.output = sysex + "can't open bank.syx\n", .status = 255},
                {.asOrdinaryUser = true});
}

TEST_F(InputFaults, RecordingNeedNotBeWritable) {
  allowOrdinaryUser();
  allow("tape.wav", std::filesystem::perms{0444});
  expectOutcome({"tape.wav", "out"}, {.output = tape, .written = transferFiles("out", tapeBank)},
                {.asOrdinaryUser = true});
}

TEST_F(InputFaults, BankNeedNotBeWritable) {
  allowOrdinaryUser();
  allow("bank.syx", std::filesystem::perms{0444});
  expectOutcome({"bank.syx", "out"}, {.output = sysex, .written = transferFiles("out", bank)},
                {.asOrdinaryUser = true});
}

using OutputFaults = FaultsTest;

TEST_F(OutputFaults, ReadOnlyFolderTakesNoTransferFiles) {
  allowOrdinaryUser();
  allow("out", std::filesystem::perms{0555});
  expectOutcome({"bank.syx", "out"}, {.output = sysex + "can't open out/preset1-1.txt\n" + failed},
                {.asOrdinaryUser = true});
}

TEST_F(OutputFaults, ReadOnlyFolderTakesNoFormatReport) {
  allowOrdinaryUser();
  allow("out", std::filesystem::perms{0555});
  expectOutcome({"tape.wav", "out", "-CheckWavFormat"},
                {.output = tape + "can't open out/format\n", .status = 255},
                {.asOrdinaryUser = true});
}

TEST_F(OutputFaults, ReadOnlyFileEndsTheWriting) {
  allowOrdinaryUser();
  give("out/preset2-2.txt", "kept");
  allow("out/preset2-2.txt", std::filesystem::perms{0444});
  expectOutcome({"bank.syx", "out"},
                {.output = sysex + "can't open out/preset2-2.txt\n" + failed,
                 .written = transferFiles("out", bank, 9)},
                {.asOrdinaryUser = true});
}

TEST_F(OutputFaults, FolderInPlaceOfAFileEndsTheWriting) {
  giveFolder("out/preset3-1.txt");
  expectOutcome({"bank.syx", "out"}, {.output = sysex + "can't open out/preset3-1.txt\n" + failed,
                                      .written = transferFiles("out", bank, 16)});
}

TEST_F(OutputFaults, FolderInPlaceOfTheLastFileIsToldToo) {
  giveFolder("out/preset5-8.txt");
  expectOutcome({"tape.wav", "out", "-R1"},
                {.output = tape + converting + "can't open out/preset5-8.txt\n" + failed,
                 .written = transferFiles("out", asRevision3(tapeBank), 39)});
}

TEST_F(OutputFaults, NoSpaceForOneFileIsNotNoticed) {
  giveLink("out/preset2-3.txt", "/dev/full");
  FileTree files = transferFiles("out", bank);
  files["out/preset2-3.txt"] = "-> /dev/full";
  expectOutcome({"bank.syx", "out"}, {.output = sysex, .written = files});
}

TEST_F(OutputFaults, NoSpaceForAnyFileIsNotNoticed) {
  for (int record = 0; record < 40; ++record) {
    giveLink("out/" + transferName(record), "/dev/full");
  }
  expectOutcome({"tape.wav", "out"}, {.output = tape});
}

TEST_F(OutputFaults, NoSpaceForTheFormatReportIsNotNoticed) {
  giveLink("out/format", "/dev/full");
  expectOutcome({"tape.wav", "out", "-CheckWavFormat"},
                {.output = tape + "Wav format -> SampleRate 44100 BitDepth 16\n"});
}

struct Run {
  std::string name;
  std::vector<std::string> arguments;
  int status = 0;
  FileTree written = {};
};

void PrintTo(const Run& run, std::ostream* stream) { *stream << run.name; }

struct Messages {
  std::string name;
  StandardOutput goTo;
};

void PrintTo(const Messages& messages, std::ostream* stream) { *stream << messages.name; }

/// Runs whose messages nobody gets.
class LostMessages : public FaultsTest,
                     public ::testing::WithParamInterface<std::tuple<Messages, Run>> {
 protected:
  LostMessages() { giveFolder("taken/preset3-1.txt"); }
};

TEST_P(LostMessages, ChangeNeitherFilesNorStatus) {
  const auto& [messages, run] = GetParam();
  expectOutcome(run.arguments, {.status = run.status, .written = run.written},
                {.standardOutput = messages.goTo});
}

const Messages closed{"Closed", StandardOutput::Closed};
const Messages fullDevice{"FullDevice", StandardOutput::FullDevice};
const Messages pipeNobodyReads{"PipeNobodyReads", StandardOutput::PipeNobodyReads};

const auto namesOf = [](const auto& parameterInfo) {
  return std::get<0>(parameterInfo.param).name + std::get<1>(parameterInfo.param).name;
};

INSTANTIATE_TEST_SUITE_P(
    Runs, LostMessages,
    Combine(
        Values(closed, fullDevice, pipeNobodyReads),
        Values(Run{"UnknownExtension", {"bank.txt", "out"}, 255},
               Run{"MissingRecording", {"x.wav", "out"}}, Run{"MissingBank", {"x.syx", "out"}, 255},
               Run{"Sysex", {"bank.syx", "out"}, 0, transferFiles("out", bank)},
               Run{"SysexConverted",
                   {"bank.syx", "out", "-R1"},
                   0,
                   transferFiles("out", asRevision3(bank))},
               Run{"Tape", {"tape.wav", "out"}, 0, transferFiles("out", tapeBank)},
               Run{"TapeConverted",
                   {"tape.wav", "out", "-R2"},
                   0,
                   transferFiles("out", asRevision3(tapeBank))},
               Run{"FormatCheck",
                   {"tape.wav", "out", "-CheckWavFormat"},
                   0,
                   {{"out/format", "OK: SampleRate 44100\n"}}},
               Run{"MissingFolderForTheReport", {"tape.wav", "missing", "-CheckWavFormat"}, 255},
               Run{"WriterFailed", {"bank.syx", "taken"}, 0, transferFiles("taken", bank, 16)})),
    namesOf);

INSTANTIATE_TEST_SUITE_P(NoRun, LostMessages,
                         Combine(Values(closed, fullDevice, pipeNobodyReads),
                                 Values(Run{"Usage", {"bank.syx"}})),
                         namesOf);

using MissingMemory = FaultsTest;

TEST_F(MissingMemory, ForTheFileEndsTheRun) {
  expectOutcome({"tape.wav", "out"},
                {.output = tape, .signal = SIGABRT, .errors = allocationFailure("std::bad_")},
                withMemory(16));
}

TEST_F(MissingMemory, ForTheFileEndsAFormatCheck) {
  expectOutcome({"tape.wav", "out", "-CheckWavFormat"},
                {.output = tape, .signal = SIGABRT, .errors = allocationFailure("std::bad_")},
                withMemory(16));
}

TEST_F(MissingMemory, ForTheSamplesEndsTheRun) {
  // 16 MiB of 8-bit samples, each of which takes 4 bytes
  give("x.wav", wavFile({.bitsPerSample = 8}, std::string(16 * 1024 * 1024 - 44, '\0')));
  expectOutcome({"x.wav", "out", "-R1"},
                {.output = tape, .signal = SIGABRT, .errors = allocationFailure("std::bad_")},
                withMemory(64));
}

TEST_F(MissingMemory, ForANegativeNumberOfSamplesEndsTheRun) {
  // 32,768 channels of 65,536 frames: 2^31 samples are -2^31 in 32 bits.
  give("x.wav", wavFile({.numChannels = 32768, .bitsPerSample = 8, .blockAlign = 1},
                        std::string(65536, '\0')));
  expectOutcome({"x.wav", "out"},
                {.output = tape, .signal = SIGABRT, .errors = allocationFailure("std::bad_")},
                withMemory(1024));
}

TEST_F(MissingMemory, ForANegativeNumberOfSamplesEndsAFormatCheck) {
  give("x.wav", wavFile({.numChannels = 65535, .bitsPerSample = 8, .blockAlign = 1},
                        std::string(50000, '\0')));
  expectOutcome({"x.wav", "out", "-CheckWavFormat"},
                {.output = tape, .signal = SIGABRT, .errors = allocationFailure("std::bad_")},
                withMemory(1024));
}

TEST_F(MissingMemory, DoesNotMatterForABank) {
  expectOutcome({"bank.syx", "out", "-R1"},
                {.output = sysex + converting, .written = transferFiles("out", asRevision3(bank))},
                withMemory(16));
}

struct FileSize {
  std::string name;
  std::uintmax_t bytes;
};

void PrintTo(const FileSize& size, std::ostream* stream) { *stream << size.name; }

class LongFiles : public FaultsTest, public ::testing::WithParamInterface<FileSize> {
 protected:
  /// Lengthens the recording with silence, all of which its header claims as samples.
  void lengthenTape(std::uintmax_t size) {
    std::string recording = readFile(folder / "tape.wav");
    recording.replace(40, 4, "\xFF\xFF\xFF\xFF");
    give("tape.wav", recording);
    std::filesystem::resize_file(folder / "tape.wav", size);
  }
};

TEST_P(LongFiles, NeedNoMoreThanSomeMemoryAndTime) {
  lengthenTape(GetParam().bytes);
  ProcessOptions options = withMemory(128);
  options.seconds = 30;
  expectOutcome({"tape.wav", "out"}, {.output = tape, .written = transferFiles("out", tapeBank)},
                options);
}

INSTANTIATE_TEST_SUITE_P(Bytes, LongFiles,
                         Values(FileSize{"OneLessThan16Mebibytes", 16777215},
                                FileSize{"16Mebibytes", 16777216},
                                FileSize{"OneMoreThan16Mebibytes", 16777217},
                                FileSize{"3Gigabytes", 3000000000}),
                         nameOf);

struct Progress {
  std::string name;
  std::vector<std::string> arguments;
  std::string output;
};

void PrintTo(const Progress& progress, std::ostream* stream) { *stream << progress.name; }

class ProgressLines : public FaultsTest, public ::testing::WithParamInterface<Progress> {};

TEST_P(ProgressLines, AreOutBeforeASignalEndsTheWriting) {
  const ProcessResult result = runProgram(GetParam().arguments, {.largestFile = 100});
  EXPECT_EQ(result.signal, SIGXFSZ);
  EXPECT_EQ(result.output, GetParam().output);
}

INSTANTIATE_TEST_SUITE_P(
    Runs, ProgressLines,
    Values(Progress{"Sysex", {"bank.syx", "out"}, sysex},
           Progress{"Tape", {"tape.wav", "out"}, tape},
           Progress{"SysexConverted", {"bank.syx", "out", "-R1"}, sysex + converting},
           Progress{"TapeConverted", {"tape.wav", "out", "-R2"}, tape + converting}),
    nameOf);

/// As many files open at a time besides the standard ones.
ProcessOptions withOpenFiles(long most) {
  constexpr long sanitizersPipe = isSanitized ? 2 : 0;
  return {.openFiles = 3 + most + sanitizersPipe};
}

using OpenFiles = FaultsTest;

TEST_F(OpenFiles, AreOneAtATimeForARecording) {
  expectOutcome({"tape.wav", "out"}, {.output = tape, .written = transferFiles("out", tapeBank)},
                withOpenFiles(1));
}

TEST_F(OpenFiles, AreOneAtATimeBesidesTheBank) {
  expectOutcome({"bank.syx", "out"}, {.output = sysex, .written = transferFiles("out", bank)},
                withOpenFiles(2));
}

TEST_F(OpenFiles, AreOneAtATimeForAFormatCheck) {
  expectOutcome({"tape.wav", "out", "-CheckWavFormat"},
                {.output = tape + "Wav format -> SampleRate 44100 BitDepth 16\n",
                 .written = {{"out/format", "OK: SampleRate 44100\n"}}},
                withOpenFiles(1));
}

}  // namespace
