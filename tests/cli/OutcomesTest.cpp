#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "support/Banks.h"

namespace {

using ::testing::Values;

const std::string usage =
    "usage: Kestrel7ToTransferFiles [44.1k wav file or SysexFile] outputFolder -R1/2/3\n"
    "or\n"
    "usage: Kestrel7ToTransferFiles [wav file] outputFolder -CheckWavFormat\n";
const std::string unknown = "expected syx, sysex or wav file..";
const std::string tape = "reading tape data..\n";
const std::string sysex = "reading sysex data..\n";
const std::string converting = "converting to Revision 3..\n";
const std::string failed = "hmmm, that didn't work..";

const std::string bank = bytesOf(randomBank(1));
const std::string otherBank = bytesOf(randomBank(2));
const std::string tapeRecords = bytesOf(randomBank(3)).substr(0, 3 * 24);
const std::string tapeBank = tapeRecords + std::string(37 * 24, '\0');
const std::string bankAsRev3 = asRevision3(bank);
const std::string otherBankAsRev3 = asRevision3(otherBank);
const std::string tapeBankAsRev3 = asRevision3(tapeBank);
const std::string zeroBank(40 * 24, '\0');

/// The 40 files of `bank` in `folder`; no files without a folder.
struct TransferFiles {
  std::string folder;
  std::string bank;
};

struct Run {
  std::string name;
  std::vector<std::string> arguments;
  std::string output;
  int status = 0;
  TransferFiles written;
};

void PrintTo(const Run& run, std::ostream* stream) { *stream << run.name; }

/// Runs in a folder with banks and recordings under names of all kinds, and with output folders
/// named like options.
class OutcomesTest : public ConverterTest {
 protected:
  OutcomesTest() {
    for (const char* name :
         {"bank.syx",   ".syx",      "syx",       "my.other bank.syx", "dumps.old/bank.syx",
          "bank.wav",   "bank",      "bank.",     "bank.SYX",          "bank.Syx",
          "bank.Sysex", "bank.syxx", "bank.sy",   "bank.syse",         "bank.syx.bak",
          "bank.syx ",  "syx.bank",  "dumps/syx", "dumps.old/syx",     "dumps.syx/bank"}) {
      give(name, sysexFile(bank));
    }
    for (const char* name : {"bank.sysex", "sysex"}) {
      give(name, sysexFile(otherBank));
    }
    give("tape.wav", tapeRecording(tapeRecords));
    for (const char* name : {".wav", "wav", "dumps.old/my tape.wav", "tape.WAV", "tape.Wav",
                             "tape.wave", "tape.wa", "dumps.old/tape", "dumps/wav"}) {
      giveLink(name, folder / "tape.wav");
    }
    for (const char* name : {"-R1", "-R2", "-CheckWavFormat", "out.d/deep"}) {
      giveFolder(name);
    }
  }
};

class Outcomes : public OutcomesTest, public ::testing::WithParamInterface<Run> {};

TEST_P(Outcomes, MessagesStatusAndFiles) {
  const auto& [name, arguments, output, status, written] = GetParam();
  FileTree files;
  if (!written.folder.empty()) {
    files = transferFiles(written.folder, written.bank);
  }
  expectOutcome(arguments, {.output = output, .status = status, .written = files});
}

INSTANTIATE_TEST_SUITE_P(FewerThanTwoArguments, Outcomes,
                         Values(Run{"None", {}, usage, 0, {}},
                                Run{"SysexInputOnly", {"bank.syx"}, usage, 0, {}},
                                Run{"WavInputOnly", {"tape.wav"}, usage, 0, {}},
                                Run{"MissingInputOnly", {"missing.syx"}, usage, 0, {}},
                                Run{"UnknownExtensionOnly", {"bank.txt"}, usage, 0, {}},
                                Run{"OptionOnly", {"-R1"}, usage, 0, {}},
                                Run{"FormatCheckOnly", {"-CheckWavFormat"}, usage, 0, {}},
                                Run{"EmptyArgumentOnly", {""}, usage, 0, {}}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    UnknownExtension, Outcomes,
    Values(Run{"UpperCaseWav", {"tape.WAV", "out"}, unknown, 255, {}},
           Run{"MixedCaseWav", {"tape.Wav", "out"}, unknown, 255, {}},
           Run{"LongerThanWav", {"tape.wave", "out"}, unknown, 255, {}},
           Run{"ShorterThanWav", {"tape.wa", "out"}, unknown, 255, {}},
           Run{"UpperCaseSyx", {"bank.SYX", "out"}, unknown, 255, {}},
           Run{"MixedCaseSyx", {"bank.Syx", "out"}, unknown, 255, {}},
           Run{"MixedCaseSysex", {"bank.Sysex", "out"}, unknown, 255, {}},
           Run{"LongerThanSyx", {"bank.syxx", "out"}, unknown, 255, {}},
           Run{"ShorterThanSyx", {"bank.sy", "out"}, unknown, 255, {}},
           Run{"ShorterThanSysex", {"bank.syse", "out"}, unknown, 255, {}},
           Run{"TrailingSpace", {"bank.syx ", "out"}, unknown, 255, {}},
           Run{"NotTheLastExtension", {"bank.syx.bak", "out"}, unknown, 255, {}},
           Run{"ExtensionInFront", {"syx.bank", "out"}, unknown, 255, {}},
           Run{"NoDot", {"bank", "out"}, unknown, 255, {}},
           Run{"DotAtTheEnd", {"bank.", "out"}, unknown, 255, {}},
           Run{"Empty", {"", "out"}, unknown, 255, {}},
           Run{"NothingButADot", {".", "out"}, unknown, 255, {}},
           Run{"DotInTheFolderOnly", {"dumps.old/tape", "out"}, unknown, 255, {}},
           Run{"ExtensionOfTheFolder", {"dumps.syx/bank", "out"}, unknown, 255, {}},
           Run{"NamedSyxInAFolder", {"dumps/syx", "out"}, unknown, 255, {}},
           Run{"NamedWavInAFolder", {"dumps/wav", "out"}, unknown, 255, {}},
           Run{"NamedSyxInThisFolder", {"./syx", "out"}, unknown, 255, {}},
           Run{"NamedSyxInADottedFolder", {"dumps.old/syx", "out"}, unknown, 255, {}},
           Run{"MissingFile", {"missing.txt", "out"}, unknown, 255, {}},
           Run{"MissingOutputFolder", {"bank.SYX", "missing"}, unknown, 255, {}},
           Run{"OptionFirst", {"-R1", "bank.syx", "out"}, unknown, 255, {}},
           Run{"FormatCheckFirst", {"-CheckWavFormat", "tape.wav", "out"}, unknown, 255, {}},
           Run{"WithConversion", {"bank.SYX", "out", "-R1"}, unknown, 255, {}},
           Run{"WithFormatCheck", {"tape.WAV", "out", "-CheckWavFormat"}, unknown, 255, {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    WavInputCannotBeOpened, Outcomes,
    Values(Run{"Missing", {"x.wav", "out"}, tape + "can't open x.wav\n", 0, {}},
           Run{"MissingInAFolder",
               {"dumps.old/a b.wav", "out"},
               tape + "can't open dumps.old/a b.wav\n",
               0,
               {}},
           Run{"MissingFolder",
               {"missing//x.wav", "out"},
               tape + "can't open missing//x.wav\n",
               0,
               {}},
           Run{"PercentSigns", {"100%s%d.wav", "out"}, tape + "can't open 100%s%d.wav\n", 0, {}},
           Run{"WithConversion", {"x.wav", "out", "-R1"}, tape + "can't open x.wav\n", 0, {}},
           Run{"WithFormatCheck",
               {"x.wav", "out", "-CheckWavFormat"},
               tape + "can't open x.wav\n",
               0,
               {}},
           Run{"MissingOutputFolder", {"x.wav", "missing"}, tape + "can't open x.wav\n", 0, {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    SysexInputCannotBeOpened, Outcomes,
    Values(Run{"Missing", {"x.syx", "out"}, sysex + "can't open x.syx\n", 255, {}},
           Run{"MissingSysex", {"x.sysex", "out"}, sysex + "can't open x.sysex\n", 255, {}},
           Run{"PercentSigns", {"100%s%d.syx", "out"}, sysex + "can't open 100%s%d.syx\n", 255, {}},
           Run{"WithConversion", {"x.syx", "out", "-R2"}, sysex + "can't open x.syx\n", 255, {}},
           Run{"WithFormatCheck",
               {"x.syx", "out", "-CheckWavFormat"},
               sysex + "can't open x.syx\n",
               255,
               {}},
           Run{"MissingOutputFolder", {"x.syx", "missing"}, sysex + "can't open x.syx\n", 255, {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    TransferWriterFailed, Outcomes,
    Values(Run{"Sysex",
               {"bank.syx", "missing"},
               sysex + "can't open missing/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"SysexConverted",
               {"bank.syx", "missing", "-R1"},
               sysex + converting + "can't open missing/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"Tape",
               {"tape.wav", "missing"},
               tape + "can't open missing/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"TapeConverted",
               {"tape.wav", "missing", "-R2"},
               tape + converting + "can't open missing/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"SlashIsAlwaysAdded",
               {"bank.syx", "missing/"},
               sysex + "can't open missing//preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"FolderIsNeverMade",
               {"bank.syx", "out/new/folder"},
               sysex + "can't open out/new/folder/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"FolderIsAFile",
               {"bank.syx", "bank.wav"},
               sysex + "can't open bank.wav/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"PercentSigns",
               {"bank.syx", "%s%d"},
               sysex + "can't open %s%d/preset1-1.txt\n" + failed,
               0,
               {}},
           Run{"FolderNamedLikeAnOption",
               {"bank.syx", "-R3"},
               sysex + "can't open -R3/preset1-1.txt\n" + failed,
               0,
               {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Success, Outcomes,
    Values(
        Run{"Syx", {"bank.syx", "out"}, sysex, 0, {"out", bank}},
        Run{"Sysex", {"bank.sysex", "out"}, sysex, 0, {"out", otherBank}},
        Run{"Wav", {"tape.wav", "out"}, tape, 0, {"out", tapeBank}},
        Run{"NamedSyx", {"syx", "out"}, sysex, 0, {"out", bank}},
        Run{"NamedSysex", {"sysex", "out"}, sysex, 0, {"out", otherBank}},
        Run{"NamedWav", {"wav", "out"}, tape, 0, {"out", tapeBank}},
        Run{"NamedDotSyx", {".syx", "out"}, sysex, 0, {"out", bank}},
        Run{"NamedDotWav", {".wav", "out"}, tape, 0, {"out", tapeBank}},
        Run{"SeveralDots", {"my.other bank.syx", "out"}, sysex, 0, {"out", bank}},
        Run{"SysexInADottedFolder", {"dumps.old/bank.syx", "out"}, sysex, 0, {"out", bank}},
        Run{"WavInADottedFolder", {"./dumps.old/my tape.wav", "out"}, tape, 0, {"out", tapeBank}},
        Run{"SysexUnderTheNameOfAWav", {"bank.wav", "out"}, tape, 0, {"out", zeroBank}},
        Run{"SlashAfterTheFolder", {"bank.syx", "out/"}, sysex, 0, {"out", bank}},
        Run{"DeepFolder", {"bank.syx", "./out.d/deep"}, sysex, 0, {"out.d/deep", bank}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Conversion, Outcomes,
    Values(Run{"SysexR1", {"bank.syx", "out", "-R1"}, sysex + converting, 0, {"out", bankAsRev3}},
           Run{"SysexR2",
               {"bank.sysex", "out", "-R2"},
               sysex + converting,
               0,
               {"out", otherBankAsRev3}},
           Run{"TapeR1", {"tape.wav", "out", "-R1"}, tape + converting, 0, {"out", tapeBankAsRev3}},
           Run{"TapeR2", {"tape.wav", "out", "-R2"}, tape + converting, 0, {"out", tapeBankAsRev3}},
           Run{"R1AndR2ConvertOnce",
               {"bank.syx", "out", "-R1", "-R2"},
               sysex + converting,
               0,
               {"out", bankAsRev3}},
           Run{"ARepeatChangesNothing",
               {"bank.syx", "out", "-R1", "-R1"},
               sysex + converting,
               0,
               {"out", bankAsRev3}},
           Run{"R3TakesNothingBack",
               {"bank.syx", "out", "-R1", "-R3"},
               sysex + converting,
               0,
               {"out", bankAsRev3}},
           Run{"AmongOtherArguments",
               {"bank.syx", "out", "other.wav", "-x", "-R2", "more"},
               sysex + converting,
               0,
               {"out", bankAsRev3}},
           Run{"FormatCheckHasNoEffectOnSysex",
               {"bank.syx", "out", "-CheckWavFormat", "-R1"},
               sysex + converting,
               0,
               {"out", bankAsRev3}},
           Run{"OutputFolderIsOptionR1",
               {"bank.syx", "-R1"},
               sysex + converting,
               0,
               {"-R1", bankAsRev3}},
           Run{"OutputFolderIsOptionR2",
               {"tape.wav", "-R2"},
               tape + converting,
               0,
               {"-R2", tapeBankAsRev3}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    NoConversion, Outcomes,
    Values(
        Run{"R3", {"bank.syx", "out", "-R3"}, sysex, 0, {"out", bank}},
        Run{"R3OnTape", {"tape.wav", "out", "-R3"}, tape, 0, {"out", tapeBank}},
        Run{"LowerCase", {"bank.syx", "out", "-r1", "-r2"}, sysex, 0, {"out", bank}},
        Run{"Longer", {"bank.syx", "out", "-R11", "-R1 ", "-R2/"}, sysex, 0, {"out", bank}},
        Run{"Shorter", {"bank.syx", "out", "-R", "-", ""}, sysex, 0, {"out", bank}},
        Run{"OptionWithin", {"bank.syx", "out", " -R1", "--R1", "x-R2"}, sysex, 0, {"out", bank}},
        Run{"WithoutDash", {"bank.syx", "out", "R1"}, sysex, 0, {"out", bank}},
        Run{"AsTheUsageShowsIt", {"bank.syx", "out", "-R1/2/3"}, sysex, 0, {"out", bank}},
        Run{"OtherRevisions", {"bank.syx", "out", "-R0", "-R4"}, sysex, 0, {"out", bank}},
        Run{"FurtherFilesAreIgnored",
            {"bank.syx", "out", "bank.sysex", "-R3", "out.d/deep"},
            sysex,
            0,
            {"out", bank}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    NoFormatCheck, Outcomes,
    Values(Run{"OfSysex", {"bank.sysex", "out", "-CheckWavFormat"}, sysex, 0, {"out", otherBank}},
           Run{"OfSysexIntoAFolderOfThatName",
               {"bank.syx", "-CheckWavFormat"},
               sysex,
               0,
               {"-CheckWavFormat", bank}},
           Run{"OtherCase",
               {"tape.wav", "out", "-checkwavformat", "-CheckWAVFormat"},
               tape,
               0,
               {"out", tapeBank}},
           Run{"LongerOrShorter",
               {"tape.wav", "out", "-CheckWavFormat ", "-CheckWavForma", "CheckWavFormat"},
               tape,
               0,
               {"out", tapeBank}}),
    nameOf);

class NameOfTheProgram : public OutcomesTest {
 protected:
  /// Options under which the program is started by a link of the name `name`.
  ProcessOptions startedAs(const std::string& name) {
    giveLink("bin/" + name, CONVERTER_PATH);
    program = folder / ("bin/" + name);
    return {.argument0 = name};
  }
};

TEST_F(NameOfTheProgram, IsFixedInTheUsageText) {
  expectOutcome({}, {.output = usage}, startedAs("AnotherName"));
}

TEST_F(NameOfTheProgram, IsNoArgumentOfTheTwo) {
  expectOutcome({"bank.syx"}, {.output = usage}, startedAs("-R1"));
}

TEST_F(NameOfTheProgram, CountsAsOptionR1) {
  expectOutcome({"bank.syx", "out"},
                {.output = sysex + converting, .written = transferFiles("out", bankAsRev3)},
                startedAs("-R1"));
}

TEST_F(NameOfTheProgram, CountsAsOptionR2) {
  expectOutcome({"tape.wav", "out"},
                {.output = tape + converting, .written = transferFiles("out", tapeBankAsRev3)},
                startedAs("-R2"));
}

TEST_F(NameOfTheProgram, CountsAsOptionCheckWavFormat) {
  expectOutcome({"tape.wav", "out"},
                {.output = tape + "Wav format -> SampleRate 44100 BitDepth 16\n",
                 .written = {{"out/format", "OK: SampleRate 44100\n"}}},
                startedAs("-CheckWavFormat"));
}

TEST_F(NameOfTheProgram, CountsAsOptionOnlyAsAWhole) {
  ProcessOptions options = startedAs("-R1");
  options.argument0 = "bin/-R1";
  expectOutcome({"bank.syx", "out"}, {.output = sysex, .written = transferFiles("out", bank)},
                options);
}

using TransferFilesOfARun = OutcomesTest;

TEST_F(TransferFilesOfARun, ReplaceOlderOnesAndLeaveOtherFilesAlone) {
  give("out/preset1-1.txt", std::string(1000, 'x'));
  give("out/preset5-8.txt", "");
  give("out/preset6-1.txt", "not of this program");
  give("out/format", "OK: SampleRate 44100\n");
  expectOutcome({"bank.syx", "out"}, {.output = sysex, .written = transferFiles("out", bank)});
}

TEST_F(TransferFilesOfARun, GoNowhereElseForAnEmptyFolder) {
  allowOrdinaryUser();
  expectOutcome({"bank.syx", ""}, {.output = sysex + "can't open /preset1-1.txt\n" + failed},
                {.asOrdinaryUser = true});
}

struct SysexContent {
  std::string name;
  std::string file;
  std::string bank;
};

void PrintTo(const SysexContent& content, std::ostream* stream) { *stream << content.name; }

class SysexContents : public ConverterTest, public ::testing::WithParamInterface<SysexContent> {};

TEST_P(SysexContents, GiveTheBankAsFarAsTheyReach) {
  give("bank.syx", GetParam().file);
  expectOutcome({"bank.syx", "out"},
                {.output = sysex, .written = transferFiles("out", GetParam().bank)});
}

/// `bank` up to `size` bytes, then zeros.
std::string bankUpTo(std::size_t size) { return bank.substr(0, size) + std::string(960 - size, 0); }

std::string sysexWithByte(std::size_t position, char byte) {
  std::string file = sysexFile(bank);
  file[position] = byte;
  return file;
}

INSTANTIATE_TEST_SUITE_P(
    Sysex, SysexContents,
    Values(SysexContent{"Empty", "", zeroBank}, SysexContent{"OneByte", "\xF0", zeroBank},
           // 18 messages of 53 bytes, 4 leading bytes and 42 nibbles of the next
           SysexContent{"Cut", sysexFile(bank).substr(0, 1000), bankUpTo(453)},
           SysexContent{"CutBetweenTwoNibbles", sysexFile(bank).substr(0, 1001), bankUpTo(453)},
           SysexContent{"WithoutTheLastByte", sysexFile(bank).substr(0, 2119), bank},
           SysexContent{"WithoutTheLastNibble", sysexFile(bank).substr(0, 2118), bankUpTo(959)},
           SysexContent{"Longer", sysexFile(bank) + std::string(2880, 0x0F), bank},
           SysexContent{"FirstByteFF", sysexWithByte(0, '\xFF'), zeroBank},
           // 53 bytes and 4 leading bytes come before the data of the second preset
           SysexContent{"ByteFFInTheSecondPreset", sysexWithByte(57, '\xFF'), bankUpTo(24)},
           SysexContent{"LastByteFF", sysexWithByte(2119, '\xFF'), bank}),
    nameOf);

using RecordingNamedLikeABank = ConverterTest;

TEST_F(RecordingNamedLikeABank, IsReadAsABank) {
  // The bytes of the header after "RIFF" are taken as pairs of nibbles, like the silence after it.
  const std::string header(
      "RIFF\x58\x08\0\0WAVEfmt \x10\0\0\0\x01\0\x01\0\x44\xAC\0\0\x88\x58\x01\0\x02\0\x10\0"
      "data\x34\x08\0\0",
      44);
  const std::string firstBytes(
      "\xD8\0\x57\x56\xF6\x74\x10\0\x01\x01\xC4\0\x88\x01\x02\x10\x74\x74\xB4\0", 20);
  give("tape.syx", header + std::string(2100, '\0'));
  expectOutcome(
      {"tape.syx", "out"},
      {.output = sysex, .written = transferFiles("out", firstBytes + std::string(940, '\0'))});
}

}  // namespace
