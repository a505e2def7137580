#pragma once

#include <cstdint>

/// The first 24 bytes of a "fmt " chunk as they stand in the file, all values little-endian.
struct WaveFormatHeader {
  char chunkId[4] = {'f', 'm', 't', ' '};
  std::uint32_t chunkSize = 16;   // bytes of the chunk's body
  std::uint16_t audioFormat = 1;  // 1 is integer PCM
  std::uint16_t numChannels = 0;
  std::uint32_t sampleRate = 0;  // frames a second
  std::uint32_t byteRate = 0;    // bytes a second
  std::uint16_t blockAlign = 0;  // bytes a frame
  std::uint16_t bitsPerSample = 24;
};

/// Loads one WAV file of integer PCM into a buffer of floating-point samples.
class WavLoader {
 public:
  WavLoader() = default;
  WavLoader(const WavLoader&) = delete;
  WavLoader& operator=(const WavLoader&) = delete;
  virtual ~WavLoader();

  /// Reads and converts the file at `path`; only its first 16,777,216 bytes count. Accepts
  /// RIFF/WAVE with at most one JUNK chunk, a 16-byte format chunk (integer PCM, whole bytes a
  /// sample) and the data chunk, in that order. Samples of 8, 16, 24 and 32 bits are read; any
  /// other width, and a file without channels, loads as zeros. Returns false, without a message and
  /// with all members untouched, if the file can't be read, is laid out differently or claims more
  /// samples than fit. A sample that scales to outside -1.0 to 1.0 (of 32 bits, any but 0) ends the
  /// process by an assertion, a block align of 0 by SIGFPE. Throws std::bad_alloc if there is too
  /// little memory. A second file that loads replaces the first.
  bool load(const char* path);

  /// Bits a sample; 0 before a file is loaded.
  int getBitDepth() const { return bitDepth; }

  /// Frames a second; 0 before a file is loaded.
  int getSampleRate() const { return sampleRate; }

  /// The samples, in about -0.5 to +0.5 (8-bit samples are read as signed): channel after channel,
  /// `getNumberOfSamples()` each. Null before a file is loaded. The loader owns the buffer and
  /// keeps it until it loads another file or is destroyed.
  float* getAudioBuffer() const { return audioBuffer; }

  /// Samples a channel, not the total; 0 before a file is loaded.
  int getNumberOfSamples() const { return numberOfSamples; }

 protected:
  float* audioBuffer = nullptr;
  int bitDepth = 0;
  int sampleRate = 0;
  int numChannels = 0;
  int numberOfSamples = 0;
};
