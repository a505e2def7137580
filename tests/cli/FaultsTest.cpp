#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

#if defined(__SANITIZE_ADDRESS__)
#define KESTREL7_SANITIZED 1
#elif defined(__has_feature)
#define KESTREL7_SANITIZED __has_feature(address_sanitizer)
#else
#define KESTREL7_SANITIZED 0
#endif

namespace {

using namespace messages;
using ::testing::_;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Matcher;
using ::testing::Not;

const std::string noFormat = "Wav format -> SampleRate 0 BitDepth 0\n";

const std::string bank = revision1Bank();
const std::string tapeRecords = bank.substr(0, 2 * 24);
const FileTree bankFiles = transferFiles("out", bank);
const FileTree convertedFiles = transferFiles("out", revision3Bank());
const FileTree tapeFiles = transferFiles("out", filledUp(tapeRecords));
const FileTree zeroFiles = transferFiles("out", filledUp(""));

class FaultsTest : public ConverterTest {
 protected:
  FaultsTest() {
    give("bank.syx", sysexFile(bank));
    give("tape.wav", tapeRecording(tapeRecords));
  }
};

using InputFaults = FaultsTest;

TEST_F(InputFaults, FolderIsAnUnreadableRecordingOrAnEmptyBank) {
  giveFolder("x.wav");
  giveFolder("x.syx");
  expectOutcome("x.wav out", {.output = tape, .written = zeroFiles});
  expectOutcome(
      "x.wav out -CheckWavFormat",
      {.output = tape + noFormat, .written = {{"out/format", "WRONG SAMPLERATE: SampleRate 0\n"}}});
  giveFolder("other");
  expectOutcome("x.syx other", {.output = sysex, .written = transferFiles("other", filledUp(""))});
}

TEST_F(InputFaults, UnreadableInputCannotBeOpened) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  allow("tape.wav", 0);
  allow("bank.syx", 0);
  expectOutcome("tape.wav out", {.output = tape + "can't open tape.wav\n"}, ordinaryUser);
  expectOutcome("bank.syx out", {.output = sysex + "can't open bank.syx\n", .status = 255},
                ordinaryUser);
}

TEST_F(InputFaults, InputNeedNotBeWritable) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  allow("tape.wav", 0444);
  allow("bank.syx", 0444);
  expectOutcome("tape.wav out", {.output = tape, .written = tapeFiles}, ordinaryUser);
  expectOutcome("bank.syx out", {.output = sysex, .written = bankFiles}, ordinaryUser);
}

TEST_F(InputFaults, BlockAlignOfZeroIsAnArithmeticFault) {
  give("x.wav", wavFile({.blockAlign = 0}, std::string(80, '\0')));
  expectOutcome("x.wav out", {.output = tape, .signal = SIGFPE, .errors = _});
  expectOutcome("x.wav out -CheckWavFormat", {.output = tape, .signal = SIGFPE, .errors = _});
}

TEST_F(InputFaults, BlockAlignOfZeroIsAFaultThatCannotBeBlocked) {
  give("x.wav", wavFile({.blockAlign = 0}, std::string(80, '\0')));
  sigset_t faults;
  sigset_t before;
  sigemptyset(&faults);
  sigaddset(&faults, SIGFPE);
  sigprocmask(SIG_BLOCK, &faults, &before);
  expectOutcome("x.wav out", {.output = tape, .signal = SIGFPE, .errors = _});
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(InputFaults, LoudRecordingOf32BitsEndsByAFailedAssertion) {
  const std::string zero(4, '\0');
  const std::string plusOne("\x01\0\0\0", 4);
  const std::string minusOne("\xFF\xFF\xFF\xFF", 4);
  const struct {
    std::string samples;
    std::string assertion;
    std::string other;
  } rows[] = {{zero + plusOne + minusOne + zero, "v <= 1.0", "v >= -1.0"},
              {minusOne + plusOne, "v >= -1.0", "v <= 1.0"}};
  for (const auto& [samples, assertion, other] : rows) {
    const Outcome aborted{.output = tape,
                          .signal = SIGABRT,
                          .errors = AllOf(HasSubstr(assertion), HasSubstr("load"),
                                          HasSubstr("WavLoader.cpp"), Not(HasSubstr(other)))};
    give("x.wav", wavFile({.numChannels = 2, .bitsPerSample = 32}, samples));
    expectOutcome("x.wav out -R1", aborted);
    expectOutcome("x.wav out -CheckWavFormat", aborted);
  }
}

using OutputFaults = FaultsTest;

TEST_F(OutputFaults, ReadOnlyFolderTakesNoFiles) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  allow("out", 0555);
  expectOutcome("bank.syx out", {.output = sysex + "can't open out/preset1-1.txt\n" + failed},
                ordinaryUser);
  expectOutcome("tape.wav out -CheckWavFormat",
                {.output = tape + "can't open out/format\n", .status = 255}, ordinaryUser);
}

