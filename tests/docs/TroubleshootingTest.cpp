#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "cli/MissingMemory.h"
#include "cli/ProgramTest.h"
#include "docs/Documents.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/Process.h"
#include "support/TapeSimulator.h"

namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string bank = bytesOf(randomBank(31));
const FileTree rightFiles = transferFiles("out", bank);
const FileTree zeroFiles = transferFiles("out", std::string(960, '\0'));

std::string recordingOf(const std::vector<float>& samples) {
  return wavFile({}, pcmBytes({samples}, 16));
}

/// One recording after the other.
std::vector<float> joined(std::vector<float> samples, const std::vector<float>& more) {
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
  using ConverterTest::runInShell;

  /// Converts `input` and returns what is printed.
  std::string convert(const std::string& input, const std::string& options = "") {
    const ProcessResult result = runInShell("Kestrel7ToTransferFiles " + input + " out" + options);
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
  }

  std::string check(const std::string& input) { return convert(input, " -CheckWavFormat"); }

  /// The content of each of the 40 files, in their order.
  std::vector<std::string> files() { return transferTextsIn(folder / "out"); }

  /// What stands in "out", the report of a check left out.
  FileTree presets() {
    FileTree tree = treeOf(folder.path());
    std::erase_if(tree, [](const auto& file) { return !file.first.starts_with("out/preset"); });
    return tree;
  }

  /// Clears the folder of the files.
  void clear() { EXPECT_EQ(runInShell("rm -f out/preset*.txt").status, 0); }

  void expectFiles(const FileTree& expected) { EXPECT_EQ(differences(presets(), expected), ""); }

  void expectZeros(const std::string& input) {
    convert(input);
    expectFiles(zeroFiles);
  }

  /// Expects the first preset to be neither right nor zeros.
  void expectGarbage(const std::string& input) {
    convert(input);
    EXPECT_NE(files().front(), rightFiles.at("out/preset1-1.txt"));
    EXPECT_NE(files().front(), zeroFiles.at("out/preset1-1.txt"));
  }

  /// Expects the conversion of what `remedy` makes of the recording to be right.
  void expectRemedy(const std::string& remedy) {
    EXPECT_EQ(runInShell(remedy).status, 0);
    clear();
    convert("fixed.wav");
    expectFiles(rightFiles);
  }
};

/// A line of the tables, and the way to come to see it.
struct Symptom {
  std::string name;
  std::string text;
  void (*happensTo)(User& user);
};

void PrintTo(const Symptom& symptom, std::ostream* stream) { *stream << symptom.text; }

const std::string takeAChannel =
    "sox -D recording.wav -b 16 -e signed-integer -r 44100 fixed.wav remix ";
const std::string makeAcceptable = takeAChannel + "1";
const std::string takeTheRightChannel = takeAChannel + "2";
const std::string cutOffTheBeginning = makeAcceptable + " trim 190";

/// A command, or what is to be added to one, which must stand in the document or the guide that it
/// refers to.
std::string shown(const std::string& command) {
  EXPECT_THAT(documentText("docs/troubleshooting.md") + documentText("docs/recording-software.md"),
              AnyOf(HasSubstr("`" + command + "`"), HasSubstr("\n" + command + "\n")));
  return command;
}

void rejectedRecording(User& user) {
  user.runInShell("sox dump.wav -e floating-point -b 32 recording.wav");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr("SampleRate 0 BitDepth 0"));
  user.expectZeros("recording.wav");
  user.expectRemedy(shown(makeAcceptable));
}

