#pragma once

#include <string>
#include <vector>

/// Where a process's standard output goes.
enum class StandardOutput {
  Captured,
  Closed,
  FullDevice,       // every write fails for want of space
  PipeNobodyReads,  // the reading end is closed before the process starts
};

struct ProcessOptions {
  std::string argument0 = {};      // the name that the program gets; its path if empty
  std::string workingFolder = {};  // the test's own if empty
  StandardOutput standardOutput = StandardOutput::Captured;
  bool asOrdinaryUser = false;  // drops root; changes nothing if there is none to drop
  long addressSpace = 0;        // bytes at the most, unlimited if 0
  long largestFile = 0;         // bytes at the most that may be written to one file, unlimited if 0
  bool ignoreFileSizeSignal = false;  // writing beyond `largestFile` fails and raises no SIGXFSZ
  long openFiles = 0;  // at the most at a time, the standard ones included; unlimited if 0
  std::vector<std::string> environment = {};  // NAME=value, besides the test's own
  unsigned seconds = 60;                      // after which the process is ended by SIGALRM
};

struct ProcessResult {
  int status = -1;  // 0 to 255; -1 if a signal ended the process
  int signal = 0;   // 0 if the process ended by itself
  std::string output;
  std::string errors;
};

/// Runs `command` (the program's path and its arguments) to its end, without any input, with every
/// signal doing what it does by default and no file open but the standard ones.
ProcessResult run(const std::vector<std::string>& command, const ProcessOptions& options = {});
