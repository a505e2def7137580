#include "cli/ProgramTest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

#include "signal/TapeSignal.h"
#include "signal/WavFile.h"
#include "support/Banks.h"

namespace fs = std::filesystem;

namespace {

/// The revision-3 bytes into which the switch and the value of one revision-1 byte go.
struct Destination {
  std::size_t switchTo;
  std::size_t valueTo;
};

// Line n says what byte n of a revision-1 record holds.
constexpr std::array<Destination, 24> revision1Record{{
    {22, 0},   // no key; FILT_ATK
    {23, 1},   // no key; FILT_DEC
    {11, 2},   // LFO_SAW; FILT_SUS
    {8, 3},    // POLY-MOD_FREQ_A; FILT_REL
    {9, 4},    // POLY-MOD_PW_A; AMP_ATK
    {10, 5},   // POLY-MOD_FILT; AMP_DEC
    {1, 6},    // OSC_A_SAW; AMP_SUS
    {0, 7},    // OSC_A_PULSE; AMP_REL
    {7, 8},    // UNISON; FILTER_CUTOFF
    {6, 9},    // OSC_B_KBD; FILT_ENV_AMT
    {17, 10},  // W-MOD_FREQ_B; MIX_OSC_B
    {18, 11},  // W-MOD_PW_A; OSC_B_PW
    {12, 12},  // LFO_TRI; MIX_OSC_A
    {13, 13},  // LFO_SQUARE; OSC_A_PW
    {19, 14},  // W-MOD_PW_B; MIX_NOISE
    {20, 15},  // W-MOD_FILT; FILT_RESONANCE
    {14, 16},  // FILT_KBD; GLIDE
    {15, 23},  // RELEASE; OSC_B_FINE
    {21, 21},  // OSC_B_LOW_FREQ; OSC_A_FREQ
    {16, 22},  // W-MOD_FREQ_A; OSC_B_FREQ
    {2, 17},   // OSC_A_SYNC; LFO_FREQ
    {5, 18},   // OSC_B_PULSE; W-MOD_SOURCE_MIX
    {4, 19},   // OSC_B_TRI; P-MOD_OSC_B
    {3, 20},   // OSC_B_SAW; P-MOD_FILT_ENV
}};

constexpr std::uintmax_t mostBytes = 64 * 1024 * 1024;

std::string contentOf(const fs::directory_entry& entry) {
  if (entry.is_symlink()) {
    return "-> " + fs::read_symlink(entry).string();
  }
  if (entry.is_regular_file() && entry.file_size() > mostBytes) {
    return std::to_string(entry.file_size()) + " bytes";
  }
  std::ostringstream content;
  if (entry.is_regular_file()) {
    content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
  }
  return content.str();
}

std::string excerpt(const std::string& text, std::size_t position) {
  return ::testing::PrintToString(text.substr(position, 60));
}

std::string firstDifference(const std::string& actual, const std::string& expected) {
  const auto at = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  const auto position = static_cast<std::size_t>(at.first - actual.begin());
  return "from byte " + std::to_string(position) + " on " + excerpt(actual, position) +
         " instead of " + excerpt(expected, position);
}

}  // namespace

FileTree treeOf(const std::string& folder) {
  FileTree tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().lexically_relative(folder).string();
    const bool isFolder = entry.is_directory() && !entry.is_symlink();
    tree.emplace(isFolder ? path + "/" : path, contentOf(entry));
  }
  return tree;
}

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

FileTree transferFiles(const std::string& folder, std::string_view bank, int count) {
  FileTree files;
  for (int record = 0; record < count; ++record) {
    files.emplace(folder + "/" + transferName(record),
                  transferText(bank.substr(static_cast<std::size_t>(24 * record), 24)));
  }
  return files;
}

std::vector<std::string> transferTextsIn(const std::string& folder) {
  std::vector<std::string> texts;
  for (int record = 0; record < 40; ++record) {
    texts.push_back(readFile(folder + "/" + transferName(record)));
  }
  return texts;
}

std::string asRevision3(std::string_view bank) {
  std::string converted(bank.size(), '\0');
  for (std::size_t i = 0; i < bank.size(); ++i) {
    char* const record = &converted[i / 24 * 24];
    const auto& [switchTo, valueTo] = revision1Record[i % 24];
    record[switchTo] = static_cast<char>(record[switchTo] | (bank[i] & 0x80));
    record[valueTo] = static_cast<char>(record[valueTo] | (bank[i] & 0x7F));
  }
  return converted;
}

std::string tapeRecording(std::string_view records) {
  constexpr int leaderOnes = 12;
  return wavFile({}, pcmBytes({recordTape(dumpSignal(records, leaderOnes))}, 16));
}

ProgramTest::ProgramTest(std::string programPath) : program(std::move(programPath)) {
  giveFolder("out");
}

void ProgramTest::give(const std::string& path, std::string_view content) {
  fs::create_directories(fs::path(folder / path).parent_path());
  writeFile(folder / path, content);
}

void ProgramTest::giveFolder(const std::string& path) { fs::create_directories(folder / path); }

void ProgramTest::giveLink(const std::string& path, const std::string& target) {
  fs::create_directories(fs::path(folder / path).parent_path());
  fs::create_symlink(target, folder / path);
}

void ProgramTest::allow(const std::string& path, fs::perms permissions) {
  fs::permissions(folder / path, permissions);
}

void ProgramTest::allowOrdinaryUser() {
  fs::permissions(folder.path(), fs::perms{0755});
  for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
    if (!entry.is_symlink()) {
      fs::permissions(entry, fs::perms{0755});
    }
  }
  allow("out", fs::perms{0777});
}

ProcessResult ProgramTest::runProgram(const std::vector<std::string>& arguments,
                                      ProcessOptions options) {
  std::vector<std::string> command{program};
  command.insert(command.end(), arguments.begin(), arguments.end());
  options.workingFolder = folder.path();
  return run(command, options);
}

ProcessResult ConverterTest::runInShell(const std::string& command, ProcessOptions options) {
  const std::string programs = fs::path(CONVERTER_PATH).parent_path().string();
  if (options.workingFolder.empty()) {
    options.workingFolder = folder.path();
  }
  options.environment.push_back("SOX_OPTS=-R");
  options.environment.push_back("PATH=" + programs + ":" + std::getenv("PATH"));
  return run({"/bin/sh", "-c", command}, options);
}

void ProgramTest::expectOutcome(const std::vector<std::string>& arguments, const Outcome& expected,
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
