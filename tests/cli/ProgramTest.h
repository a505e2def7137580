#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/Files.h"
#include "support/Process.h"

/// Files by their paths, with their bytes. The path of a folder ends in "/", its bytes are none; in
/// place of bytes a symbolic link has "-> " and its target, a file above 64 MiB its size.
using FileTree = std::map<std::string, std::string>;

/// All that stands below `folder`.
FileTree treeOf(const std::string& folder);

/// Where `actual` differs from `expected`, a line each; empty where they are alike.
std::string differences(const FileTree& actual, const FileTree& expected);

/// The transfer files of the first `count` records of `bank` (960 bytes, revision 3) in `folder`.
FileTree transferFiles(const std::string& folder, std::string_view bank, int count = 40);

/// The texts of the 40 transfer files in `folder`, in the order of the records.
std::vector<std::string> transferTextsIn(const std::string& folder);

/// The bank of an instrument of revision 1 or 2 in the arrangement of revision 3.
std::string asRevision3(std::string_view bank);

/// The bytes of the recording of a dump of the records in `records`: 16 bits, mono. Of fewer than
/// 40 records it is accordingly short.
std::string tapeRecording(std::string_view records);

/// Names a test after the `name` of its parameter.
inline constexpr auto nameOf = [](const auto& parameterInfo) { return parameterInfo.param.name; };

/// All that can be seen of a run.
struct Outcome {
  std::string output = {};  // looked at where it is captured
  int status = 0;
  int signal = 0;  // that ended the program, which then has no status
  ::testing::Matcher<std::string> errors = ::testing::IsEmpty();
  FileTree written = {};  // files that are new or have new bytes
};

/// Runs a program in a folder of its own, which holds an empty folder "out".
class ProgramTest : public ::testing::Test {
 protected:
  explicit ProgramTest(std::string programPath);

  /// Puts a file, and the folders that its path names, into the folder of the run.
  void give(const std::string& path, std::string_view content);

  void giveFolder(const std::string& path);

  void giveLink(const std::string& path, const std::string& target);

  /// Sets what may be done with a file or folder; root may do everything all the same.
  void allow(const std::string& path, std::filesystem::perms permissions);

  /// Lets an ordinary user read all that is in the folder of the run by now and write to its "out".
  void allowOrdinaryUser();

  ProcessResult runProgram(const std::vector<std::string>& arguments, ProcessOptions options = {});

  /// Runs the program and compares all that can be seen of it, all files in the folder included.
  void expectOutcome(const std::vector<std::string>& arguments, const Outcome& expected,
                     const ProcessOptions& options = {});

  TemporaryFolder folder;
  std::string program;
};

class ConverterTest : public ProgramTest {
 protected:
  ConverterTest() : ProgramTest(CONVERTER_PATH) {}

  /// Runs a command line, in the folder of the run if `options` name no other. The shell finds the
  /// programs, and sox dithers alike in every run.
  ProcessResult runInShell(const std::string& command, ProcessOptions options = {});
};
