#pragma once

#include <cstdio>

/// Reads a SysEx bank file: for each of the 40 records 4 leading bytes, 48 nibble bytes (low nibble
/// first) and 1 trailing byte. They are found by counting alone: no start or end byte is looked at.
class Kestrel7SysexReaderWriter {
 public:
  Kestrel7SysexReaderWriter() = delete;

  /// Fills the 960 bytes at `bank` from `file`, from its current position on. The end of the file,
  /// a read error or a byte 0xFF ends the reading without a message, and the rest of `bank` stays
  /// as it was. `file` belongs to the caller and stays open.
  static void getRawBankDataFromSysexFile(std::FILE* file, char* bank);

  /// The counterpart of the reader. Writes nothing.
  static void writeBankSysexFile(std::FILE* file, const char* bank);
};