TEST_F(OutputFaults, ReadOnlyFileEndsTheWriting) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  give("out/preset2-2.txt", "kept");
  allow("out/preset2-2.txt", 0444);
  expectOutcome("bank.syx out",
                {.output = sysex + "can't open out/preset2-2.txt\n" + failed,
                 .written = transferFiles("out", bank, 9)},
                ordinaryUser);
}

TEST_F(OutputFaults, FileNeedNotBeReadable) {
  const ProcessOptions ordinaryUser = asOrdinaryUser();
  for (const char* name : {"out/preset1-1.txt", "out/format"}) {
    give(name, "old");
    allow(name, 0222);
  }
  EXPECT_EQ(runProgram("bank.syx out", ordinaryUser).output, sysex);
  EXPECT_EQ(runProgram("tape.wav out -CheckWavFormat", ordinaryUser).output, tape + rightFormat);
  allow("out/preset1-1.txt", 0644);
  allow("out/format", 0644);
  EXPECT_EQ(readFile(folder / "out/preset1-1.txt"), bankFiles.at("out/preset1-1.txt"));
  EXPECT_EQ(readFile(folder / "out/format"), rightReport().at("out/format"));
}

TEST_F(OutputFaults, FolderInPlaceOfTheLastFileIsToldToo) {
  giveFolder("out/preset5-8.txt");
  expectOutcome("bank.syx out -R1",
                {.output = sysex + converting + "can't open out/preset5-8.txt\n" + failed,
                 .written = transferFiles("out", revision3Bank(), 39)});
}

TEST_F(OutputFaults, NoSpaceIsNotNoticed) {
  giveLink("out/preset2-3.txt", "/dev/full");
  giveLink("out/format", "/dev/full");
  FileTree files = bankFiles;
  files["out/preset2-3.txt"] = "-> /dev/full";
  expectOutcome("bank.syx out", {.output = sysex, .written = files});
  expectOutcome("tape.wav out -CheckWavFormat", {.output = tape + rightFormat});
}

TEST_F(FaultsTest, LostMessagesChangeNeitherFilesNorStatus) {
  for (const StandardOutput lost :
       {StandardOutput::Closed, StandardOutput::FullDevice, StandardOutput::PipeNobodyReads}) {
    const auto expectFiles = [&](const char* arguments, const FileTree& written, int status = 0) {
      expectOutcome(arguments, {.status = status, .written = written}, {.standardOutput = lost});
      emptyFolder("out");
    };
    expectFiles("bank.syx", {});
    expectFiles("x.syx out", {}, 255);
    expectFiles("bank.syx missing", {});
    expectFiles("bank.syx out -R1", convertedFiles);
    expectFiles("tape.wav out", tapeFiles);
    expectFiles("tape.wav out -CheckWavFormat", rightReport());
  }
}

TEST_F(FaultsTest, ProgressLinesAreOutBeforeASignalEndsTheWriting) {
  const ProcessResult ofBank = runProgram("bank.syx out -R1", {.largestFile = 100});
  EXPECT_EQ(ofBank.signal, SIGXFSZ);
  EXPECT_EQ(ofBank.output, sysex + converting);
  const ProcessResult ofTape = runProgram("tape.wav out", {.largestFile = 100});
  EXPECT_EQ(ofTape.signal, SIGXFSZ);
  EXPECT_EQ(ofTape.output, tape);
}

