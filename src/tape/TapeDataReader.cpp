#include "tape/TapeDataReader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

/// A class of half-periods, by what `readTillFlip` returns: the length in samples less one.
struct FlipCountRange {
  int lowest;
  int highest;

  constexpr bool contains(int flipCount) const {
    return flipCount >= lowest && flipCount <= highest;
  }
};

constexpr FlipCountRange longHalfPeriod{34, 48};  // 0.79 to 1.11 ms, a tone of 450 to 630 Hz
constexpr FlipCountRange shortHalfPeriod{4, 18};  // 0.11 to 0.43 ms, a tone of 1,160 to 4,410 Hz

constexpr int longsPerZeroBit = 4;
constexpr int shortsPerOneBit = 12;
constexpr int leaderOnes = 10;

std::FILE* openForWriting(const char* name) {
  std::FILE* file = std::fopen(name, "wb");
  if (file == nullptr) {
    std::printf("can't open %s\n", name);
    std::exit(EXIT_SUCCESS);
  }
  return file;
}

constexpr int lowestBit(char cell) { return cell & 1; }

[[noreturn]] void waitForever() {
  // A compiler may drop an endless loop that does nothing; a volatile write keeps it.
  [[maybe_unused]] volatile bool isWaiting = true;
  while (true) {
    isWaiting = true;
  }
}

}  // namespace

void TapeDataReader::readPresetData(float* sampleBuffer, int count) {
  samples = sampleBuffer;
  numSamples = static_cast<float>(count);
  readPos = 0;
  lastWasShort = 0;
  lastSample = 0.0F;
  shortCount = 0;

  readConsec(leaderOnes - 1);
  waitforZero();

  int bitCount = 0;
  const auto storeBit = [this, &bitCount](char bit) {
    if (bitCount < bitStreamSize) {
      bitStream[bitCount++] = bit;
    }
  };

  int longCount = 0;
  while (hasSamplesLeft()) {
    lastFlipCount = readTillFlip();
    const CompletedBit bit = countHalfPeriod(lastFlipCount, longCount);
    if (bit == CompletedBit::Zero) {
      storeBit(0);
      longCount = 0;
    } else if (bit == CompletedBit::One) {
      storeBit(1);
    }
  }
  // The decode lasts until `count` is reached, but `readTillFlip` reads only up to `numSamples`,
  // which above 16,777,216 can be less.
  if (readPos < count) {
    waitForever();
  }

  regroupBits();
}

void TapeDataReader::getRawPresetBankBytes(char* bank) const {
  for (int preset = 0; preset < presetCount; ++preset) {
    getRawPresetBytes(preset, bank + presetSize * preset);
  }
}

void TapeDataReader::getRawPresetBytes(int preset, char* out) const {
  if (preset < 0 || preset >= presetCount) {
    return;
  }
  for (int byte = 0; byte < presetSize; ++byte) {
    out[byte] = packedByte(preset, byte);
  }
}

void TapeDataReader::savePresetDataAsBitStreamToFile() const {
  std::FILE* file = openForWriting("myOutput.dat");
  for (const auto& preset : presetData) {
    for (const auto& byte : preset) {
      for (const char slot : byte) {
        std::fputc(lowestBit(slot), file);
      }
      std::fputc('\n', file);
    }
    std::fputc('\n', file);
  }
  // The last line repeats the last data bit before the bits that follow the data.
  for (int cell = bitStreamSize - bitsPerByte; cell < bitStreamSize; ++cell) {
    std::fputc(lowestBit(bitStream[cell]), file);
  }
  std::fputc('\n', file);
  std::fclose(file);
}

void TapeDataReader::saveRawPresetBankDataToFile() const {
  std::FILE* file = openForWriting("myOutput.tap");
  for (int preset = 0; preset < presetCount; ++preset) {
    writePreset(preset, file);
  }
  std::fclose(file);
}

