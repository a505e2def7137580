#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/Files.h"
#include "support/Process.h"

/// The arguments of a run: words with blanks between them, or a list where an argument has a blank
/// or is empty.
struct Arguments : std::vector<std::string> {
  Arguments(const char* words);
  Arguments(std::initializer_list<std::string> list) : vector(list) {}
};

/// Files by their paths, with their bytes. The path of a folder ends in "/"; a symbolic link has
/// "-> " and its target in place of bytes.
using FileTree = std::map<std::string, std::string>;

/// The transfer files of the first `count` records of `bank` (960 bytes, revision 3) in `folder`.
FileTree transferFiles(const std::string& folder, std::string_view bank, int count = 40);

/// Banks of 40 different records that hold the same settings, by the bytes at which each stands.
std::string revision1Bank();
std::string revision3Bank();

/// `records` and zeros for the rest of a bank.
std::string filledUp(std::string_view records);

/// The bytes of the recording of a dump of `records`: 16 bits, mono. Of fewer than 40 records it is
/// accordingly short.
std::string tapeRecording(std::string_view records, int leaderOnes = 12);

/// What the converter says.
namespace messages {
inline const std::string tape = "reading tape data..\n";
inline const std::string sysex = "reading sysex data..\n";
inline const std::string converting = "converting to Revision 3..\n";
inline const std::string rightFormat = "Wav format -> SampleRate 44100 BitDepth 16\n";
inline const std::string failed = "hmmm, that didn't work..";
}  // namespace messages

/// The report of a format check that finds the right sample rate.
FileTree rightReport(const std::string& folder = "out");

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

  /// Takes away all that is in a folder.
  void emptyFolder(const std::string& path);

  void giveLink(const std::string& path, const std::string& target);

  /// Sets what may be done with a file or folder; root may do everything all the same.
  void allow(const std::string& path, int permissions);

  /// Options for a run by an ordinary user, who may read all that is in the folder by now and write
  /// to its "out".
  ProcessOptions asOrdinaryUser();

  /// Runs the program or, where KESTREL7_RUN names one, a shell script that gets its path first.
  ProcessResult runProgram(const Arguments& arguments, ProcessOptions options = {});

  /// Runs the program and compares all that can be seen of it, all files in the folder included.
  void expectOutcome(const Arguments& arguments, const Outcome& expected,
                     const ProcessOptions& options = {});

  TemporaryFolder folder;
  std::string program;
};

class ConverterTest : public ProgramTest {
 protected:
  ConverterTest() : ProgramTest(CONVERTER_PATH) {}
};