void noDump(User& user) {
  const std::string right = "Wav format -> SampleRate 44100 BitDepth 16";
  user.runInShell("sox dump.wav recording.wav remix 0 1");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr(right));
  user.expectZeros("recording.wav");
  user.expectRemedy(shown(takeTheRightChannel));

  user.runInShell("sox dump.wav recording.wav pad 200");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr(right));
  user.expectZeros("recording.wav");
  user.expectRemedy(shown(cutOffTheBeginning));

  const HalfPeriods signal = dumpSignal(bank);
  const std::string slow = recordingOf(recordTape(signal, {.speed = 0.8}));
  const std::string fast = recordingOf(recordTape(signal, {.speed = 1.3}));
  for (const std::string& recording :
       {recordingOf(recordTape(signal, {.level = 0.00001})), slow, fast,
        wavFile({.bitsPerSample = 8},
                pcmBytes({recordTape(signal, {.level = 2, .clipLevel = 2})}, 8))}) {
    user.give("recording.wav", recording);
    EXPECT_THAT(user.check("recording.wav"), HasSubstr("Wav format -> SampleRate 44100 BitDepth"));
    user.expectZeros("recording.wav");
  }
  user.give("recording.wav", slow);
  user.expectRemedy(makeAcceptable + " " + shown("speed 1.2"));
  user.give("recording.wav", fast);
  user.expectRemedy(makeAcceptable + " " + shown("speed 0.8"));
}

void uselessBank(User& user) {
  for (const std::string& content : {std::string(), "\xFF" + sysexFile(bank)}) {
    user.give("bank.syx", content);
    user.expectZeros("bank.syx");
  }
}

/// The keys of which the files of `tree` and of `other` have different values.
std::set<std::string> keysThatDiffer(const FileTree& tree, const FileTree& other) {
  std::set<std::string> keys;
  for (const auto& [path, content] : tree) {
    const std::vector<std::string> lines = linesOf(content);
    const std::vector<std::string> others = linesOf(other.at(path));
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i] != others.at(i)) {
        keys.insert(lines[i].substr(0, lines[i].find('=')));
      }
    }
  }
  return keys;
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

const FileTree fiveFiles =
    transferFiles("out", bank.substr(0, 5 * 24) + std::string(35 * 24, '\0'));

void earlyEnd(User& user) {
  user.give("recording.wav", tapeRecording(bank.substr(0, 5 * 24)));
  user.convert("recording.wav");
  user.expectFiles(fiveFiles);

  user.runInShell("sox dump.wav recording.wav pad 180");
  user.convert("recording.wav");
  EXPECT_EQ(user.files().front(), transferText(bank.substr(0, 24)));
  EXPECT_EQ(user.files().back(), transferText(std::string(24, '\0')));
  user.expectRemedy("sox -D recording.wav fixed.wav trim 170");
}

void damagedBank(User& user) {
  const std::string sysex = sysexFile(bank);
  for (const std::string& content :
       {sysex.substr(0, 5 * 53), sysex.substr(0, 5 * 53) + "\xFF" + sysex.substr(5 * 53 + 1)}) {
    user.give("bank.syx", content);
    user.convert("bank.syx");
    user.expectFiles(fiveFiles);
  }

  user.give("bank.syx", sysex.substr(0, 5 * 53) + sysex.substr(5 * 53 + 1));
  user.convert("bank.syx");
  EXPECT_EQ(user.files()[4], fiveFiles.at("out/preset1-5.txt"));
  EXPECT_NE(user.files()[5], rightFiles.at("out/preset1-6.txt"));
  EXPECT_NE(user.files()[5], zeroFiles.at("out/preset1-6.txt"));
}

void garbage(User& user) {
  const HalfPeriods otherDump = dumpSignal(bytesOf(randomBank(32)).substr(0, 2 * 24));
  const HalfPeriods signal = dumpSignal(bank);
  const std::vector<float> whole = recordTape(signal);
  // A group of presets full of ones is taken for the leader.
  const std::vector<float> withOnes =
      recordTape(dumpSignal(std::string(8 * 24, '\xFF') + bank.substr(8 * 24)));
  const std::string withoutBeginning = recordingOf({withOnes.begin() + 2 * 44100, withOnes.end()});
  for (const std::string& recording :
       {recordingOf(joined(recordTape(otherDump), whole)),
        recordingOf(recordTape(signal, {.noise = 0.2})),
        recordingOf(recordTape(signal, {.hum = 0.4})),
        recordingOf(recordTape(signal, {.speed = 0.85})),
        recordingOf(recordTape(signal, {.speed = 1.21})), withoutBeginning}) {
    user.give("recording.wav", recording);
    user.expectGarbage("recording.wav");
  }
}

