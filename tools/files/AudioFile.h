#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// The kinds of file that make a difference to the converter.
enum class WavKind { NoWav, Plain, Extensible };

/// What an audio file says of itself.
struct AudioFormat {
  std::string container;  // in words, such as "WAV"
  std::string codec;      // in words, such as "Signed 16 bit PCM"
  int bits = 0;           // a sample, 0 where the codec has no such width
  bool isLossy = false;   // the codec leaves out what it takes for inaudible
  WavKind wavKind = WavKind::NoWav;
  bool isIntegerPcm = false;
  int sampleRate = 0;       // frames a second
  int channels = 0;         // at least 1
  std::int64_t frames = 0;  // 0 where that is not known
};

/// How messages name the recording at `path`; "-" is standard input.
std::string inputName(const std::string& path);

/// Throws the Failure of a recording at `path` that can't be read: why, and what to do about it.
[[noreturn]] void failReading(const std::string& path, const std::string& reason,
                              const std::string& remedy);

/// A recording that is read once from its beginning to its end.
class AudioFile {
 public:
  virtual ~AudioFile() = default;
  AudioFile(const AudioFile&) = delete;
  AudioFile& operator=(const AudioFile&) = delete;

  /// Opens the recording at `path`, or standard input for "-". Throws Failure.
  static std::unique_ptr<AudioFile> open(const std::string& path);

  const AudioFormat& format() const { return description; }

  /// Reads the next `frames` frames, interleaved, full scale at -1.0 to 1.0; 0 at the end. Returns
  /// how many were read. Throws Failure.
  virtual std::size_t read(float* samples, std::size_t frames) = 0;

 protected:
  explicit AudioFile(AudioFormat format) : description(std::move(format)) {}

 private:
  AudioFormat description;
};
