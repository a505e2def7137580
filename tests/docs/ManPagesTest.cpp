#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <map>
#include <ostream>
#include <regex>
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

namespace {

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Key;
using ::testing::Pair;
using ::testing::SizeIs;

const std::string converterPage = "Kestrel7ToTransferFiles.1";
const std::string makerPage = "Kestrel7SysexToTape.1";

class ManPages : public ::testing::TestWithParam<std::string> {};

TEST_P(ManPages, AreFormattedWithoutAWarning) {
  const std::string path = manPagePath(GetParam());
  for (const std::string& formatter :
       {"man --warnings=w -l " + path, "groff -ww -t -man -Tutf8 -P-cbou " + path}) {
    const ProcessResult result =
        run({"/bin/sh", "-c", formatter}, {.environment = {"LC_ALL=C", "MANWIDTH=80"}});
    EXPECT_EQ(result.status, 0) << formatter;
    EXPECT_EQ(result.errors, "") << formatter;
    EXPECT_THAT(result.output, HasSubstr("NAME")) << formatter;
  }
}

TEST_P(ManPages, BearTheVersionOfTheNewestRelease) {
  const std::string changelog = documentText("packaging/changelog");
  const std::string version =
      changelog.substr(changelog.find('(') + 1, changelog.find(')') - changelog.find('(') - 1);
  EXPECT_THAT(readFile(manPagePath(GetParam())),
              HasSubstr("\"Kestrel7ToTransferFiles " + version + "\""));
}

TEST_P(ManPages, ReferToPagesThatExist) {
  const std::string source = ManPage(GetParam()).text();
  const std::regex reference(R"(\.BR (\S+) \((\d)\))");
  std::set<std::string> pages;
  for (std::sregex_iterator at(source.begin(), source.end(), reference), end; at != end; ++at) {
    pages.insert((*at)[1].str() + "." + (*at)[2].str());
  }
  EXPECT_FALSE(pages.empty());
  for (const std::string& page : pages) {
    EXPECT_THAT(manPageNames(), Contains(page));
  }
}

const auto nameOfPage = [](const auto& page) { return asTestName(page.param); };

INSTANTIATE_TEST_SUITE_P(All, ManPages, ::testing::ValuesIn(manPageNames()), nameOfPage);

/// A line of the table of keys.
struct Setting {
  std::string name;
  std::string value;
  std::size_t byte;
  std::string meaning;
};

std::vector<Setting> documentedSettings() {
  std::vector<Setting> settings;
  for (const TableRow& row : ManPage("kestrel7-transfer.5").rows(4)) {
    if (row.front() != "Key") {
      settings.push_back({row[0], row[1], std::stoul(row[2]), row[3]});
    }
  }
  return settings;
}

/// How the lines of all keys look where every switch and every value is the lowest or the highest.
std::vector<std::string> linesWith(bool highest) {
  std::vector<std::string> lines;
  for (const Setting& key : documentedSettings()) {
    const std::string number = !highest ? "0" : key.value == "0 or 1" ? "1" : "127";
    lines.push_back(key.name + "=" + number + (key.value == "n/127" ? "/127" : ""));
  }
  return lines;
}

class TransferFilePage : public ConverterTest {
 protected:
  /// The lines of the transfer files of `bank`, a file each.
  std::vector<std::vector<std::string>> convert(const std::string& bank) {
    give("bank.syx", sysexFile(bank));
    EXPECT_EQ(runProgram({"bank.syx", "out"}).status, 0);
    std::vector<std::vector<std::string>> files;
    for (const std::string& text : transferTextsIn(folder / "out")) {
      files.push_back(linesOf(text));
    }
    return files;
  }
};

TEST_F(TransferFilePage, ListsTheKeysInTheOrderOfTheFileWithTheirValues) {
  EXPECT_THAT(documentedSettings(), SizeIs(46));
  EXPECT_EQ(convert(std::string(960, '\0')).front(), linesWith(false));
  EXPECT_EQ(convert(std::string(960, '\xFF')).front(), linesWith(true));
}

TEST_F(TransferFilePage, TellsTheByteOfEachKey) {
  // In record n only byte n is not 0.
  std::string bank(960, '\0');
  for (std::size_t byte = 0; byte < 24; ++byte) {
    bank[byte * 24 + byte] = '\xFF';
  }
  const auto files = convert(bank);
  const auto lowest = linesWith(false);
  const auto highest = linesWith(true);
  const auto keys = documentedSettings();
  ASSERT_THAT(keys, SizeIs(46));
  for (std::size_t byte = 0; byte < 24; ++byte) {
    std::vector<std::string> expected = lowest;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i].byte == byte) {
        expected[i] = highest[i];
      }
    }
    EXPECT_EQ(files[byte], expected) << "byte " << byte;
  }
}

