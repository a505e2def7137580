#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
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

const std::string projectFolder = PROJECT_FOLDER;

const std::string bank = bytesOf(randomBank(21));

/// A document that shows commands, and what is there after all of them.
struct Guide {
  std::string document;
  FileTree made;        // new or changed by the commands
  FileTree given = {};  // besides the recordings and the bank
};

void PrintTo(const Guide& guide, std::ostream* stream) { *stream << guide.document; }

/// Installing and building is done by scripts, not here.
bool isForAScript(const std::string& command) {
  static const std::regex start("(apt-get|tar|cmake|./convert) .*");
  return std::regex_match(command, start);
}

bool isManPage(const std::string& document) { return !document.ends_with(".md"); }

std::vector<std::string> commandsOf(const std::string& document) {
  return isManPage(document) ? ManPage(document).examples() : shellCommands(documentText(document));
}

FileTree operator+(FileTree tree, const FileTree& more) {
  tree.insert(more.begin(), more.end());
  return tree;
}

FileTree newFolder(const std::string& name) {
  return FileTree{{name + "/", ""}} + transferFiles(name, bank);
}

const std::string monoRecording = wavFile({}, pcmBytes({recordTape(dumpSignal(bank))}, 16));
const FileTree rightFormat{{"out/format", "OK: SampleRate 44100\n"}};
const FileTree rightPresets = transferFiles("out", bank);

const std::vector<Guide> guides{
    {"README.md", rightFormat + rightPresets},
    {"docs/troubleshooting.md", rightFormat + FileTree{{"fixed.wav", monoRecording}}},
    {"Kestrel7ToTransferFiles.1",
     rightFormat + rightPresets + newFolder("first") + newFolder("second")},
    {"Kestrel7SysexToTape.1", newFolder("from-tape") + newFolder("from-sysex")},
    {"kestrel7-bank.5", transferFiles("out", asRevision3(bank))},
    {"kestrel7-recording.5", {{"fixed.wav", monoRecording}}},
    {"kestrel7-transfer.5", {}, rightPresets},
};

class DocumentedCommands : public ConverterTest, public ::testing::WithParamInterface<Guide> {
 protected:
  DocumentedCommands() {
    give("dump.wav", monoRecording);
    give("dump2.wav", monoRecording);
    give("recording.wav", stereoRecording());
    give("bank.syx", sysexFile(bank));
    for (const auto& [path, content] : GetParam().given) {
      give(path, content);
    }
  }

  /// Runs a command line where the programs are installed.
  ProcessResult perform(const std::string& command) {
    const std::string programs = std::filesystem::path(CONVERTER_PATH).parent_path().string();
    return run({"/bin/sh", "-c", command},
               {.workingFolder = folder.path(),
                .environment = {"PATH=" + programs + ":" + std::getenv("PATH")}});
  }

 private:
  /// The dump is on the left channel.
  static std::string stereoRecording() {
    const std::vector<float> left = recordTape(dumpSignal(bank));
    const std::vector<float> right(left.size());
    return wavFile({.numChannels = 2}, pcmBytes({left, right}, 16));
  }
};

TEST_P(DocumentedCommands, DoWhatIsSaidOfThem) {
  FileTree tree = treeOf(folder.path());
  for (const std::string& command : commandsOf(GetParam().document)) {
    if (!isForAScript(command)) {
      const bool areDifferent = command.starts_with("diff out/preset");
      const ProcessResult result = perform(command);
      EXPECT_EQ(result.status, areDifferent ? 1 : 0) << command << "\n" << result.errors;
    }
  }
  for (const auto& [path, content] : GetParam().made) {
    tree.insert_or_assign(path, content);
  }
  EXPECT_EQ(differences(treeOf(folder.path()), tree), "");
}

const auto nameOfDocument = [](const auto& guide) {
  return std::regex_replace(guide.param.document, std::regex("[^A-Za-z0-9]"), "_");
};

INSTANTIATE_TEST_SUITE_P(Documents, DocumentedCommands, ::testing::ValuesIn(guides),
                         nameOfDocument);

/// The documents of the project: those in its folder, in docs and of the sample bank.
std::vector<std::string> documents() {
  std::vector<std::string> documents{"README.md", "examples/README.md", "fuzz/README.md"};
  for (const std::string& name : filesIn(projectFolder + "/docs")) {
    if (name.ends_with(".md")) {
      documents.push_back("docs/" + name);
    }
  }
  return documents;
}

/// What the project's own check does besides these tests.
std::string textOfScripts() {
  std::string text = readFile(projectFolder + "/.ci/run");
  for (const std::string& name : filesIn(projectFolder + "/scripts")) {
    text += documentText("scripts/" + name);
  }
  return text;
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
    for (const std::string& command : commandsOf(document)) {
      if (isForAScript(command) && !checkedOut.contains(document)) {
        EXPECT_THAT(scripts, HasSubstr(command)) << document;
      } else if (!checkedOut.contains(document)) {
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
      ASSERT_TRUE(std::filesystem::is_regular_file(std::filesystem::path(projectFolder) / target))
          << document << " links to " << (*at)[1];
      if ((*at)[3].matched) {
        EXPECT_THAT(anchorsOf(documentText(target.string())), Contains((*at)[3].str()))
            << document << " links to " << (*at)[0];
      }
    }
  }
}

/// Whether a test of this program has the full name `pattern`, in which "*" is anything.
bool isTest(const std::string& pattern) {
  std::string name = std::regex_replace(pattern, std::regex(R"([.\\])"), R"(\$&)");
  const std::regex regex(std::regex_replace(name, std::regex(R"(\*)"), ".*"));
  const auto& program = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      if (std::regex_match(suite.name() + std::string(".") + suite.GetTestInfo(j)->name(), regex)) {
        return true;
      }
    }
  }
  return false;
}

TEST(Documents, ShowATestAsItIs) {
  EXPECT_THAT(documentText("docs/development.md"),
              HasSubstr("`tests/cli/SlowTapeTest.cpp`:\n\n```cpp\n" +
                        documentText("tests/cli/SlowTapeTest.cpp") + "```\n"));
}

TEST(Documents, NameTestsThatThereAre) {
  const std::regex quoted("`([^`]+)`");
  const auto rows = tableRows(documentText("docs/development.md"), "Behaviour");
  EXPECT_FALSE(rows.empty());
  for (const TableRow& row : rows) {
    const std::string& tests = row.back();
    EXPECT_TRUE(std::regex_search(tests, quoted)) << row.front();
    for (std::sregex_iterator at(tests.begin(), tests.end(), quoted), end; at != end; ++at) {
      EXPECT_TRUE(isTest((*at)[1])) << (*at)[1];
    }
  }
}

}  // namespace
