#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "docs/Documents.h"
#include "signal/TapeSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

// Functions, since every process of every test would make them at its start otherwise.
std::string sysex() { return readFile(EXAMPLE_BANK_PATH); }
std::string bank() { return bankOf(sysex()); }
std::string monoRecording() { return wavFile({}, pcmBytes({recordTape(dumpSignal(bank()))}, 16)); }
FileTree rightPresets() { return transferFiles("out", bank()); }

/// A document that shows commands, and what is there after all of them.
struct Guide {
  std::string document;
  FileTree (*made)();                               // new or changed by the commands
  FileTree (*given)() = [] { return FileTree{}; };  // besides the recordings and the bank
};

void PrintTo(const Guide& guide, std::ostream* stream) { *stream << guide.document; }

/// Installing and building is done by scripts, not here.
bool isForAScript(const std::string& command) {
  static const std::regex start("(apt-get|tar|cmake) .*");
  return std::regex_match(command, start);
}

bool isManPage(const std::string& document) { return !document.ends_with(".md"); }

std::vector<std::string> commandsOf(const std::string& document) {
  return isManPage(document) ? ManPage(document).examples() : shellCommands(documentText(document));
}

FileTree joined(FileTree tree, const FileTree& more) {
  tree.insert(more.begin(), more.end());
  return tree;
}

FileTree newFolder(const std::string& name) {
  return joined({{name + "/", ""}}, transferFiles(name, bank()));
}

const FileTree rightFormat{{"out/format", "OK: SampleRate 44100\n"}};

const std::vector<Guide> guides{
    {"README.md", [] { return joined(rightFormat, rightPresets()); }},
    {"docs/troubleshooting.md",
     [] {
       return joined(rightFormat, {{"fixed.wav", monoRecording()}});
     }},
    {"Kestrel7ToTransferFiles.1",
     [] {
       return joined(joined(rightFormat, rightPresets()),
                     joined(newFolder("first"), newFolder("second")));
     }},
    {"Kestrel7SysexToTape.1",
     [] { return joined(newFolder("from-tape"), newFolder("from-sysex")); }},
    {"kestrel7-bank.5", [] { return transferFiles("out", asRevision3(bank())); }},
    {"kestrel7-recording.5",
     [] {
       return FileTree{{"fixed.wav", monoRecording()}};
     }},
    {"kestrel7-transfer.5", [] { return FileTree{}; }, rightPresets},
};

class DocumentedCommands : public ConverterTest, public ::testing::WithParamInterface<Guide> {
 protected:
  DocumentedCommands() {
    const std::string recording = monoRecording();
    give("dump.wav", recording);
    give("dump2.wav", recording);
    give("recording.wav", stereoRecording());
    give("bank.syx", sysex());
    for (const auto& [path, content] : GetParam().given()) {
      give(path, content);
    }
  }

  /// Runs a command as shown, with the documents where they are here.
  ProcessResult follow(const std::string& command) {
    static const std::regex documentFolder("/usr/share/doc/kestrel7totransferfiles");
    return runInShell(std::regex_replace(command, documentFolder, PROJECT_FOLDER));
  }

 private:
  /// The dump is on the left channel.
  static std::string stereoRecording() {
    const std::vector<float> left = recordTape(dumpSignal(bank()));
    const std::vector<float> right(left.size());
    return wavFile({.numChannels = 2}, pcmBytes({left, right}, 16));
  }
};

TEST_P(DocumentedCommands, DoWhatIsSaidOfThem) {
  FileTree tree = treeOf(folder.path());
  for (const std::string& command : commandsOf(GetParam().document)) {
    if (!isForAScript(command)) {
      const bool areDifferent = command.starts_with("diff out/preset");
      const ProcessResult result = follow(command);
      EXPECT_EQ(result.status, areDifferent ? 1 : 0) << command << "\n" << result.errors;
    }
  }
  for (const auto& [path, content] : GetParam().made()) {
    tree.insert_or_assign(path, content);
  }
  EXPECT_EQ(differences(treeOf(folder.path()), tree), "");
}

const auto nameOfDocument = [](const auto& guide) { return asTestName(guide.param.document); };

INSTANTIATE_TEST_SUITE_P(Documents, DocumentedCommands, ::testing::ValuesIn(guides),
                         nameOfDocument);

/// The documents of the project: those in its folder, in docs and of the sample bank.
std::vector<std::string> documents() {
  std::vector<std::string> documents{"README.md", "examples/README.md", "fuzz/README.md"};
  for (const std::string& name : filesIn(projectPath("docs"))) {
    if (name.ends_with(".md")) {
      documents.push_back("docs/" + name);
    }
  }
  return documents;
}

/// What the project's own check does besides these tests.
std::string textOfScripts() {
  std::string text = documentText(".ci/run");
  for (const std::string& name : filesIn(projectPath("scripts"))) {
    text += documentText("scripts/" + name);
  }
  return text;
}

bool isRunBy(const std::string& scripts, const std::string& command) {
  return std::regex_search(scripts, std::regex("[ (]" + literally(command) + "( &&|\\)|\n)"));
}

