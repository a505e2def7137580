#pragma once

#include <cstdio>

#include "preset/PresetBank.h"

/// Frames a second on which all counts of samples here rest.
inline constexpr int tapeSampleRate = 44100;

/// Decodes the sampled signal of a cassette dump into the 40 preset records. The signal is a leader
/// of one bits, a zero bit as start marker and 7,680 data bits, each byte most significant bit
/// first; a zero bit is four long half-periods, a one bit twelve short ones. Only the sign of a
/// sample counts. A signal that ends early leaves the rest of the bits as they were, zero at first.
class TapeDataReader {
 public:
  /// Decodes the first `count` values of `sampleBuffer`, one channel at 44,100 samples a second, to
  /// the end. The caller owns the buffer and keeps it during the call. Never returns where `count`
  /// as a float is reached before `count` itself, which takes more than 16,777,216 samples.
  void readPresetData(float* sampleBuffer, int count);

  /// Writes the 960 bytes of the decoded bank to `bank`.
  void getRawPresetBankBytes(char* bank) const;

  /// Writes the 24 bytes of the decoded record with the 0-based index `preset` to `out`; nothing if
  /// the index is outside 0 to 39.
  void getRawPresetBytes(int preset, char* out) const;

  /// Writes the decoded bits as bytes 0 and 1 to "myOutput.dat" in the working directory, a line a
  /// preset byte, and a last line with the last eight cells of the bit store. This and the next two
  /// operations name on standard output a file that can't be opened and end the process with
  /// status 0.
  void savePresetDataAsBitStreamToFile() const;

  /// Writes the 960 bytes of the bank to "myOutput.tap" in the working directory.
  void saveRawPresetBankDataToFile() const;

  /// Writes the 24 bytes of each record to "bank1preset1.prs" to "bank5preset8.prs" in the working
  /// directory.
  void saveIndividualRawPresetDataToFiles() const;

  /// +1 for a sample above 0.0, -1 for every other, NaN included.
  static constexpr int getSign(float sample) { return sample > 0.0F ? 1 : -1; }

  /// Reads up to and including the next sample whose sign differs from that of the sample before.
  /// Returns the number of samples before it in this call, or -1 at the end of the data.
  int readTillFlip();

  /// Reads on until `ones` + 1 one bits have come without a complete zero bit among them, or to the
  /// end of the data.
  void readConsec(int ones);

  /// Reads on to the end of the first complete zero bit, or to the end of the data.
  void waitforZero();

 protected:
  static constexpr int bitsPerByte = 8;
  static constexpr int dataBits = presetBankSize * bitsPerByte;
  static constexpr int bitStreamSize = dataBits + bitsPerByte - 1;

  float* samples = nullptr;
  float numSamples = 0.0F;
  int readPos = 0;
  char bitStream[bitStreamSize] = {};
  char presetData[presetCount][presetSize][bitsPerByte] = {};
  int lastWasShort = 0;
  int shortCount = 0;
  int lastFlipCount = 0;
  float lastSample = 0.0F;

 private:
  /// What the half-period counted last has completed.
  enum class Group { None, Longs, Shorts };

  Group countHalfPeriod(int flipCount, int& longCount);
  int endOfData() const;
  char packedByte(int preset, int byte) const;
  void writePreset(int preset, std::FILE* file) const;
};