std::set<std::string> tagsOf(const std::map<std::string, std::string>& entries) {
  std::set<std::string> tags;
  for (const auto& [tag, text] : entries) {
    tags.insert(tag);
  }
  return tags;
}

TEST_F(TransferFilePage, TellsOfEachKeyWhatItsPartsStandFor) {
  const std::map<std::string, std::string> words{{"OSC", "oscillator"},
                                                 {"A", "oscillator A"},
                                                 {"B", "oscillator B"},
                                                 {"PULSE", "pulse wave"},
                                                 {"SAW", "sawtooth wave"},
                                                 {"TRI", "triangle wave"},
                                                 {"SQUARE", "square wave"},
                                                 {"SYNC", "sync"},
                                                 {"KBD", "keyboard"},
                                                 {"PW", "pulse width"},
                                                 {"FREQ", "frequency"},
                                                 {"FINE", "fine tuning"},
                                                 {"LOW", "low"},
                                                 {"FILT", "filter"},
                                                 {"FILTER", "filter"},
                                                 {"CUTOFF", "cutoff"},
                                                 {"RESONANCE", "resonance"},
                                                 {"ENV", "envelope"},
                                                 {"AMT", "amount"},
                                                 {"AMP", "amplifier"},
                                                 {"ATK", "attack"},
                                                 {"DEC", "decay"},
                                                 {"SUS", "sustain"},
                                                 {"REL", "release"},
                                                 {"MIX", "mix"},
                                                 {"NOISE", "noise"},
                                                 {"LFO", "LFO"},
                                                 {"POLY-MOD", "poly-mod"},
                                                 {"P-MOD", "poly-mod"},
                                                 {"W-MOD", "W-MOD"},
                                                 {"SOURCE", "source"},
                                                 {"UNISON", "unison"},
                                                 {"RELEASE", "release"},
                                                 {"GLIDE", "glide"}};
  for (const Setting& setting : documentedSettings()) {
    for (const std::string& part : split(setting.name, '_')) {
      ASSERT_TRUE(words.contains(part)) << part;
      EXPECT_THAT(setting.meaning, HasSubstr(words.at(part))) << setting.name;
    }
  }
}

/// A message as the manual has it, as a pattern of what is printed: FILE is any path, N any number.
std::string patternOf(const std::string& message) {
  const std::string pattern =
      std::regex_replace(literally(message), std::regex(R"(\bFILE\b)"), "[^ ]+");
  return std::regex_replace(pattern, std::regex(R"(\bN\b)"), "[0-9]+");
}

/// A run that prints a message of the manual, and how it ends.
struct Situation {
  std::string name;
  std::string message;
  std::vector<std::string> arguments;
  int status = 0;
  int signal = 0;
  std::string cause = {};  // what the manual has before the status where it has several
  ProcessOptions options = {};
};

void PrintTo(const Situation& situation, std::ostream* stream) { *stream << situation.name; }

/// What the manual calls the end of a run.
std::string endOf(const Situation& situation) {
  switch (situation.signal) {
    case SIGABRT:
      return "SIGABRT";
    case SIGFPE:
      return "SIGFPE";
    default:
      return std::to_string(situation.status);
  }
}

/// What the manual says of the end of a run.
std::string documentedEndOf(const Situation& situation) {
  if (!situation.cause.empty()) {
    return situation.cause + "exit status " + endOf(situation);
  }
  return (situation.signal == 0 ? "Exit status " : "by ") + endOf(situation);
}

const std::string usage =
    "usage: Kestrel7ToTransferFiles [44.1k wav file or SysexFile] outputFolder -R1/2/3";
const std::string checkUsage =
    "usage: Kestrel7ToTransferFiles [wav file] outputFolder -CheckWavFormat";

const std::vector<Situation> converterSituations{
    {"FormatCheck",
     "Wav format -> SampleRate N BitDepth N",
     {"tape.wav", "out", "-CheckWavFormat"}},
    {"NoArguments", usage, {}},
    {"OneArgument", checkUsage, {"tape.wav"}},
    {"OtherExtension", "expected syx, sysex or wav file..", {"tape.WAV", "out"}, 255},
    {"MissingRecording", "can't open FILE", {"missing.wav", "out"}, 0, 0, "A recording: "},
    {"MissingBank", "can't open FILE", {"missing.syx", "out"}, 255, 0, "A SysEx bank: "},
    {"NoFolderForTheCheck",
     "can't open FILE",
     {"tape.wav", "none", "-CheckWavFormat"},
     255,
     0,
     ".IR outputFolder /format:\n"},
    {"NoFolder", "can't open FILE", {"bank.syx", "none"}, 0, 0, "A transfer file: "},
    {"NoFolderEither", "hmmm, that didn't work..", {"bank.syx", "none"}},
    {"Positive32Bits", "Assertion `v <= 1.0' failed.", {"positive.wav", "out"}, 0, SIGABRT},
    {"Negative32Bits", "Assertion `v >= -1.0' failed.", {"negative.wav", "out"}, 0, SIGABRT},
    {"LittleMemory", "std::bad_alloc", {"tape.wav", "out"}, 0, SIGABRT, "", withMemory(16)},
    {"NegativeSize",
     "std::bad_array_new_length",
     {"size.wav", "out"},
     0,
     SIGABRT,
     "",
     withMemory(1024)},
};