TEST(Documents, ShowNoCommandThatIsNotRun) {
  // scripts/check-documents runs those of these two where the project is checked out.
  const std::set<std::string> checkedOut{"docs/development.md", "docs/what-comes-out.md"};
  const std::string scripts = textOfScripts();
  for (const std::string& document : checkedOut) {
    EXPECT_THAT(scripts, HasSubstr(document));
  }

  std::set<std::string> followed;
  for (const Guide& guide : guides) {
    followed.insert(guide.document);
  }
  for (const std::string& document : documents()) {
    if (checkedOut.contains(document)) {
      continue;
    }
    for (const std::string& command : commandsOf(document)) {
      if (isForAScript(command)) {
        EXPECT_TRUE(isRunBy(scripts, command)) << document << ": " << command;
      } else {
        EXPECT_THAT(followed, Contains(document)) << command;
      }
    }
  }
  for (const std::string& page : manPageNames()) {
    EXPECT_TRUE(followed.contains(page)) << page;
  }
}

/// What links to the headings of `markdown` end in.
std::set<std::string> anchorsOf(const std::string& markdown) {
  std::set<std::string> anchors;
  for (const std::string& line : linesOf(markdown)) {
    if (line.starts_with("#")) {
      std::string anchor;
      for (const char letter : line.substr(line.find(' ') + 1)) {
        if (letter == ' ') {
          anchor += '-';
        } else if (std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-') {
          anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        }
      }
      anchors.insert(anchor);
    }
  }
  return anchors;
}

TEST(Documents, LinkToWhatIsThere) {
  const std::regex link(R"(\]\(([^)#:]*)(#([^)]*))?\))");
  for (const std::string& document : documents()) {
    const std::string text = documentText(document);
    for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at) {
      const std::filesystem::path target =
          (*at)[1].length() == 0 ? std::filesystem::path(document)
                                 : std::filesystem::path(document).parent_path() / (*at)[1].str();
      ASSERT_TRUE(std::filesystem::is_regular_file(projectPath(target.string())))
          << document << " links to " << (*at)[1];
      if ((*at)[3].matched) {
        EXPECT_THAT(anchorsOf(documentText(target.string())), Contains((*at)[3].str()))
            << document << " links to " << (*at)[0];
      }
    }
  }
}

TEST(Documents, ShowATestAsItIs) {
  EXPECT_THAT(documentText("docs/development.md"),
              HasSubstr("`tests/cli/SlowTapeTest.cpp`:\n\n```cpp\n" +
                        documentText("tests/cli/SlowTapeTest.cpp") + "```\n"));
}

/// All that the one group of `pattern` matches in `text`.
std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  const std::sregex_token_iterator first(text.begin(), text.end(), regex, 1);
  return {first, std::sregex_token_iterator()};
}

/// A run for each line of the README's table.
struct ReadmeOutcome {
  std::string name;
  std::string situation;
  std::vector<std::string> arguments;
};

void PrintTo(const ReadmeOutcome& outcome, std::ostream* stream) { *stream << outcome.situation; }

const std::vector<ReadmeOutcome> readmeOutcomes{
    {"Recording", "recording converted", {"dump.wav", "out"}},
    {"Bank", "SysEx bank converted, with `-R1` or `-R2`", {"bank.syx", "out", "-R1"}},
    {"OneArgument", "fewer than two arguments", {"dump.wav"}},
    {"OtherExtension", "extension not `wav`, `syx` or `sysex`", {"dump.WAV", "out"}},
    {"MissingRecording", "WAV input can't be opened", {"missing.wav", "out"}},
    {"MissingBank", "SysEx input can't be opened", {"missing.syx", "out"}},
    {"MissingFolder", "a transfer file can't be opened", {"dump.wav", "none"}},
    {"Check", "format check done", {"dump.wav", "out", "-CheckWavFormat"}},
    {"CheckWithoutFolder",
     "format check, report can't be opened",
     {"dump.wav", "none", "-CheckWavFormat"}},
};

class ReadmeOutcomes : public ConverterTest, public ::testing::WithParamInterface<ReadmeOutcome> {
 protected:
  ReadmeOutcomes() {
    give("dump.wav", monoRecording());
    give("bank.syx", sysex());
  }
};

TEST_P(ReadmeOutcomes, AreAsTheTableHasThem) {
  const auto rows = tableRows(documentText("README.md"), "Situation");
  const auto row = std::find_if(rows.begin(), rows.end(), [](const TableRow& cells) {
    return cells.front() == GetParam().situation;
  });
  ASSERT_NE(row, rows.end());
  const ProcessResult result = runProgram(GetParam().arguments);
  EXPECT_EQ(std::to_string(result.status), row->at(2));

  std::string pattern;
  for (const std::string& message : matches(row->at(1), "`([^`]+)`")) {
    pattern += literally(message) + "\n?";
  }
  pattern = std::regex_replace(pattern, std::regex("FILE|FOLDER"), "[^ \n]+");
  if (row->at(1) == "the usage") {
    pattern = "usage: [^]*";
  }
  EXPECT_TRUE(std::regex_match(result.output, std::regex(pattern)))
      << result.output << "is not " << pattern;
}

INSTANTIATE_TEST_SUITE_P(Rows, ReadmeOutcomes, ::testing::ValuesIn(readmeOutcomes), nameOf);

TEST(Documents, HaveARunForEachOutcomeOfTheReadme) {
  EXPECT_THAT(tableRows(documentText("README.md"), "Situation"), SizeIs(readmeOutcomes.size()));
}

TEST(Documents, HaveTheOptionsOfTheConverter) {
  std::set<std::string> options;
  for (const TableRow& row : tableRows(documentText("README.md"), "Option")) {
    for (const std::string& option : matches(row.front(), "`([^`]+)`")) {
      options.insert(option);
    }
  }
  EXPECT_EQ(options, (std::set<std::string>{"-R1", "-R2", "-R3", "-CheckWavFormat"}));
}

}  // namespace