void TapeDataReader::saveIndividualRawPresetDataToFiles() const {
  for (int preset = 0; preset < presetCount; ++preset) {
    const std::string name = "bank" + std::to_string(presetGroup(preset)) + "preset" +
                             std::to_string(presetNumber(preset)) + ".prs";
    std::FILE* file = openForWriting(name.c_str());
    writePreset(preset, file);
    std::fclose(file);
  }
}

int TapeDataReader::readTillFlip() {
  const float* const start = samples + readPos;
  const float* const end = samples + endOfData();
  const auto isPositive = [](float sample) { return getSign(sample) > 0; };
  const float* const flip = isPositive(lastSample) ? std::find_if_not(start, end, isPositive)
                                                   : std::find_if(start, end, isPositive);

  const auto count = static_cast<int>(flip - start);
  if (flip == end) {
    readPos += count;
    if (count > 0) {
      lastSample = end[-1];
    }
    return -1;
  }
  readPos += count + 1;
  lastSample = *flip;
  return count;
}

void TapeDataReader::readConsec(int ones) {
  int oneBits = 0;
  int longCount = 0;
  while (hasSamplesLeft() && oneBits <= ones) {
    const CompletedBit bit = countHalfPeriod(readTillFlip(), longCount);
    if (bit == CompletedBit::Zero) {
      // `longCount` is not reset, so a longer run of longs clears the ones only once.
      oneBits = 0;
    } else if (bit == CompletedBit::One) {
      ++oneBits;
    }
  }
}

void TapeDataReader::waitforZero() {
  int zeroBits = 0;
  int longCount = 0;
  while (hasSamplesLeft() && zeroBits < 1) {
    lastFlipCount = readTillFlip();
    if (countHalfPeriod(lastFlipCount, longCount) == CompletedBit::Zero) {
      ++zeroBits;
      longCount = 0;
    }
  }
}

/// Counts the half-period of `flipCount` toward a bit of its class and returns the bit that is now
/// complete. A change of class drops an unfinished bit; a half-period of neither class, however
/// long, changes nothing. After a one bit `shortCount` is 0 again; `longCount` is the caller's to
/// reset.
TapeDataReader::CompletedBit TapeDataReader::countHalfPeriod(int flipCount, int& longCount) {
  if (longHalfPeriod.contains(flipCount)) {
    longCount = lastWasShort != 0 ? 1 : longCount + 1;
    lastWasShort = 0;
    return longCount == longsPerZeroBit ? CompletedBit::Zero : CompletedBit::None;
  }
  if (shortHalfPeriod.contains(flipCount)) {
    shortCount = lastWasShort == 1 ? shortCount + 1 : 1;
    lastWasShort = 1;
    if (shortCount == shortsPerOneBit) {
      shortCount = 0;
      return CompletedBit::One;
    }
  }
  return CompletedBit::None;
}

/// The first position from `readPos` on that is no longer below `numSamples`. Both are compared in
/// single precision, in which positions above 16,777,216 share values with their neighbours.
int TapeDataReader::endOfData() const {
  if (!hasSamplesLeft()) {
    return readPos;
  }
  auto end = static_cast<std::int64_t>(std::ceil(numSamples));
  while (static_cast<float>(end - 1) >= numSamples) {
    --end;
  }
  return static_cast<int>(end);
}

void TapeDataReader::regroupBits() {
  const char* cell = bitStream;
  for (auto& preset : presetData) {
    for (auto& byte : preset) {
      for (char& slot : byte) {
        slot = static_cast<char>(lowestBit(*cell++));
      }
    }
  }
}

/// The eight bits of a decoded byte; the first is the most significant.
char TapeDataReader::packedByte(int preset, int byte) const {
  int packed = 0;
  for (const char slot : presetData[preset][byte]) {
    packed = packed * 2 + lowestBit(slot);
  }
  return static_cast<char>(packed);
}

void TapeDataReader::writePreset(int preset, std::FILE* file) const {
  char bytes[presetSize];
  getRawPresetBytes(preset, bytes);
  std::fwrite(bytes, 1, sizeof bytes, file);
}