/// Messages that say nothing of how a run ends.
const std::vector<Situation> converterProgress{
    {"Recording", "reading tape data..", {"tape.wav", "out"}},
    {"Bank", "reading sysex data..", {"bank.syx", "out"}},
    {"Revision1", "converting to Revision 3..", {"bank.syx", "out", "-R1"}},
};

class ConverterMessages : public ConverterTest, public ::testing::WithParamInterface<Situation> {
 protected:
  ConverterMessages() {
    give("bank.syx", sysexFile(std::string(960, '\x01')));
    give("tape.wav", tapeRecording(std::string(24, '\x01')));
    give("positive.wav", wavFile({.bitsPerSample = 32}, std::string("\x01\0\0\0", 4)));
    give("negative.wav", wavFile({.bitsPerSample = 32}, std::string("\xFF\xFF\xFF\xFF", 4)));
    // 32,768 channels of 65,536 frames: 2^31 samples are -2^31 in 32 bits.
    give("size.wav", wavFile({.numChannels = 32768, .bitsPerSample = 8, .blockAlign = 1},
                             std::string(65536, '\0')));
  }
};

/// Compares a run with what `page` has for it. Returns what it says of the message.
std::string expectDocumented(const Situation& situation, const ProcessResult& result,
                             const std::string& page) {
  const bool isMemory = situation.message.starts_with("std::bad_");
  EXPECT_THAT(result.output + result.errors,
              isMemory
                  ? allocationFailure(situation.message)
                  : ::testing::Matcher<std::string>(ContainsRegex(patternOf(situation.message))));
  EXPECT_EQ(result.signal, situation.signal);
  EXPECT_EQ(result.status, situation.signal == 0 ? situation.status : -1);

  const ManPage manual(page);
  EXPECT_THAT(manual.entries("EXIT STATUS"), Contains(Key(endOf(situation))));
  const auto messages = manual.entries("DIAGNOSTICS");
  EXPECT_THAT(messages, Contains(Key(situation.message)));
  return messages.contains(situation.message) ? messages.at(situation.message) : "";
}

/// The same, and the message tells how the run ends.
void expectDocumentedEnd(const Situation& situation, const ProcessResult& result,
                         const std::string& page) {
  EXPECT_THAT(expectDocumented(situation, result, page), HasSubstr(documentedEndOf(situation)));
}

TEST_P(ConverterMessages, AreAsThePageHasThem) {
  expectDocumentedEnd(GetParam(), runProgram(GetParam().arguments, GetParam().options),
                      converterPage);
}

using ConverterProgress = ConverterMessages;

TEST_P(ConverterProgress, IsAsThePageHasIt) {
  expectDocumented(GetParam(), runProgram(GetParam().arguments), converterPage);
}

