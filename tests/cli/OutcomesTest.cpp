#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace {

using namespace messages;
using ::testing::ValuesIn;

const std::string usage =
    "usage: Kestrel7ToTransferFiles [44.1k wav file or SysexFile] outputFolder -R1/2/3\n"
    "or\n"
    "usage: Kestrel7ToTransferFiles [wav file] outputFolder -CheckWavFormat\n";
const std::string unknown = "expected syx, sysex or wav file..";

// On tape are the first three records.
const std::string tapeBank = filledUp(revision1Bank().substr(0, 3 * 24));
const std::string tapeBankAsRev3 = filledUp(revision3Bank().substr(0, 3 * 24));
const std::string bank = revision1Bank();
const std::string bankAsRev3 = revision3Bank();
const std::string otherBank = bytesOf(randomBank(2));
const std::string zeroBank = filledUp("");

/// The silent recording of which the header says all that counts.
std::string silence(const WavFormat& format) { return wavFile(format, std::string(4800, '\0')); }

/// Runs in a folder with banks and recordings under names of all kinds, and with output folders
/// named like options.
class OutcomesTest : public ConverterTest {
 protected:
  OutcomesTest() {
    for (const char* name :
         {"bank.syx", ".syx", "syx", "my.other bank.syx", "dumps.old/bank.syx", "bank.wav", "bank",
          "bank.", "bank.SYX", "bank.Syx", "bank.syxx", "bank.sy", "bank.syse", "bank.sysexx",
          "bank.syx.bak", "bank.syx ", "dumps/syx", "dumps.syx/bank"}) {
      give(name, sysexFile(bank));
    }
    for (const char* name : {"bank.sysex", "sysex"}) {
      give(name, sysexFile(otherBank));
    }
    give("empty.syx", "");
    give("cut.syx", sysexFile(bank).substr(0, 1000));
    give("long.syx", sysexFile(bank) + std::string(2880, 0x0F));

    static const std::string recording = tapeRecording(tapeBank.substr(0, 3 * 24));
    give("tape.wav", recording);
    for (const char* name :
         {".wav", "wav", "dumps.old/my tape.wav", "tape.WAV", "tape.wave", "tape.wa"}) {
      giveLink(name, folder / "tape.wav");
    }
    for (const char* name : {"-R1", "-R2", "-CheckWavFormat", "out.d/deep", "taken/format"}) {
      giveFolder(name);
    }
  }
};

struct Run {
  Arguments arguments;
  std::string output;
  int status = 0;
  FileTree written = {};
};

void PrintTo(const Run& run, std::ostream* stream) {
  *stream << ::testing::PrintToString(run.arguments);
}

class Outcomes : public OutcomesTest, public ::testing::WithParamInterface<Run> {};

TEST_P(Outcomes, AreTheMessagesTheStatusAndTheFiles) {
  const auto& [arguments, output, status, written] = GetParam();
  expectOutcome(arguments, {.output = output, .status = status, .written = written});
}

const std::string firstMissing = "can't open missing/preset1-1.txt\n" + failed;
const FileTree bankFiles = transferFiles("out", bank);
const FileTree otherBankFiles = transferFiles("out", otherBank);
const FileTree tapeFiles = transferFiles("out", tapeBank);
const FileTree zeroFiles = transferFiles("out", zeroBank);
const FileTree convertedFiles = transferFiles("out", bankAsRev3);
const FileTree convertedTapeFiles = transferFiles("out", tapeBankAsRev3);

