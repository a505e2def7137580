#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/DumpSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::ValuesIn;

const std::string bank = bytesOf(randomBank(11));
const std::string otherBank = bytesOf(randomBank(12));

std::vector<float> samplesOf(const std::string& bytes) { return recordTape(dumpSignal(bytes)); }

const std::string& recording() {
  static const std::string file = tapeRecording(bank, 300);
  return file;
}

std::string silence() { return wavFile({}, std::string(200'000, '\0')); }

class TapeToSysexTest : public ProgramTest {
 protected:
  TapeToSysexTest() : ProgramTest(TAPE_TO_SYSEX_PATH) { give("dump.wav", recording()); }

  /// Runs in a shell, in which "$0" is the program.
  ProcessResult runInShell(const std::string& command) {
    return run({"/bin/sh", "-c", command, program}, {.workingFolder = folder.path()});
  }
};

/// One line that names the program and what it is about.
auto lineAbout(const std::string& name) {
  return AllOf(StartsWith("Kestrel7TapeToSysex: "), HasSubstr(name), MatchesRegex("[^\n]+\n"));
}

TEST_F(TapeToSysexTest, WritesBanksAndRecordings) {
  give("-tape.wav", recording());
  give("[a,b]", recording());
  give("old.syx", "old");
  giveFolder("Bänke");
  const std::string sysex = sysexFile(bank);
  expectOutcome("--quiet dump.wav", {});
  expectOutcome("--quiet dump.wav -o x.syx", {.written = {{"x.syx", sysex}}});
  expectOutcome("--quiet -o y.sysex -o y.wav dump.wav",
                {.written = {{"y.sysex", sysex}, {"y.wav", recording()}}});
  expectOutcome("--quiet -o out/x.syx -- -tape.wav", {.written = {{"out/x.syx", sysex}}});
  expectOutcome("--quiet -o out/y.syx [a,b]", {.written = {{"out/y.syx", sysex}}});
  expectOutcome("--quiet --force -o old.syx dump.wav", {.written = {{"old.syx", sysex}}});
  expectOutcome({"--quiet", "dump.wav", "-o", "Bänke/a b.syx"},
                {.written = {{"Bänke/a b.syx", sysex}}});
}

TEST_F(TapeToSysexTest, WritesThePageAndLabelsOfTheFirstRecordingWithADump) {
  give("silence.wav", silence());
  const ProcessResult result =
      runProgram("--quiet --report x.html --labels x.txt silence.wav dump.wav");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output + result.errors, "");
  EXPECT_THAT(readFile(folder / "x.html"), StartsWith("<!DOCTYPE html>"));
  EXPECT_THAT(readFile(folder / "x.txt"), HasSubstr("\tleader\n"));
}

TEST_F(TapeToSysexTest, PrintsJsonOfTheRecordingAndNothingElse) {
  const ProcessResult result = runProgram("--quiet --json dump.wav");
  EXPECT_THAT(result.output, AllOf(StartsWith("{"), HasSubstr("\"container\":\"WAV"),
                                   HasSubstr("\"bits\":16,\"lossy\":false")));
}

TEST_F(TapeToSysexTest, TellsWhenTheConverterBeginsByTheRateOfTheFile) {
  // A quarter of a second at 44,100 Hz, 300 one bits of 144 samples, a zero of 168: 54,393 samples.
  give("48000.wav", wavFile({.sampleRate = 48000}, pcmBytes({samplesOf(bank)}, 16)));
  EXPECT_THAT(runProgram("--json 48000.wav").output, HasSubstr("\"dataStart\":1.1332"));
}

TEST_F(TapeToSysexTest, ReadsStandardInput) {
  for (const std::string input : {"<dump.wav", "<fifo & cat dump.wav >fifo"}) {
    EXPECT_EQ(runInShell("mkfifo -m 600 fifo 2>/dev/null; \"$0\" --quiet --force -o x.syx - " +
                         input + "; wait")
                  .errors,
              "");
    EXPECT_EQ(readFile(folder / "x.syx"), sysexFile(bank));
  }
  EXPECT_THAT(runInShell("\"$0\" --json - <dump.wav").output,
              HasSubstr("\"outcome\":\"not-tried\""));
  for (const std::string twice : {"dump.wav -", "- dump.wav", "- -"}) {
    EXPECT_EQ(runInShell("\"$0\" " + twice + " <dump.wav").status, 2) << twice;
  }
}

/// A recording, and what the converter does with it as it stands, in the words of the JSON.
struct Kind {
  std::string name;
  std::string file;
  std::string outcome;
  std::string reason = "";
};

void PrintTo(const Kind& kind, std::ostream* stream) { *stream << kind.name; }

class FileKind : public TapeToSysexTest, public ::testing::WithParamInterface<Kind> {};

TEST_P(FileKind, IsReadWhateverTheConverterDoes) {
  give(GetParam().name, GetParam().file);
  const ProcessResult result = runProgram({"--json", "-o", "x.syx", GetParam().name});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.output, HasSubstr("\"outcome\":\"" + GetParam().outcome + "\""));
  EXPECT_THAT(result.output, HasSubstr("\"reason\":\"" + GetParam().reason + "\""));
  EXPECT_EQ(readFile(folder / "x.syx"), sysexFile(bank));
}

std::vector<Kind> kinds() {
  const std::vector<float> samples = samplesOf(bank);
  const std::vector<float> nothing(samples.size());
  const std::string list = wavChunk("LIST", "INFOabcd");
  const std::string mono = pcmBytes({samples}, 16);
  const std::string floats(reinterpret_cast<const char*>(samples.data()), 4 * samples.size());
  // What makes a header extensible: its size, and integer PCM by a name of 16 bytes.
  const WavFormat extensible{
      .audioFormat = 0xFFFE,
      .formatExtension =
          std::string("\x16\0\x10\0\x04\0\0\0\x01\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 24)};
  return {
      {"16.wav", wavFile({}, mono), "reads-right"},
      {"24.wav", wavFile({.bitsPerSample = 24}, pcmBytes({samples}, 24)), "reads-right"},
      {"cut.wav", wavFile({}, mono).substr(0, mono.size() - 10'000), "reads-right"},
      {"16.WAV", wavFile({}, mono), "rejects", "its name does not end in .wav"},
      {"32.wav", wavFile({.bitsPerSample = 32}, pcmBytes({samples}, 32)), "rejects",
       "it has 32 bits, which an assertion refuses"},
      {"list.wav", wavFile({.chunksBeforeData = list}, mono), "rejects",
       "another chunk, such as LIST or bext, stands before its samples"},
      {"float.wav", wavFile({.audioFormat = 3, .bitsPerSample = 32}, floats), "rejects",
       "its samples are not integer PCM"},
      {"align.wav", wavFile({.blockAlign = 0}, mono), "rejects", "its header says 0 bytes a frame"},
      {"extensible.wav", wavFile(extensible, mono), "rejects",
       "its header is of the extensible kind"},
      {"right.wav", wavFile({.numChannels = 2}, pcmBytes({nothing, samples}, 16)), "reads-wrong",
       "it reads the first channel only"},
      {"88200.wav", wavFile({.sampleRate = 88200}, pcmBytes({samples, samples}, 16)), "reads-wrong",
       "it takes every rate for 44,100 Hz"},
      {"late.wav", wavFile({}, std::string(15 * 1024 * 1024, '\0') + mono), "reads-wrong",
       "it reads the first 16 MiB only"},
  };
}
INSTANTIATE_TEST_SUITE_P(Kinds, FileKind, ValuesIn(kinds()));

TEST_F(TapeToSysexTest, DecidesFromTakesTogether) {
  give("left.wav", wavFile({.numChannels = 2}, pcmBytes({samplesOf(bank), samplesOf(bank)}, 16)));
  expectOutcome("--quiet dump.wav left.wav -o x.syx", {.written = {{"x.syx", sysexFile(bank)}}});
}

TEST_F(TapeToSysexTest, TakesTheDumpAskedFor) {
  const std::string both = pcmBytes({samplesOf(bank)}, 16) + pcmBytes({samplesOf(otherBank)}, 16);
  give("two.wav", wavFile({}, both));
  expectOutcome("--quiet --dump 1 two.wav -o 1.syx", {.written = {{"1.syx", sysexFile(bank)}}});
  expectOutcome("--quiet --dump 2 two.wav -o 2.syx",
                {.written = {{"2.syx", sysexFile(otherBank)}}});
  expectOutcome("--dump 3 two.wav -o 3.syx", {.status = 3, .errors = lineAbout("two.wav")});
}

TEST_F(TapeToSysexTest, TakesTheDumpThatIsWhole) {
  const std::string part = pcmBytes({recordTape(dumpSignal(bank.substr(0, 244)))}, 16);
  give("two.wav", wavFile({}, part + pcmBytes({samplesOf(otherBank)}, 16)));
  expectOutcome("--quiet two.wav -o x.syx", {.written = {{"x.syx", sysexFile(otherBank)}}});
}

TEST_F(TapeToSysexTest, DoubtsWhatADropOutHides) {
  std::vector<float> samples = samplesOf(bank);
  std::fill_n(samples.begin() + 600'000, 3000, 0.0F);  // 68 ms in the middle of the dump
  give("hole.wav", wavFile({}, pcmBytes({samples}, 16)));
  const ProcessResult result = runProgram("--json hole.wav");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, AllOf(HasSubstr("\"verdict\":\"doubtful\""),
                                   Not(HasSubstr("\"verdict\":\"missing\""))));
}

TEST_F(TapeToSysexTest, WritesMissingPresetsAsZeros) {
  // The signal of ten presets and a bit of the next.
  give("short.wav", tapeRecording(bank.substr(0, 244), 300));
  const ProcessResult result = runProgram("--json short.wav -o x.syx");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("\"verdict\":\"missing\""));
  EXPECT_EQ(bankOf(readFile(folder / "x.syx")).substr(0, 240), bank.substr(0, 240));
  EXPECT_EQ(bankOf(readFile(folder / "x.syx")).substr(300), std::string(660, '\0'));
}

struct Refusal {
  Arguments arguments;
  int status;
  std::string named;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
  *stream << ::testing::PrintToString(refusal.arguments);
}

class Refusals : public TapeToSysexTest, public ::testing::WithParamInterface<Refusal> {
 protected:
  Refusals() {
    static const std::string other = tapeRecording(otherBank, 300);
    give("other.wav", other);
    give("silence.wav", silence());
    give("silence2.wav", wavFile({}, std::string(100'000, '\0')));
    give("notes.txt", "no recording");
    give("empty.wav", "");
    give("soundless.wav", wavFile({}, ""));
    give("slow.wav", wavFile({.sampleRate = 3999}, std::string(1000, '\0')));
    give("fast.wav", wavFile({.sampleRate = 1'000'001}, std::string(1000, '\0')));
    give("copy.wav", recording());
    give("old.syx", "old");
    giveFolder("folder.syx");
    giveLink("link.wav", "dump.wav");
    giveLink("nowhere.syx", "missing.syx");
    giveLink("link.syx", "old.syx");
    giveLink("device.syx", "/dev/full");
    std::filesystem::create_hard_link(folder / "dump.wav", folder / "same.wav");
  }
};

TEST_P(Refusals, AreALineAndChangeNoFile) {
  expectOutcome(GetParam().arguments,
                {.status = GetParam().status, .errors = lineAbout(GetParam().named)});
}

const std::vector<Refusal> wrongUsage{
    {"", 2, "RECORDING"},
    {"--wrong dump.wav", 2, "--wrong"},
    {"dump.wav -x.wav", 2, "./-x.wav"},
    {"-x.wav", 2, "./-x.wav"},
    {"dump.wav -o", 2, "-o"},
    {"dump.wav --dump 0", 2, "--dump"},
    {"dump.wav --dump 1x", 2, "--dump"},
    {"dump.wav -o x.mp3", 2, "x.mp3"},
    {"dump.wav -o syx", 2, "syx"},
    {"dump.wav -o a.syx -o b.syx -o c.syx", 2, "-o"},
    {"dump.wav -o a.syx -o out/../a.syx", 2, "a.syx"},
    {"dump.wav -o a.wav --report a.wav", 2, "a.wav"},
    {"dump.wav dump.wav", 2, "dump.wav"},
    {"dump.wav same.wav", 2, "same.wav"},
    {"dump.wav copy.wav", 2, "copy.wav is the same recording as dump.wav"},
    {"- -", 2, "standard input"},
    {"dump.wav other.wav -o x.syx", 2, "dump.wav and other.wav"},
};
INSTANTIATE_TEST_SUITE_P(Usage, Refusals, ValuesIn(wrongUsage));

const std::vector<Refusal> unreadable{
    {"missing.wav -o x.syx", 4, "missing.wav"},
    {"dump.wav missing.wav", 4, "missing.wav"},
    {"notes.txt", 4, "notes.txt"},
    {{"new\nline.wav"}, 4, "new\xEF\xBF\xBDline.wav"},
    {"empty.wav", 4, "empty.wav"},
    {"soundless.wav", 4, "soundless.wav"},
    {"slow.wav", 4, "slow.wav: a sample rate of 3999 Hz"},
    {"fast.wav", 4, "fast.wav: a sample rate of 1000001 Hz"},
    {"out", 4, "out: it is a folder"},
    {"/dev/zero", 4, "/dev/zero: it is a device"},
    {"-", 4, "standard input"},
    {"--quiet silence.wav silence2.wav", 3, "silence.wav, silence2.wav"},
};
INSTANTIATE_TEST_SUITE_P(Inputs, Refusals, ValuesIn(unreadable));

const std::vector<Refusal> unwritable{
    {"dump.wav -o old.syx", 4, "old.syx"},
    {"dump.wav -o x.wav -o old.syx", 4, "old.syx"},
    {"dump.wav -o nowhere.syx", 4, "nowhere.syx"},
    {"dump.wav -o missing/x.syx", 4, "missing/x.syx"},
    {"dump.wav --force -o link.syx", 4, "link.syx"},
    {"dump.wav --force -o folder.syx", 4, "folder.syx"},
    {"dump.wav --force -o device.syx", 4, "device.syx"},
    {"dump.wav --force -o dump.wav", 4, "dump.wav"},
    {"dump.wav --force -o ./out/../dump.wav", 4, "dump.wav"},
    {"dump.wav --force -o same.wav", 4, "same.wav"},
    {"dump.wav --force -o link.wav", 4, "link.wav"},
    {"dump.wav --force --report dump.wav", 4, "dump.wav"},
};
INSTANTIATE_TEST_SUITE_P(Outputs, Refusals, ValuesIn(unwritable));

TEST_F(TapeToSysexTest, NamesTheFolderThatAPipeCannotBeCopiedTo) {
  EXPECT_THAT(runInShell("cat dump.wav | TMPDIR=missing \"$0\" -").errors, lineAbout("missing"));
}

/// With programs that answer as those of ffmpeg do for a recording that libsndfile does not know.
class FfmpegTest : public TapeToSysexTest {
 protected:
  FfmpegTest() { give("tape.m4a", "no kind that libsndfile knows"); }

  void giveProgram(const std::string& name, const std::string& commands) {
    give("bin/" + name, "#!/bin/sh\n" + commands + "\n");
    allow("bin/" + name, 0755);
  }

  void giveProbe(const std::string& codec) {
    giveProgram("ffprobe", "printf 'codec_name=" + codec + "\\nsample_rate=44100\\nchannels=1\\n'");
  }
};

TEST_F(FfmpegTest, DecodesTheRecording) {
  giveProbe("aac");
  const std::string command = "PATH=bin \"$0\" --quiet tape.m4a";
  EXPECT_THAT(runInShell(command).errors, lineAbout("tape.m4a"));  // without ffmpeg itself
  giveProgram("ffmpeg", "exit 1");
  EXPECT_THAT(runInShell(command).errors, lineAbout("tape.m4a: there is no sound in it"));
  giveProgram("ffmpeg", "/bin/cat samples");
  const std::vector<float> samples = samplesOf(bank);
  give("samples", {reinterpret_cast<const char*>(samples.data()), 4 * samples.size()});
  EXPECT_EQ(runInShell(command).errors, "");
  EXPECT_THAT(runInShell(command + " --json").output, HasSubstr("\"lossy\":true"));
  for (const char* codec : {"alac", "pcm_s16le"}) {
    giveProbe(codec);
    EXPECT_THAT(runInShell(command + " --json").output, HasSubstr("\"lossy\":false"));
  }
}

TEST_F(FfmpegTest, ShowsNoProgressWhereThereIsNoTerminal) {
  giveProbe("aac");
  giveProgram("ffmpeg", "/bin/cat samples; /bin/sleep 1.1; /bin/cat samples");
  give("samples", std::string(4000, '\0'));
  EXPECT_THAT(runInShell("PATH=bin \"$0\" tape.m4a").errors, lineAbout("no dump found"));
}

TEST_F(TapeToSysexTest, WritesNothingWithoutADump) {
  give("silence.wav", silence());
  expectOutcome("--quiet silence.wav -o x.syx --labels x.txt",
                {.status = 3, .errors = lineAbout("silence.wav")});
}

TEST_F(TapeToSysexTest, LeavesNothingWhereOneFileDoesNotFit) {
  expectOutcome("--quiet dump.wav -o x.syx -o x.wav", {.status = 4, .errors = lineAbout("x.wav")},
                {.largestFile = 100'000});
}

TEST_F(TapeToSysexTest, NoticesThatItsWordsAreLost) {
  for (const StandardOutput lost :
       {StandardOutput::Closed, StandardOutput::FullDevice, StandardOutput::PipeNobodyReads}) {
    for (const char* arguments : {"dump.wav", "--json dump.wav", "--help", "--version"}) {
      expectOutcome(arguments, {.status = 4, .errors = lineAbout("standard output")},
                    {.standardOutput = lost});
    }
  }
}

TEST_F(TapeToSysexTest, WritesNoOutputInPlaceOfAClosedStream) {
  const ProcessResult result = runInShell("\"$0\" dump.wav -o x.syx >&- 2>&- <&-");
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(readFile(folder / "x.syx"), sysexFile(bank));
}

TEST_F(TapeToSysexTest, OpensNoRecordingInPlaceOfAClosedStream) {
  EXPECT_EQ(runInShell("PATH=missing \"$0\" --quiet dump.wav 2>&-").status, 0);
}

}  // namespace