void almostSilence(User& user) {
  // Dithered at half the rate, the silence has runs of all lengths.
  user.runInShell("sox dump.wav -r 22050 low.wav pad 10 && sox -D low.wav -r 44100 recording.wav");
  user.expectGarbage("recording.wav");
  user.expectRemedy(makeAcceptable + " " + shown("trim 10"));
}

void notABank(User& user) {
  const std::string sysex = sysexFile(bank);
  for (const std::string& content : {"\xF0" + sysex, sysex.substr(1), tapeRecording(bank)}) {
    user.give("bank.syx", content);
    user.expectGarbage("bank.syx");
  }
}

void shuffled(User& user) {
  user.convert("bank.syx", " -R1");
  user.expectFiles(transferFiles("out", asRevision3(bank)));
  const auto changed = keysThatDiffer(user.presets(), rightFiles);
  for (const std::string same :
       {"FILT_", "AMP_", "FILTER_", "MIX_", "GLIDE", "OSC_A_PW", "OSC_B_PW"}) {
    EXPECT_THAT(changed, Each(AnyOf(Not(StartsWith(same)), "FILT_KBD")));
  }
  for (const std::string other :
       {"OSC_A_SAW", "OSC_A_SYNC", "OSC_B_KBD", "LFO_FREQ", "W-MOD_SOURCE_MIX", "P-MOD_OSC_B",
        "OSC_A_FREQ", "OSC_B_FREQ", "OSC_B_FINE"}) {
    EXPECT_THAT(changed, Contains(other));
  }

  user.convert("bank.syx");
  user.expectFiles(rightFiles);
}

void earlierFiles(User& user) {
  user.convert("dump.wav");
  user.convert("missing.wav");
  user.expectFiles(rightFiles);
  user.check("dump.wav");
  user.check("missing.wav");
  EXPECT_EQ(user.runInShell("cat out/format").output, "OK: SampleRate 44100\n");

  user.runInShell(shown("rm -f out/format out/preset*.txt"));
  user.check("missing.wav");
  user.convert("missing.wav");
  EXPECT_EQ(user.runInShell("ls out").output, "");
}

void missingInput(User& user) {
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles Dump.wav out").output,
              HasSubstr("can't open Dump.wav\n"));
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles other/bank.syx out").output,
              HasSubstr("can't open other/bank.syx\n"));
}

void missingFolder(User& user) {
  user.runInShell("rmdir out");
  EXPECT_THAT(user.convert("dump.wav"), AllOf(HasSubstr("can't open out/preset1-1.txt\n"),
                                              HasSubstr("hmmm, that didn't work..")));
  user.runInShell(shown("mkdir out"));
  user.convert("dump.wav");
  user.expectFiles(rightFiles);
}

void missingFolderOfACheck(User& user) {
  user.runInShell("rmdir out");
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles dump.wav out -CheckWavFormat").output,
              HasSubstr("can't open out/format\n"));
}

void optionForFolder(User& user) {
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles dump.wav -R1 out").output,
              HasSubstr("can't open -R1/preset1-1.txt\n"));
}

void blockedFile(User& user) {
  user.runInShell("mkdir out/preset2-2.txt");
  EXPECT_THAT(user.convert("bank.syx"), HasSubstr("can't open out/preset2-2.txt\n"));
  FileTree written = transferFiles("out", bank, 9);
  written.emplace("out/preset2-2.txt/", "");
  user.expectFiles(written);
}