const std::vector<Run> runs{
    // Fewer than two arguments
    {"", usage},
    {"bank.syx", usage},
    {"tape.wav", usage},
    {"bank.txt", usage},
    {"-R1", usage},
    // Unknown extensions
    {"tape.WAV out", unknown, 255},
    {"tape.wave out", unknown, 255},
    {"tape.wa out", unknown, 255},
    {"bank.SYX out", unknown, 255},
    {"bank.Syx out", unknown, 255},
    {"bank.syxx out", unknown, 255},
    {"bank.sy out", unknown, 255},
    {"bank.syse out", unknown, 255},
    {"bank.sysexx out", unknown, 255},
    {{"bank.syx ", "out"}, unknown, 255},
    {"bank.syx.bak out", unknown, 255},
    {"bank out", unknown, 255},
    {"bank. out", unknown, 255},
    {{"", "out"}, unknown, 255},
    {"dumps.syx/bank out", unknown, 255},
    {"dumps/syx out", unknown, 255},
    {"./syx out", unknown, 255},
    {"missing.txt out", unknown, 255},
    {"bank.SYX missing", unknown, 255},
    {"-R1 bank.syx out", unknown, 255},
    {"-CheckWavFormat tape.wav out", unknown, 255},
    {"bank.SYX out -R1", unknown, 255},
    {"tape.WAV out -CheckWavFormat", unknown, 255},
    // A recording that cannot be opened
    {"x.wav out", tape + "can't open x.wav\n"},
    {"missing//x.wav out", tape + "can't open missing//x.wav\n"},
    {{"dumps.old/a b.wav", "out"}, tape + "can't open dumps.old/a b.wav\n"},
    {"100%s%d.wav out", tape + "can't open 100%s%d.wav\n"},
    {"x.wav out -R1", tape + "can't open x.wav\n"},
    {"x.wav out -CheckWavFormat", tape + "can't open x.wav\n"},
    {"x.wav missing", tape + "can't open x.wav\n"},
    // A bank that cannot be opened
    {"x.syx out", sysex + "can't open x.syx\n", 255},
    {"x.sysex out", sysex + "can't open x.sysex\n", 255},
    {"100%s%d.syx out", sysex + "can't open 100%s%d.syx\n", 255},
    {"x.syx out -R2", sysex + "can't open x.syx\n", 255},
    {"x.syx out -CheckWavFormat", sysex + "can't open x.syx\n", 255},
    {"x.syx missing", sysex + "can't open x.syx\n", 255},
    // A report that cannot be opened
    {"tape.wav missing -CheckWavFormat", tape + "can't open missing/format\n", 255},
    {"tape.wav missing/ -CheckWavFormat", tape + "can't open missing//format\n", 255},
    {"tape.wav taken -CheckWavFormat -R1", tape + "can't open taken/format\n", 255},
    {"tape.wav %s%n -CheckWavFormat", tape + "can't open %s%n/format\n", 255},
    // Format checks
    {"tape.wav out -CheckWavFormat", tape + rightFormat, 0, rightReport()},
    {"tape.wav out -CheckWavFormat -CheckWavFormat", tape + rightFormat, 0, rightReport()},
    {"tape.wav out -R1 -CheckWavFormat -R2", tape + rightFormat, 0, rightReport()},
    {"tape.wav out/ -CheckWavFormat", tape + rightFormat, 0, rightReport()},
    {"tape.wav -CheckWavFormat", tape + rightFormat, 0, rightReport("-CheckWavFormat")},
    // Transfer files that cannot be opened
    {"bank.syx missing", sysex + firstMissing},
    {"bank.syx missing -R1", sysex + converting + firstMissing},
    {"tape.wav missing", tape + firstMissing},
    {"tape.wav missing -R2", tape + converting + firstMissing},
    {"bank.syx missing/", sysex + "can't open missing//preset1-1.txt\n" + failed},
    {"bank.syx out/new", sysex + "can't open out/new/preset1-1.txt\n" + failed},
    {"bank.syx bank.wav", sysex + "can't open bank.wav/preset1-1.txt\n" + failed},
    {"bank.syx %s%d", sysex + "can't open %s%d/preset1-1.txt\n" + failed},
    {"bank.syx -R3", sysex + "can't open -R3/preset1-1.txt\n" + failed},
    // Success
    {"bank.syx out", sysex, 0, bankFiles},
    {"bank.sysex out", sysex, 0, otherBankFiles},
    {"tape.wav out", tape, 0, tapeFiles},
    {"syx out", sysex, 0, bankFiles},
    {"sysex out", sysex, 0, otherBankFiles},
    {"wav out", tape, 0, tapeFiles},
    {".syx out", sysex, 0, bankFiles},
    {".wav out", tape, 0, tapeFiles},
    {{"my.other bank.syx", "out"}, sysex, 0, bankFiles},
    {"dumps.old/bank.syx out", sysex, 0, bankFiles},
    {{"./dumps.old/my tape.wav", "out"}, tape, 0, tapeFiles},
    {"bank.wav out", tape, 0, zeroFiles},
    {"empty.syx out", sysex, 0, zeroFiles},
    // 18 messages of 53 bytes, 4 leading bytes and 42 nibbles of the next
    {"cut.syx out", sysex, 0, transferFiles("out", filledUp(bank.substr(0, 453)))},
    {"long.syx out", sysex, 0, bankFiles},
    {"bank.syx out/", sysex, 0, bankFiles},
    {"bank.syx ./out.d/deep", sysex, 0, transferFiles("out.d/deep", bank)},
    {"bank.syx out bank.sysex out.d/deep", sysex, 0, bankFiles},
    {"bank.syx out -CheckWavFormat", sysex, 0, bankFiles},
    {"bank.syx -CheckWavFormat", sysex, 0, transferFiles("-CheckWavFormat", bank)},
    {"tape.wav out -checkwavformat CheckWavFormat", tape, 0, tapeFiles},
    {{"tape.wav", "out", "-CheckWavFormat ", "-CheckWavForma"}, tape, 0, tapeFiles},
    // Conversions
    {"bank.syx out -R1", sysex + converting, 0, convertedFiles},
    {"bank.syx out -R2", sysex + converting, 0, convertedFiles},
    {"tape.wav out -R1", tape + converting, 0, convertedTapeFiles},
    {"tape.wav out -R2", tape + converting, 0, convertedTapeFiles},
    {"bank.syx out -R1 -R2", sysex + converting, 0, convertedFiles},
    {"bank.syx out -R1 -R1", sysex + converting, 0, convertedFiles},
    {"bank.syx out -R1 -R3", sysex + converting, 0, convertedFiles},
    {"bank.syx out other.wav -x -R2 more", sysex + converting, 0, convertedFiles},
    {"bank.syx out -CheckWavFormat -R1", sysex + converting, 0, convertedFiles},
    {"bank.syx -R1", sysex + converting, 0, transferFiles("-R1", bankAsRev3)},
    {"tape.wav -R2", tape + converting, 0, transferFiles("-R2", tapeBankAsRev3)},
    // No conversion
    {"bank.syx out -R3", sysex, 0, bankFiles},
    {"tape.wav out -R3", tape, 0, tapeFiles},
    {"bank.syx out -r1 -r2", sysex, 0, bankFiles},
    {{"bank.syx", "out", "-R11", "-R1 ", "-R2/", "-R1/2/3"}, sysex, 0, bankFiles},
    {{"bank.syx", "out", "-R", "-", ""}, sysex, 0, bankFiles},
    {{"bank.syx", "out", " -R1", "--R1", "x-R2", "R1"}, sysex, 0, bankFiles},
    {"bank.syx out -R0 -R4", sysex, 0, bankFiles},
};
INSTANTIATE_TEST_SUITE_P(All, Outcomes, ValuesIn(runs));