constexpr bool isSanitized = KESTREL7_SANITIZED;

/// As many files open at a time besides the standard ones.
ProcessOptions withOpenFiles(long most) {
  constexpr long sanitizersPipe = isSanitized ? 2 : 0;
  return {.openFiles = 3 + most + sanitizersPipe};
}

TEST_F(FaultsTest, OpenFilesAreOneAtATimeBesidesABank) {
  expectOutcome("tape.wav out", {.output = tape, .written = tapeFiles}, withOpenFiles(1));
  expectOutcome("tape.wav out -CheckWavFormat",
                {.output = tape + rightFormat, .written = rightReport()}, withOpenFiles(1));
  expectOutcome("bank.syx out", {.output = sysex, .written = bankFiles}, withOpenFiles(2));
}

/// The most memory that a process gets, in MiB: of address space or, where a sanitizer needs that
/// for itself, half of it for any one buffer.
ProcessOptions withMemory(long mebibytes) {
  if (!isSanitized) {
    return {.addressSpace = mebibytes * 1024 * 1024};
  }
  const char* const others = std::getenv("ASAN_OPTIONS");
  return {.environment = {std::string("ASAN_OPTIONS=") + (others == nullptr ? "" : others) +
                          ":allocator_may_return_null=1:abort_on_error=1:max_allocation_size_mb=" +
                          std::to_string(mebibytes / 2)}};
}

const Outcome outOfMemory{
    .output = tape,
    .signal = SIGABRT,
    .errors = AnyOf(HasSubstr("std::bad_"), HasSubstr("AddressSanitizer: allocator is out of"))};

/// A recording of 16 MiB.
std::string largeRecording(const WavFormat& format, char sample) {
  return wavFile(format, std::string(16 * 1024 * 1024 - 44, sample));
}

using MissingMemory = FaultsTest;

TEST_F(MissingMemory, ForTheSamplesEndsTheRun) {
  give("x.wav", largeRecording({.bitsPerSample = 8}, '\0'));  // each takes 4 bytes
  expectOutcome("x.wav out -R1", outOfMemory, withMemory(64));
}

TEST_F(MissingMemory, ForTheSamplesEndsTheRunBeforeTheirRangeDoes) {
  give("x.wav", largeRecording({.bitsPerSample = 32}, '\x01'));
  expectOutcome("x.wav out", outOfMemory, withMemory(16));
}

TEST_F(MissingMemory, ForANegativeNumberOfSamplesEndsTheRun) {
  // 32,768 channels of 65,536 frames: 2^31 samples are -2^31 in 32 bits.
  give("x.wav", wavFile({.numChannels = 32768, .bitsPerSample = 8, .blockAlign = 1},
                        std::string(65536, '\0')));
  expectOutcome("x.wav out", outOfMemory, withMemory(1024));
  expectOutcome("x.wav out -CheckWavFormat", outOfMemory, withMemory(1024));
}

TEST_F(MissingMemory, DoesNotMatterForABankAShortRecordingOrAMissingOne) {
  expectOutcome("bank.syx out -R1", {.output = sysex + converting, .written = convertedFiles},
                withMemory(16));
  expectOutcome("tape.wav out", {.output = tape, .written = tapeFiles}, withMemory(16));
  expectOutcome("x.wav out", {.output = tape + "can't open x.wav\n"}, withMemory(16));
}

TEST_F(FaultsTest, LongFileNeedsNoMoreThanSomeMemoryAndTime) {
  // Its header claims all that follows as samples.
  std::string recording = readFile(folder / "tape.wav");
  recording.replace(40, 4, "\xFF\xFF\xFF\xFF");
  give("tape.wav", recording);
  std::filesystem::resize_file(folder / "tape.wav", 3'000'000'000);
  ProcessOptions options = withMemory(128);
  options.seconds = 30;
  expectOutcome("tape.wav out", {.output = tape, .written = tapeFiles}, options);
}

}  // namespace
