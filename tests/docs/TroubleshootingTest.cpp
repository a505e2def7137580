#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "cli/MissingMemory.h"
#include "cli/ProgramTest.h"
#include "docs/Documents.h"
#include "signal/TapeSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::SizeIs;

const std::string bank = bytesOf(randomBank(31));
const FileTree rightFiles = transferFiles("out", bank);
const FileTree zeroFiles = transferFiles("out", std::string(960, '\0'));

std::string recordingOf(const std::vector<float>& samples) {
  return wavFile({}, pcmBytes({samples}, 16));
}

std::vector<float> operator+(std::vector<float> samples, const std::vector<float>& more) {
  samples.insert(samples.end(), more.begin(), more.end());
  return samples;
}

/// A user who has a recording, a bank and a folder for the files.
class User : public ConverterTest {
 public:
  User() {
    give("dump.wav", tapeRecording(bank));
    give("bank.syx", sysexFile(bank));
  }

  using ConverterTest::give;

  /// Runs a command line where the programs are installed.
  ProcessResult perform(const std::string& command, ProcessOptions options = {}) {
    const std::string programs = std::filesystem::path(CONVERTER_PATH).parent_path().string();
    options.workingFolder = folder.path();
    options.environment.push_back("PATH=" + programs + ":" + std::getenv("PATH"));
    return run({"/bin/sh", "-c", command}, options);
  }

  /// Converts `input` and returns what is printed.
  std::string convert(const std::string& input, const std::string& options = "") {
    const ProcessResult result = perform("Kestrel7ToTransferFiles " + input + " out" + options);
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
  }

  std::string check(const std::string& input) { return convert(input, " -CheckWavFormat"); }

  /// The content of each of the 40 files, in their order.
  std::vector<std::string> files() {
    std::vector<std::string> contents;
    for (int record = 0; record < 40; ++record) {
      contents.push_back(readFile(folder / ("out/" + transferName(record))));
    }
    return contents;
  }

  /// What stands in "out", the report of a check left out.
  FileTree presets() {
    FileTree tree = treeOf(folder.path());
    std::erase_if(tree, [](const auto& file) { return !file.first.starts_with("out/preset"); });
    return tree;
  }

  /// Clears the folder of the files.
  void clear() { EXPECT_EQ(perform("rm -f out/preset*.txt").status, 0); }

  /// Expects the conversion of what `remedy` makes of the recording to be right.
  void expectRemedy(const std::string& remedy) {
    EXPECT_EQ(perform(remedy).status, 0);
    clear();
    convert("fixed.wav");
    EXPECT_EQ(differences(presets(), rightFiles), "");
  }
};

/// A line of the tables, and the way to come to see it.
struct Symptom {
  std::string name;
  std::string text;
  void (*happensTo)(User& user);
};

void PrintTo(const Symptom& symptom, std::ostream* stream) { *stream << symptom.text; }

// The commands of the document.
const std::string makeAcceptable =
    "sox recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 1";
const std::string takeTheRightChannel =
    "sox recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 2";
const std::string cutOffTheBeginning =
    "sox recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix 1 trim 190";
const std::string playFaster = "sox recording.wav fixed.wav speed 1.2";

void rejectedRecording(User& user) {
  user.perform("sox dump.wav -e floating-point -b 32 recording.wav");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr("SampleRate 0 BitDepth 0"));
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  user.expectRemedy(makeAcceptable);
}

void noDump(User& user) {
  const std::string right = "Wav format -> SampleRate 44100 BitDepth 16";
  user.perform("sox dump.wav recording.wav remix 0 1");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr(right));
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  user.expectRemedy(takeTheRightChannel);

  user.perform("sox dump.wav recording.wav pad 200");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr(right));
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  user.expectRemedy(cutOffTheBeginning);

  const HalfPeriods signal = dumpSignal(bank);
  const std::string slow = recordingOf(recordTape(signal, {.speed = 0.8}));
  for (const std::string& recording :
       {recordingOf(recordTape(dumpSignal(bank, 9))),
        recordingOf(recordTape(signal, {.level = 0.00001})), slow,
        recordingOf(recordTape(signal, {.speed = 1.3})),
        wavFile({.bitsPerSample = 8},
                pcmBytes({recordTape(signal, {.level = 2, .clipLevel = 2})}, 8))}) {
    user.give("recording.wav", recording);
    EXPECT_THAT(user.check("recording.wav"), HasSubstr("Wav format -> SampleRate 44100 BitDepth"));
    user.convert("recording.wav");
    EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  }
  user.give("recording.wav", slow);
  user.expectRemedy(playFaster);
}

void uselessBank(User& user) {
  for (const std::string& content : {std::string(), "\xFF" + sysexFile(bank)}) {
    user.give("bank.syx", content);
    user.convert("bank.syx");
    EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  }
  EXPECT_EQ(sysexFile(bank).size(), 2120U);
  EXPECT_EQ(sysexFile(bank).front(), '\xF0');
}

