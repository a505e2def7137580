#include "cli/ProgramTest.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

#include "signal/DumpSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace fs = std::filesystem;

namespace {

/// A bank of 40 records that differ in byte 0, which is the same setting in each revision.
std::string bankOfRecords(std::string record) {
  std::string bank;
  for (char number = 40; number < 80; ++number) {
    record.front() = number;
    bank += record;
  }
  return bank;
}

std::string contentOf(const fs::directory_entry& entry) {
  if (entry.is_symlink()) {
    return "-> " + fs::read_symlink(entry).string();
  }
  constexpr std::uintmax_t most = 64 * 1024 * 1024;
  if (entry.is_regular_file() && entry.file_size() > most) {
    return std::to_string(entry.file_size()) + " bytes";
  }
  std::ostringstream content;
  if (entry.is_regular_file()) {
    content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
  }
  return content.str();
}

/// All that stands below `folder`.
FileTree treeOf(const std::string& folder) {
  FileTree tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().lexically_relative(folder).string();
    const bool isFolder = entry.is_directory() && !entry.is_symlink();
    tree.emplace(isFolder ? path + "/" : path, contentOf(entry));
  }
  return tree;
}

std::string firstDifference(const std::string& actual, const std::string& expected) {
  const auto at = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  const auto position = static_cast<std::size_t>(at.first - actual.begin());
  const auto excerpt = [position](const std::string& text) {
    return ::testing::PrintToString(text.substr(position, 60));
  };
  return "from byte " + std::to_string(position) + " on " + excerpt(actual) + " instead of " +
         excerpt(expected);
}

/// Where `actual` differs from `expected`, a line each; empty where they are alike.
std::string differences(const FileTree& actual, const FileTree& expected) {
  std::ostringstream list;
  for (const auto& [path, content] : expected) {
    const auto found = actual.find(path);
    if (found == actual.end()) {
      list << path << " is missing\n";
    } else if (found->second != content) {
      list << path << " holds " << firstDifference(found->second, content) << "\n";
    }
  }
  for (const auto& [path, content] : actual) {
    if (!expected.contains(path)) {
      list << path << " should not be there\n";
    }
  }
  return list.str();
}

}  // namespace

Arguments::Arguments(const char* words) {
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    push_back(word);
  }
}

FileTree transferFiles(const std::string& folder, std::string_view bank, int count) {
  FileTree files;
  for (int record = 0; record < count; ++record) {
    files.emplace(folder + "/" + transferName(record),
                  expectedTransferText(bank.substr(static_cast<std::size_t>(24 * record), 24)));
  }
  return files;
}

// The values are the numbers of their bytes in revision 1. On are POLY-MOD_FREQ_A (byte 3 in
// revision 1, 8 in revision 3), UNISON (8 and 7) and RELEASE (17 and 15).
std::string revision1Bank() {
  return bankOfRecords({0,  1,  2,  '\x83', 4,  5,      6,  7,  '\x88', 9,  10, 11,
                        12, 13, 14, 15,     16, '\x91', 18, 19, 20,     21, 22, 23});
}

std::string revision3Bank() {
  return bankOfRecords({0,  1,  2,  3,      4,  5,  6,  '\x87', '\x88', 9,  10, 11,
                        12, 13, 14, '\x8F', 16, 20, 21, 22,     23,     18, 19, 17});
}

std::string filledUp(std::string_view records) {
  return std::string(records) + std::string(960 - records.size(), '\0');
}

std::string tapeRecording(std::string_view records, int leaderOnes) {
  return wavFile({}, pcmBytes({recordTape(dumpSignal(records, leaderOnes))}, 16));
}

FileTree rightReport(const std::string& folder) {
  return {{folder + "/format", "OK: SampleRate 44100\n"}};
}

ProgramTest::ProgramTest(std::string programPath) : program(std::move(programPath)) {
  giveFolder("out");
}

void ProgramTest::give(const std::string& path, std::string_view content) {
  fs::create_directories(fs::path(folder / path).parent_path());
  writeFile(folder / path, content);
}

void ProgramTest::giveFolder(const std::string& path) { fs::create_directories(folder / path); }

void ProgramTest::emptyFolder(const std::string& path) {
  fs::remove_all(folder / path);
  giveFolder(path);
}

void ProgramTest::giveLink(const std::string& path, const std::string& target) {
  fs::create_directories(fs::path(folder / path).parent_path());
  fs::create_symlink(target, folder / path);
}

void ProgramTest::allow(const std::string& path, int permissions) {
  fs::permissions(folder / path, static_cast<fs::perms>(permissions));
}

ProcessOptions ProgramTest::asOrdinaryUser() {
  allow("", 0755);
  for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
    if (!entry.is_symlink()) {
      fs::permissions(entry, fs::perms{0755});
    }
  }
  allow("out", 0777);
  return {.asOrdinaryUser = true};
}

ProcessResult ProgramTest::runProgram(const Arguments& arguments, ProcessOptions options) {
  std::vector<std::string> command{program};
  if (const char* const script = std::getenv("KESTREL7_RUN")) {
    command = {"/bin/sh", script, program};
  }
  command.insert(command.end(), arguments.begin(), arguments.end());
  options.workingFolder = folder.path();
  return run(command, options);
}

void ProgramTest::expectOutcome(const Arguments& arguments, const Outcome& expected,
                                const ProcessOptions& options) {
  SCOPED_TRACE("run with " + ::testing::PrintToString(arguments));
  FileTree tree = treeOf(folder.path());
  const ProcessResult result = runProgram(arguments, options);

  if (options.standardOutput == StandardOutput::Captured) {
    EXPECT_EQ(result.output, expected.output);
  }
  EXPECT_THAT(result.errors, expected.errors);
  EXPECT_EQ(result.signal, expected.signal);
  EXPECT_EQ(result.status, expected.signal == 0 ? expected.status : -1);
  for (const auto& [path, content] : expected.written) {
    tree.insert_or_assign(path, content);
  }
  EXPECT_EQ(differences(treeOf(folder.path()), tree), "");
}