void otherExtension(User& user) {
  user.runInShell("mv dump.wav dump.WAV");
  for (const std::string arguments : {"dump.WAV out", "-R1 bank.syx out"}) {
    EXPECT_EQ(user.runInShell("Kestrel7ToTransferFiles " + arguments).output,
              "expected syx, sysex or wav file..");
  }
  user.runInShell("mv dump.WAV dump.wav");
  user.convert("dump.wav");
  user.expectFiles(rightFiles);
}

void noFormat(User& user) {
  user.runInShell("ffmpeg -i dump.wav recording.wav");
  EXPECT_THAT(user.check("recording.wav"), HasSubstr("Wav format -> SampleRate 0 BitDepth 0\n"));
  EXPECT_EQ(user.runInShell("cat out/format").output, "WRONG SAMPLERATE: SampleRate 0\n");
  user.expectRemedy(shown(makeAcceptable));
}

void otherSampleRate(User& user) {
  user.runInShell("sox dump.wav -r 48000 recording.wav");
  EXPECT_THAT(user.check("recording.wav"),
              HasSubstr("Wav format -> SampleRate 48000 BitDepth 16\n"));
  EXPECT_EQ(user.runInShell("cat out/format").output, "WRONG SAMPLERATE: SampleRate 48000\n");
  user.convert("recording.wav");
  user.expectFiles(rightFiles);

  user.runInShell("sox dump.wav -r 96000 recording.wav");
  user.expectZeros("recording.wav");
  user.expectRemedy(shown(makeAcceptable));
}

void assertion(User& user) {
  for (const bool isInverted : {false, true}) {
    const HalfPeriods signal = dumpSignal(bank);
    user.give("dump.wav", recordingOf(recordTape(signal, {.inverted = isInverted})));
    user.runInShell("sox dump.wav -b 32 -t wavpcm recording.wav");
    const ProcessResult result = user.runInShell("Kestrel7ToTransferFiles recording.wav out; true");
    EXPECT_THAT(result.errors, AllOf(HasSubstr(isInverted ? "Assertion `v >= -1.0' failed"
                                                          : "Assertion `v <= 1.0' failed"),
                                     HasSubstr("Aborted")));
    user.runInShell("rm -f fixed.wav");
    user.expectRemedy(shown(makeAcceptable));
  }
}

void damagedHeader(User& user) {
  user.give("recording.wav", wavFile({.blockAlign = 0}, std::string(4, '\0')));
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles recording.wav out; true").errors,
              HasSubstr("Floating point exception"));
}

void littleMemory(User& user) {
  const ProcessResult result =
      user.runInShell("Kestrel7ToTransferFiles dump.wav out; true", withMemory(16));
  EXPECT_THAT(result.errors, AllOf(allocationFailure("std::bad_alloc"), HasSubstr("Aborted")));
}

void manyChannels(User& user) {
  user.give("recording.wav", wavFile({.numChannels = 65535, .bitsPerSample = 8, .blockAlign = 1},
                                     std::string(50000, '\0')));
  const ProcessResult result =
      user.runInShell("Kestrel7ToTransferFiles recording.wav out; true", withMemory(1024));
  EXPECT_THAT(result.errors,
              AllOf(allocationFailure("std::bad_array_new_length"), HasSubstr("Aborted")));
}

void incompleteBank(User& user) {
  user.give("bank.syx", sysexFile(bank).substr(0, 2000));
  EXPECT_EQ(user.runInShell("Kestrel7SysexToTape bank.syx dump.wav").errors,
            "Kestrel7SysexToTape: bank.syx is not a complete SysEx bank of 40 presets\n");
}

void otherSpelling(User& user) {
  EXPECT_THAT(user.runInShell("kestrel7totransferfiles dump.wav out").errors,
              HasSubstr("not found"));
}

void missingArgument(User& user) {
  EXPECT_THAT(user.runInShell("Kestrel7ToTransferFiles dump.wav").output, HasSubstr("usage: "));
}