void lostBit(User& user) {
  user.give("recording.wav", recordingOf(recordTape(
                                 dumpSignal(bank), {.dropOutStart = 10, .dropOutDuration = 0.01})));
  user.convert("recording.wav");
  const auto files = user.files();
  user.convert("bank.syx");
  const auto rightOnes = user.files();
  const auto zeros = transferText(std::string(24, '\0'));

  const auto wrong = std::mismatch(files.begin(), files.end(), rightOnes.begin());
  EXPECT_NE(wrong.first, files.begin());
  ASSERT_NE(wrong.first, files.end());
  for (auto file = wrong.first, right = wrong.second; file != files.end(); ++file, ++right) {
    EXPECT_NE(*file, *right);
    EXPECT_NE(*file, zeros);
  }
}

void earlyEnd(User& user) {
  const FileTree fiveFiles =
      transferFiles("out", bank.substr(0, 5 * 24) + std::string(35 * 24, '\0'));
  user.give("recording.wav", tapeRecording(bank.substr(0, 5 * 24)));
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), fiveFiles), "");

  user.clear();
  user.give("bank.syx", sysexFile(bank).substr(0, 5 * 53));
  user.convert("bank.syx");
  EXPECT_EQ(differences(user.presets(), fiveFiles), "");
}

void garbage(User& user) {
  const HalfPeriods otherDump = dumpSignal(bytesOf(randomBank(32)).substr(0, 2 * 24));
  const HalfPeriods signal = dumpSignal(bank);
  for (const std::string& recording : {recordingOf(recordTape(otherDump) + recordTape(signal)),
                                       recordingOf(recordTape(signal, {.noise = 0.2})),
                                       recordingOf(recordTape(signal, {.hum = 0.4})),
                                       recordingOf(recordTape(signal, {.speed = 0.85})),
                                       recordingOf(recordTape(signal, {.speed = 1.21}))}) {
    user.give("recording.wav", recording);
    user.convert("recording.wav");
    EXPECT_NE(user.files().front(), transferText(bank.substr(0, 24)));
    EXPECT_NE(user.files().front(), transferText(std::string(24, '\0')));
  }
}

void shuffled(User& user) {
  user.convert("bank.syx", " -R1");
  EXPECT_EQ(differences(user.presets(), transferFiles("out", asRevision3(bank))), "");
  user.convert("bank.syx");
  EXPECT_EQ(differences(user.presets(), rightFiles), "");
}

void earlierFiles(User& user) {
  user.convert("dump.wav");
  user.convert("missing.wav");
  EXPECT_EQ(differences(user.presets(), rightFiles), "");
  user.clear();
  user.convert("missing.wav");
  EXPECT_EQ(differences(user.presets(), {}), "");
}

void missingInput(User& user) {
  EXPECT_THAT(user.perform("Kestrel7ToTransferFiles Dump.wav out").output,
              HasSubstr("can't open Dump.wav\n"));
  EXPECT_THAT(user.perform("Kestrel7ToTransferFiles other/bank.syx out").output,
              HasSubstr("can't open other/bank.syx\n"));
}

void missingFolder(User& user) {
  user.perform("rmdir out");
  EXPECT_THAT(user.convert("dump.wav"), AllOf(HasSubstr("can't open out/preset1-1.txt\n"),
                                              HasSubstr("hmmm, that didn't work..")));
  user.perform("mkdir out");
  user.convert("dump.wav");
  EXPECT_EQ(differences(user.presets(), rightFiles), "");
}

void missingFolderOfACheck(User& user) {
  user.perform("rmdir out");
  EXPECT_THAT(user.perform("Kestrel7ToTransferFiles dump.wav out -CheckWavFormat").output,
              HasSubstr("can't open out/format\n"));
}

void otherExtension(User& user) {
  user.perform("mv dump.wav dump.WAV");
  for (const std::string arguments : {"dump.WAV out", "-R1 bank.syx out"}) {
    EXPECT_EQ(user.perform("Kestrel7ToTransferFiles " + arguments).output,
              "expected syx, sysex or wav file..");
  }
  user.perform("mv dump.WAV dump.wav");
  user.convert("dump.wav");
  EXPECT_EQ(differences(user.presets(), rightFiles), "");
}

void otherSampleRate(User& user) {
  user.perform("sox dump.wav -r 48000 recording.wav");
  EXPECT_THAT(user.check("recording.wav"),
              HasSubstr("Wav format -> SampleRate 48000 BitDepth 16\n"));
  EXPECT_EQ(user.perform("cat out/format").output, "WRONG SAMPLERATE: SampleRate 48000\n");
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), rightFiles), "");

  user.perform("sox dump.wav -r 96000 recording.wav");
  user.convert("recording.wav");
  EXPECT_EQ(differences(user.presets(), zeroFiles), "");
  user.expectRemedy(makeAcceptable);
}

void assertion(User& user) {
  for (const bool isInverted : {false, true}) {
    const HalfPeriods signal = dumpSignal(bank);
    user.give("dump.wav", recordingOf(recordTape(signal, {.inverted = isInverted})));
    user.perform("sox dump.wav -b 32 -t wavpcm recording.wav");
    const ProcessResult result = user.perform("Kestrel7ToTransferFiles recording.wav out; true");
    EXPECT_THAT(result.errors, AllOf(HasSubstr(isInverted ? "Assertion `v >= -1.0' failed"
                                                          : "Assertion `v <= 1.0' failed"),
                                     HasSubstr("Aborted")));
    user.perform("rm -f fixed.wav");
    user.expectRemedy(makeAcceptable);
  }
}

