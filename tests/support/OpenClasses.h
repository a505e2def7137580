#pragma once

#include <string>

#include "audio/WavLoader.h"
#include "tape/TapeDataReader.h"

/// A loader whose members can be looked at.
class OpenWavLoader : public WavLoader {
 public:
  using WavLoader::audioBuffer;
  using WavLoader::bitDepth;
  using WavLoader::numberOfSamples;
  using WavLoader::numChannels;
  using WavLoader::sampleRate;
};

/// A tape reader whose members can be looked at and set.
class OpenTapeDataReader : public TapeDataReader {
 public:
  using TapeDataReader::bitStream;
  using TapeDataReader::lastFlipCount;
  using TapeDataReader::lastSample;
  using TapeDataReader::lastWasShort;
  using TapeDataReader::numSamples;
  using TapeDataReader::presetData;
  using TapeDataReader::readPos;
  using TapeDataReader::samples;
  using TapeDataReader::shortCount;

  /// The 960 bytes of the bank.
  std::string bank() const {
    std::string bytes(presetBankSize, '\xAA');
    getRawPresetBankBytes(bytes.data());
    return bytes;
  }
};