TEST_F(OutcomesTest, NameOfTheProgramIsAnArgumentToo) {
  giveLink("bin/-R1", CONVERTER_PATH);
  program = folder / "bin/-R1";
  expectOutcome("", {.output = usage}, {.argument0 = "-R1"});
  expectOutcome("bank.syx", {.output = usage}, {.argument0 = "-R1"});
  expectOutcome("bank.syx out", {.output = sysex, .written = bankFiles}, {.argument0 = "bin/-R1"});
  expectOutcome("bank.syx out", {.output = sysex + converting, .written = convertedFiles},
                {.argument0 = "-R1"});
  expectOutcome("tape.wav out", {.output = tape + converting, .written = convertedTapeFiles},
                {.argument0 = "-R2"});
  expectOutcome("tape.wav out", {.output = tape + rightFormat, .written = rightReport()},
                {.argument0 = "-CheckWavFormat"});
}

TEST_F(OutcomesTest, TransferFilesReplaceOlderOnesAndLeaveOtherFilesAlone) {
  give("out/preset1-1.txt", std::string(1000, 'x'));
  give("out/preset5-8.txt", "");
  give("out/preset6-1.txt", "not of this program");
  give("out/format", "OK: SampleRate 44100\n");
  expectOutcome("bank.syx out", {.output = sysex, .written = bankFiles});
}

