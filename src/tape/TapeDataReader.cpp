#include "tape/TapeDataReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

/// A class of half-periods, by what `readTillFlip` returns: a run of samples less one.
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

constexpr float largestExactCount =
    16'777'216.0F;  // up to which every count has a float of its own

std::FILE* openForWriting(const char* name) {
  std::FILE* file = std::fopen(name, "wb");
  if (file == nullptr) {
    std::printf("can't open %s\n", name);
    std::exit(EXIT_SUCCESS);
  }
  return file;
}

constexpr int lowestBit(char cell) { return cell & 1; }

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

  int bitIndex = -1;
  const auto storeBit = [this, &bitIndex](char bit) {
    ++bitIndex;
    if (bitIndex < bitStreamSize) {
      bitStream[bitIndex] = bit;
    }
  };

  int longCount = 0;
  // Where `numSamples` is reached before `count`, this loop goes on for ever, as it should; reading
  // the end anew each time (volatile) is what makes such a loop well defined.
  const volatile int end = count;
  while (readPos < end) {
    lastFlipCount = readTillFlip();
    switch (countHalfPeriod(lastFlipCount, longCount)) {
      case Group::Longs:
        storeBit(0);
        longCount = 0;
        break;
      case Group::Shorts:
        storeBit(1);
        break;
      case Group::None:
        break;
    }
  }

  const char* cell = bitStream;
  for (auto& preset : presetData) {
    for (auto& byte : preset) {
      for (char& slot : byte) {
        slot = static_cast<char>(lowestBit(*cell++));
      }
    }
  }
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
  // The last line begins with the last data bit, which stands in the line before it too.
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
  const bool wasPositive = getSign(lastSample) > 0;
  const float* const flip = std::find_if(
      start, end, [wasPositive](float sample) { return (getSign(sample) > 0) != wasPositive; });

  const auto count = static_cast<int>(flip - start);
  if (flip == end) {
    readPos += count;
    lastSample = count > 0 ? end[-1] : lastSample;
    return -1;
  }
  readPos += count + 1;
  lastSample = *flip;
  return count;
}

void TapeDataReader::readConsec(int ones) {
  int oneBits = 0;
  int longCount = 0;
  while (numSamples > static_cast<float>(readPos) && oneBits <= ones) {
    switch (countHalfPeriod(readTillFlip(), longCount)) {
      case Group::Longs:
        // `longCount` goes on counting, so a longer run of longs clears the ones only once.
        oneBits = 0;
        break;
      case Group::Shorts:
        ++oneBits;
        break;
      case Group::None:
        break;
    }
  }
}

void TapeDataReader::waitforZero() {
  int zeroBits = 0;
  int longCount = 0;
  while (numSamples > static_cast<float>(readPos) && zeroBits < 1) {
    lastFlipCount = readTillFlip();
    if (countHalfPeriod(lastFlipCount, longCount) == Group::Longs) {
      ++zeroBits;
      longCount = 0;
    }
  }
}

/// Counts the half-period of `flipCount` toward the group of its class; a change of class starts a
/// new group and drops an unfinished one. Counts of neither class change nothing. Returns the group
/// that is now complete; a group of shorts starts anew by itself, one of longs as the caller resets
/// `longCount`.
TapeDataReader::Group TapeDataReader::countHalfPeriod(int flipCount, int& longCount) {
  if (longHalfPeriod.contains(flipCount)) {
    longCount = lastWasShort != 0 ? 1 : longCount + 1;
    lastWasShort = 0;
    return longCount == longsPerZeroBit ? Group::Longs : Group::None;
  }
  if (shortHalfPeriod.contains(flipCount)) {
    shortCount = lastWasShort == 1 ? shortCount + 1 : 1;
    lastWasShort = 1;
    if (shortCount == shortsPerOneBit) {
      shortCount = 0;
      return Group::Shorts;
    }
  }
  return Group::None;
}

/// The first position from `readPos` on at which `numSamples` > position is false. The comparison
/// is made in single precision, in which positions above 16,777,216 share values with their
/// neighbours.
int TapeDataReader::endOfData() const {
  if (!(numSamples > static_cast<float>(readPos))) {
    return readPos;
  }
  int end = static_cast<int>(numSamples <= largestExactCount ? numSamples
                                                             : std::nextafter(numSamples, 0.0F));
  while (numSamples > static_cast<float>(end)) {
    ++end;
  }
  return end;
}

/// The eight bits of a decoded byte, the first one as the most significant.
char TapeDataReader::packedByte(int preset, int byte) const {
  int packed = 0;
  for (const char slot : presetData[preset][byte]) {
    packed = packed * 2 + lowestBit(slot);
  }
  return static_cast<char>(packed);
}

void TapeDataReader::writePreset(int preset, std::FILE* file) const {
  for (int byte = 0; byte < presetSize; ++byte) {
    std::fputc(packedByte(preset, byte), file);
  }
}
