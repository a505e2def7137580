#pragma once

#include <cstdio>

/// Reads a bank of 40 presets from a SysEx bank file: per preset 4 leading bytes, 48 nibble bytes
/// (low nibble first) and 1 trailing byte, found by counting alone.
class Kestrel7SysexReaderWriter {
 public:
  Kestrel7SysexReaderWriter() = delete;

  /// Fills the 960 bytes at `bank` from `file`, from its current position on. The end of the file,
  /// a read error or a byte 0xFF ends the reading without a message; the bytes of `bank` from there
  /// on keep what they held. `file` stays open and is the caller's.
  static void getRawBankDataFromSysexFile(std::FILE* file, char* bank);

  /// The counterpart of the reader. Writes nothing.
  static void writeBankSysexFile(std::FILE* file, const char* bank);
};