void statusOfSuccess(User& user) {
  user.convert("missing.wav");
  user.runInShell("rmdir out");
  user.convert("dump.wav");
  EXPECT_EQ(user.runInShell("Kestrel7ToTransferFiles missing.syx out").status, 255);
  EXPECT_EQ(user.runInShell("Kestrel7ToTransferFiles dump.mp3 out").status, 255);
  EXPECT_EQ(user.runInShell("Kestrel7ToTransferFiles dump.wav out -CheckWavFormat").status, 255);
  EXPECT_NE(user.runInShell("test -s out/preset5-8.txt").status, 0);
}

void fullDisk(User& user) {
  const ProcessResult result = user.runInShell("Kestrel7ToTransferFiles dump.wav out",
                                               {.largestFile = 100, .ignoreFileSizeSignal = true});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "reading tape data..\n");
  EXPECT_THAT(user.files(), Each(SizeIs(100)));
}

void onlyTheReport(User& user) {
  user.check("dump.wav");
  user.expectFiles({});
  EXPECT_EQ(user.runInShell("ls out").output, "format\n");
}

const std::vector<Symptom> symptoms{
    {"RejectedRecording",
     "Forty files in which every value is 0, and `SampleRate 0 BitDepth 0` in the check",
     rejectedRecording},
    {"NoDump", "Forty files in which every value is 0, and the check is right", noDump},
    {"UselessBank", "Forty files in which every value is 0, from a SysEx bank", uselessBank},
    {"LostBit", "The first presets are right, then garbage to the end", lostBit},
    {"EarlyEnd", "The first presets are right, then zeros to the end", earlyEnd},
    {"DamagedBank", "The first presets are right, then garbage or zeros, from a SysEx bank",
     damagedBank},
    {"Garbage", "Garbage from the first preset on", garbage},
    {"AlmostSilence",
     "Garbage from the first preset on, and some seconds of silence before the dump",
     almostSilence},
    {"NotABank", "Garbage from the first preset on, from a SysEx bank", notABank},
    {"Shuffled",
     "Values look shuffled: envelopes, filter and mixer are right, but switches, modulation, "
     "LFO frequency and the frequencies of the oscillators are not",
     shuffled},
    {"EarlierFiles", "The second conversion shows the first one's sounds", earlierFiles},
    {"MissingInput", "`can't open dump.wav` or `can't open bank.syx`", missingInput},
    {"MissingFolder", "`can't open out/preset1-1.txt` and `hmmm, that didn't work..`",
     missingFolder},
    {"MissingFolderOfACheck", "`can't open out/format`", missingFolderOfACheck},
    {"OptionForFolder", "`can't open -R1/preset1-1.txt`", optionForFolder},
    {"BlockedFile", "`can't open out/preset2-2.txt`, and the files before it are there",
     blockedFile},
    {"OtherExtension", "`expected syx, sysex or wav file..`", otherExtension},
    {"NoFormat",
     "`Wav format -> SampleRate 0 BitDepth 0` and `WRONG SAMPLERATE: SampleRate 0` in the file "
     "`format`",
     noFormat},
    {"OtherSampleRate",
     "`Wav format -> SampleRate 48000 BitDepth 16` and `WRONG SAMPLERATE: SampleRate 48000` in "
     "the file `format`",
     otherSampleRate},
    {"Assertion",
     "``Assertion `v <= 1.0' failed`` or ``Assertion `v >= -1.0' failed``, and `Aborted`",
     assertion},
    {"DamagedHeader", "`Floating point exception`", damagedHeader},
    {"LittleMemory", "`std::bad_alloc` and `Aborted`", littleMemory},
    {"ManyChannels", "`std::bad_array_new_length` and `Aborted`", manyChannels},
    {"IncompleteBank", "`Kestrel7SysexToTape: bank.syx is not a complete SysEx bank of 40 presets`",
     incompleteBank},
    {"OtherSpelling", "`command not found`, or `not found`", otherSpelling},
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