void damagedHeader(User& user) {
  user.give("recording.wav", wavFile({.blockAlign = 0}, std::string(4, '\0')));
  EXPECT_THAT(user.perform("Kestrel7ToTransferFiles recording.wav out; true").errors,
              HasSubstr("Floating point exception"));
}

void littleMemory(User& user) {
  const ProcessResult result =
      user.perform("Kestrel7ToTransferFiles dump.wav out; true", withMemory(16));
  EXPECT_THAT(result.errors, AllOf(allocationFailure("std::bad_alloc"), HasSubstr("Aborted")));
}

void missingArgument(User& user) {
  EXPECT_THAT(user.perform("Kestrel7ToTransferFiles dump.wav").output, HasSubstr("usage: "));
}

void statusOfSuccess(User& user) {
  user.convert("missing.wav");
  user.perform("rmdir out");
  user.convert("dump.wav");
  EXPECT_EQ(user.perform("Kestrel7ToTransferFiles missing.syx out").status, 255);
  EXPECT_EQ(user.perform("Kestrel7ToTransferFiles dump.mp3 out").status, 255);
  EXPECT_EQ(user.perform("Kestrel7ToTransferFiles dump.wav out -CheckWavFormat").status, 255);
  EXPECT_NE(user.perform("test -s out/preset5-8.txt").status, 0);
}

void fullDisk(User& user) {
  const ProcessResult result = user.perform("Kestrel7ToTransferFiles dump.wav out",
                                            {.largestFile = 100, .ignoreFileSizeSignal = true});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "reading tape data..\n");
  EXPECT_THAT(user.files(), Each(SizeIs(100)));
}

void onlyTheReport(User& user) {
  user.check("dump.wav");
  EXPECT_EQ(differences(user.presets(), {}), "");
  EXPECT_EQ(user.perform("ls out").output, "format\n");
}

const std::vector<Symptom> symptoms{
    {"RejectedRecording",
     "Forty files in which every value is 0, and `SampleRate 0 BitDepth 0` in the check",
     rejectedRecording},
    {"NoDump", "Forty files in which every value is 0, and the check is right", noDump},
    {"UselessBank", "Forty files in which every value is 0, from a SysEx bank", uselessBank},
    {"LostBit", "The first presets are right, then garbage to the end", lostBit},
    {"EarlyEnd", "The first presets are right, then zeros to the end", earlyEnd},
    {"Garbage", "Garbage from the first preset on", garbage},
    {"Shuffled",
     "Values look shuffled: every file is plausible, but a knob's value stands under another name",
     shuffled},
    {"EarlierFiles", "The second conversion shows the first one's sounds", earlierFiles},
    {"MissingInput", "`can't open dump.wav` or `can't open bank.syx`", missingInput},
    {"MissingFolder", "`can't open out/preset1-1.txt` and `hmmm, that didn't work..`",
     missingFolder},
    {"MissingFolderOfACheck", "`can't open out/format`", missingFolderOfACheck},
    {"OtherExtension", "`expected syx, sysex or wav file..`", otherExtension},
    {"OtherSampleRate",
     "`Wav format -> SampleRate 48000 BitDepth 16` and `WRONG SAMPLERATE: SampleRate 48000` in "
     "the file `format`",
     otherSampleRate},
    {"Assertion",
     "``Assertion `v <= 1.0' failed`` or ``Assertion `v >= -1.0' failed``, and `Aborted`",
     assertion},
    {"DamagedHeader", "`Floating point exception`", damagedHeader},
    {"LittleMemory", "`std::bad_alloc` and `Aborted`", littleMemory},
    {"MissingArgument", "the usage", missingArgument},
    {"StatusOfSuccess",
     "The exit status is 0, though the recording is missing or the folder can't be written to",
     statusOfSuccess},
    {"FullDisk", "Files that are empty or cut off", fullDisk},
    {"OnlyTheReport", "The file `format`, but no transfer files", onlyTheReport},
};

class Troubleshooting : public User, public ::testing::WithParamInterface<Symptom> {};

TEST_P(Troubleshooting, IsAboutWhatHappens) { GetParam().happensTo(*this); }

INSTANTIATE_TEST_SUITE_P(Symptoms, Troubleshooting, ::testing::ValuesIn(symptoms), nameOf);

TEST(TroubleshootingPage, HasTheseSymptoms) {
  std::vector<std::string> texts;
  for (const Symptom& symptom : symptoms) {
    texts.push_back(symptom.text);
  }
  std::vector<std::string> documented;
  for (const TableRow& row : tableRows(documentText("docs/troubleshooting.md"), "What you see")) {
    EXPECT_THAT(row, SizeIs(3));
    documented.push_back(row.front());
  }
  EXPECT_EQ(documented, texts);
}

}  // namespace