TEST_F(OutcomesTest, FormatReportReplacesAnOlderOne) {
  give("out/format", "WRONG SAMPLERATE: SampleRate 48000\nand more\n");
  give("out/preset1-1.txt", "of a run before");
  expectOutcome("tape.wav out -CheckWavFormat",
                {.output = tape + rightFormat, .written = rightReport()});
}

TEST_F(OutcomesTest, EmptyFolderIsTheRoot) {
  expectOutcome({"bank.syx", ""}, {.output = sysex + "can't open /preset1-1.txt\n" + failed},
                asOrdinaryUser());
}

TEST_F(OutcomesTest, RecordingNamedLikeABankIsReadAsABank) {
  // The bytes of the header after "RIFF" are taken as pairs of nibbles, like the silence after it.
  const std::string header(
      "RIFF\x58\x08\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x44\xAC\0\0\x88\x58\x01\0\x02\0\x10\0"
      "data\x34\x08\0\0",
      44);
  const std::string firstBytes(
      "\xD8\0\x57\x56\xF6\x74\x10\0\x01\x01\xC4\0\x88\x01\x02\x10\x74\x74\xB4\0", 20);
  give("tape.syx", header + std::string(2100, '\0'));
  expectOutcome("tape.syx out",
                {.output = sysex, .written = transferFiles("out", filledUp(firstBytes))});
}

TEST_F(ConverterTest, FormatCheckPrintsTheFormatAndJudgesTheSampleRate) {
  const struct {
    std::string file;
    std::string format;
    std::string verdict;
  } rows[] = {
      {silence({.sampleRate = 44099}), "SampleRate 44099 BitDepth 16",
       "WRONG SAMPLERATE: SampleRate 44099"},
      {silence({.sampleRate = 44101}), "SampleRate 44101 BitDepth 16",
       "WRONG SAMPLERATE: SampleRate 44101"},
      {silence({.sampleRate = 48000}), "SampleRate 48000 BitDepth 16",
       "WRONG SAMPLERATE: SampleRate 48000"},
      {silence({.sampleRate = 44100 + 65536}), "SampleRate 109636 BitDepth 16",
       "WRONG SAMPLERATE: SampleRate 109636"},
      {silence({.sampleRate = 0x80000000}), "SampleRate -2147483648 BitDepth 16",
       "WRONG SAMPLERATE: SampleRate -2147483648"},
      {silence({.bitsPerSample = 8}), "SampleRate 44100 BitDepth 8", "OK: SampleRate 44100"},
      {silence({.bitsPerSample = 24}), "SampleRate 44100 BitDepth 24", "OK: SampleRate 44100"},
      {silence({.bitsPerSample = 32}), "SampleRate 44100 BitDepth 32", "OK: SampleRate 44100"},
      {silence({.bitsPerSample = 65528}), "SampleRate 44100 BitDepth 65528",
       "OK: SampleRate 44100"},
      {silence({.numChannels = 2}), "SampleRate 44100 BitDepth 16", "OK: SampleRate 44100"},
      {silence({.audioFormat = 3}), "SampleRate 0 BitDepth 0", "WRONG SAMPLERATE: SampleRate 0"},
      {"This is not a WAV file.", "SampleRate 0 BitDepth 0", "WRONG SAMPLERATE: SampleRate 0"},
  };
  for (const auto& [file, format, verdict] : rows) {
    give("x.wav", file);
    expectOutcome("x.wav out -CheckWavFormat", {.output = tape + "Wav format -> " + format + "\n",
                                                .written = {{"out/format", verdict + "\n"}}});
  }
}

}  // namespace