INSTANTIATE_TEST_SUITE_P(Situations, ConverterMessages, ::testing::ValuesIn(converterSituations),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(Situations, ConverterProgress, ::testing::ValuesIn(converterProgress),
                         nameOf);

const std::vector<Situation> makerSituations{
    {"NoArguments", "usage: Kestrel7SysexToTape bank.syx recording.wav", {}, 1},
    {"MissingBank", "can't open FILE", {"missing.syx", "tape.wav"}, 1},
    {"NoFolder", "can't open FILE", {"bank.syx", "none/tape.wav"}, 1},
    {"ShortBank", "FILE is not a complete SysEx bank of 40 presets", {"short.syx", "tape.wav"}, 1},
    {"BankAsRecording", "FILE is the bank itself", {"bank.syx", "bank.syx"}, 1},
    {"FullDisk",
     "can't write FILE",
     {"bank.syx", "tape.wav"},
     1,
     0,
     "",
     {.largestFile = 4096, .ignoreFileSizeSignal = true}},
};

class MakerMessages : public ProgramTest, public ::testing::WithParamInterface<Situation> {
 protected:
  MakerMessages() : ProgramTest(SYSEX_TO_TAPE_PATH) {
    give("bank.syx", sysexFile(std::string(960, '\x01')));
    give("short.syx", "\xF0");
  }
};

TEST_P(MakerMessages, AreAsThePageHasThem) {
  expectDocumentedEnd(GetParam(), runProgram(GetParam().arguments, GetParam().options), makerPage);
}

INSTANTIATE_TEST_SUITE_P(Situations, MakerMessages, ::testing::ValuesIn(makerSituations), nameOf);

TEST_F(ConverterTest, EndsByTheSignalThatThePageHasForABlockAlignOf0) {
  give("x.wav", wavFile({.blockAlign = 0}, std::string(4, '\0')));
  EXPECT_EQ(runProgram({"x.wav", "out"}).signal, SIGFPE);
  const ManPage page(converterPage);
  EXPECT_THAT(page.entries("EXIT STATUS"),
              Contains(Pair("SIGFPE", HasSubstr("with a block align of 0"))));
  EXPECT_THAT(page.text(), HasSubstr("A block align of 0 ends the program by SIGFPE"));
}

/// The messages and the ends of all situations.
struct Seen {
  std::set<std::string> messages;
  std::set<std::string> ends;

  void add(const std::vector<Situation>& situations) {
    for (const Situation& situation : situations) {
      messages.insert(situation.message);
      ends.insert(endOf(situation));
    }
  }
};

TEST(ConverterPage, HasNoMessageAndNoExitStatusThatNoSituationHas) {
  Seen seen;
  seen.add(converterSituations);
  seen.add(converterProgress);
  seen.ends.insert("SIGFPE");
  seen.messages.insert("file too large to be a k7 sysex bank");  // which no file sets off
  const ManPage page(converterPage);
  EXPECT_EQ(tagsOf(page.entries("DIAGNOSTICS")), seen.messages);
  EXPECT_EQ(tagsOf(page.entries("EXIT STATUS")), seen.ends);
}

TEST(MakerPage, HasNoMessageAndNoExitStatusThatNoSituationHas) {
  Seen seen;
  seen.add(makerSituations);
  seen.ends.insert("0");
  const ManPage page(makerPage);
  EXPECT_EQ(tagsOf(page.entries("DIAGNOSTICS")), seen.messages);
  EXPECT_EQ(tagsOf(page.entries("EXIT STATUS")), seen.ends);
}

/// The messages in a source file: its string literals that have spaces or are lines, with FILE and
/// N for what is filled in.
std::vector<std::string> messagesOf(const std::string& source) {
  std::vector<std::string> messages;
  const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
  for (const std::string& line : linesOf(source)) {
    if (line.starts_with("static_assert")) {
      continue;
    }
    for (std::sregex_iterator at(line.begin(), line.end(), literal), end; at != end; ++at) {
      const std::string text = (*at)[1];
      if (text.find(' ') != std::string::npos || text.ends_with("\\n")) {
        std::string message = std::regex_replace(text, std::regex(R"(\\n$)"), "");
        message = std::regex_replace(message, std::regex("%s"), "FILE");
        messages.push_back(std::regex_replace(message, std::regex("%d"), "N"));
      }
    }
  }
  return messages;
}

TEST(ConverterPage, HasEveryMessageOfTheProgram) {
  const ManPage page(converterPage);
  std::set<std::string> documented = tagsOf(page.entries("DIAGNOSTICS"));
  documented.insert("or");
  documented.insert({"FILE=N", "FILE=N/127"});  // what stands in transfer files
  for (const std::string report : {"OK: SampleRate N", "WRONG SAMPLERATE: SampleRate N"}) {
    EXPECT_THAT(std::regex_replace(page.text(), std::regex("44100"), "N"), HasSubstr(report));
    documented.insert(report);
  }
  std::set<std::string> printed{"std::bad_alloc", "std::bad_array_new_length",
                                "Assertion `v <= 1.0' failed.", "Assertion `v >= -1.0' failed."};
  for (const std::string& path : filesIn(projectPath("src"))) {
    if (path.ends_with(".cpp")) {
      for (const std::string& message : messagesOf(documentText("src/" + path))) {
        printed.insert(message);
      }
    }
  }
  EXPECT_EQ(printed, documented);
}

TEST(MakerPage, HasEveryMessageOfTheProgram) {
  const ManPage page(makerPage);
  std::set<std::string> printed;
  for (const std::string& message : messagesOf(documentText("tools/Kestrel7SysexToTape.cpp"))) {
    // The path comes before or after it.
    printed.insert(message.starts_with(" ") ? "FILE" + message
                   : message.ends_with(" ") ? message + "FILE"
                                            : message);
  }
  EXPECT_THAT(page.text(), HasSubstr("after \"Kestrel7SysexToTape: \""));
  printed.erase("Kestrel7SysexToTape: FILE");
  EXPECT_EQ(printed, tagsOf(page.entries("DIAGNOSTICS")));
}

}  // namespace
