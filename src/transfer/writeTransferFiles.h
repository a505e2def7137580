#pragma once

#include <sstream>
#include <string>

/// `value` as text, in the default formatting of a string output stream.
template <typename T>
std::string to_string(T value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

/// The transfer file of the 24-byte revision-3 record at `record`: 46 lines of key=value.
std::string transferText(const char* record);

/// Writes one transfer file for each of the first `count` revision-3 records (24 bytes each) at
/// `bank`, in preset1-1.txt to preset5-8.txt of `outputFolder`, which must
/// exist. Returns 0, or -1 after naming on standard output the first file that can't be opened; the
/// files before that one stay, the later ones are not written. Failed writes are not detected.
int writeTransferFiles(const char* bank, int count, std::string outputFolder);
