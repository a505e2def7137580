#pragma once

#include <cstdio>

#include "preset/PresetBank.h"

/// The sample rate, in frames a second, for which the lengths of half-periods hold.
inline constexpr int tapeSampleRate = 44100;

/// Decodes the sampled signal of a cassette dump into the 40 preset records. The signal is a leader
/// of one bits, a zero bit as start marker and 7,680 data bits, each byte most significant bit
/// first; a zero bit is four long half-periods, a one bit twelve short ones. Only the sign of a
/// sample counts. A signal that ends early leaves the remaining bits as they were, zero at first.
class TapeDataReader {
 public:
  /// Decodes the first `count` values of `sampleBuffer`, one channel at 44,100 samples a second, to
  /// the end. The buffer is only read; the caller owns it and keeps it during the call. Does not
  /// return if `count` rounds down in single precision, which only counts above 16,777,216 do.
  void readPresetData(float* sampleBuffer, int count);

  /// Writes the 960 bytes of the decoded bank to `bank`.
  void getRawPresetBankBytes(char* bank) const;

  /// Writes the 24 bytes of the decoded record with the 0-based index `preset` to `out`; nothing if
  /// the index is outside 0 to 39.
  void getRawPresetBytes(int preset, char* out) const;

  // Diagnostic files in the working directory; no run of the converter writes them. If one can't be
  // opened, its name is printed and the process ends with status 0.

  /// Writes the decoded bits as bytes 0 and 1 to "myOutput.dat": a line a preset byte, an empty
  /// line after each preset, and a last line with the last eight cells of the bit store.
  void savePresetDataAsBitStreamToFile() const;

  /// Writes the 960 bytes of the bank to "myOutput.tap".
  void saveRawPresetBankDataToFile() const;

  /// Writes the 24 bytes of each record to "bank1preset1.prs" to "bank5preset8.prs".
  void saveIndividualRawPresetDataToFiles() const;

  /// +1 for a sample above 0.0, -1 for every other, NaN included.
  static constexpr int getSign(float sample) { return sample > 0.0F ? 1 : -1; }

  /// Reads up to and including the next sample whose sign differs from that of the sample before.
  /// Returns the number of samples read before it: after the first call, the length of the
  /// half-period less one. Returns -1 at the end of the data, which closes no half-period.
  int readTillFlip();

  /// Reads on until `ones` + 1 one bits have come without a complete zero bit among them, or to the
  /// end of the data.
  void readConsec(int ones);

  /// Reads on to the end of the first complete zero bit, or to the end of the data.
  void waitforZero();

 protected:
  static constexpr int bitsPerByte = 8;
  static constexpr int dataBits = presetBankSize * bitsPerByte;
  static constexpr int bitStreamSize = dataBits + bitsPerByte - 1;  // further bits are dropped

  float* samples = nullptr;
  float numSamples = 0.0F;  // a float on purpose, exact up to 16,777,216
  int readPos = 0;
  char bitStream[bitStreamSize] = {};
  char presetData[presetCount][presetSize][bitsPerByte] = {};  // most significant bit first
  int lastWasShort = 0;   // 1 after a short half-period, 0 after a long one
  int shortCount = 0;     // short half-periods toward the current one bit
  int lastFlipCount = 0;  // what readTillFlip returned last, outside the leader search
  float lastSample = 0.0F;

 private:
  enum class CompletedBit { None, Zero, One };

  bool hasSamplesLeft() const { return numSamples > static_cast<float>(readPos); }
  int endOfData() const;
  CompletedBit countHalfPeriod(int flipCount, int& longCount);
  void regroupBits();
  char packedByte(int preset, int byte) const;
  void writePreset(int preset, std::FILE* file) const;
};
