#pragma once

#include <cstdio>

#include "preset/PresetBank.h"

/// Reads a bank of 40 presets from a SysEx bank file: per preset 4 leading bytes, 48 nibble bytes
/// (low nibble first) and 1 trailing byte, found by counting alone.
class Kestrel7SysexReaderWriter {
 public:
  /// The parts of a bank file, in bytes. The reader consumes a complete bank up to the end of the
  /// last preset's nibbles.
  static constexpr int leadingBytes = 4;
  static constexpr int nibblesPerPreset = 2 * presetSize;
  static constexpr int bytesBetweenPresets = 5;  // a trailing byte and the next leading bytes
  static constexpr int completeBankSize =
      leadingBytes + presetCount * nibblesPerPreset + (presetCount - 1) * bytesBetweenPresets;

  Kestrel7SysexReaderWriter() = delete;

  /// Fills the 960 bytes at `bank` from `file`, from its current position on. The end of the file,
  /// a read error or a byte 0xFF ends the reading without a message; the bytes of `bank` from there
  /// on keep what they held. The caller keeps `file` and closes it.
  static void getRawBankDataFromSysexFile(std::FILE* file, char* bank);

  /// The counterpart of the reader. Writes nothing.
  static void writeBankSysexFile(std::FILE* file, const char* bank);
};
