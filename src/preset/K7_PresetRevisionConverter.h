#pragma once

/// Moves preset records between the revision-1 arrangement (instruments of revisions 1 and 2) and
/// the revision-3 arrangement. Source and destination are 24 bytes for a preset and 960 bytes for a
/// bank; they may be the same buffer, but must not overlap otherwise.
class K7_PresetRevisionConverter {
 public:
  K7_PresetRevisionConverter() = delete;

  /// Rearranges one record. No bit is lost.
  static void convertPresetRev1ToRev3(const char* source, char* destination);

  /// Rearranges one record back. This is no exact inverse: UNISON is lost, and in its place bit 7
  /// of revision-1 byte 8 repeats POLY-MOD_FREQ_A.
  static void convertPresetRev3ToRev1(const char* source, char* destination);

  /// Converts all 40 records of a bank.
  static void convertBankRev1ToRev3(const char* source, char* destination);

  /// Converts all 40 records of a bank back.
  static void convertBankRev3ToRev1(const char* source, char* destination);
};
