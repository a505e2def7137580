#pragma once

#include <string>
#include <string_view>

/// A file in memory that is opened by a path like any other.
class MemoryFile {
 public:
  MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();

  /// The path, the same as long as the object lives.
  std::string path() const;

  /// Replaces what is in the file.
  void write(std::string_view content) const;

  /// What has been written to the file so far.
  std::string read() const;

 protected:
  int descriptor;
};

/// The descriptor that the next file to be opened gets: a later call returns the same unless a file
/// was left open, or one too many closed.
int nextDescriptor();

/// Takes the standard output of the process away from the terminal, for the rest of the process.
class CapturedOutput : private MemoryFile {
 public:
  CapturedOutput();

  /// What the process has printed since the last call.
  std::string take() const;
};
