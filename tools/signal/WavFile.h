#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What a WAV file says of its samples, and what stands in it besides them.
struct WavFormat {
  int audioFormat = 1;  // integer PCM
  int numChannels = 1;
  std::uint32_t sampleRate = 44100;
  int bitsPerSample = 16;
  int blockAlign = numChannels * bitsPerSample / 8;  // bytes a frame
  std::string chunksBeforeFormat = {};
  std::string formatExtension = {};  // what follows the 16 bytes of the format body
  std::string chunksBeforeData = {};
  std::string chunksAfterData = {};
};

/// The lowest `bytes` bytes of `value`, the lowest first.
std::string littleEndian(std::int64_t value, int bytes);

/// A RIFF chunk: the four letters of `id`, the size and the body, padded to an even length.
std::string wavChunk(std::string_view id, std::string_view body);

/// The bytes of a WAV file around the interleaved PCM bytes `pcm`.
std::string wavFile(const WavFormat& format, std::string_view pcm);

/// The PCM bytes of samples of -1.0 to 1.0, interleaved from `channels`, which are equally long.
/// Widths are 8 (unsigned, as WAV has it), 16, 24 and 32 bits. Values beyond clip as in a
/// converter: at 0x7FFF and, one step below -1.0, at 0x8000 (0xFF and 0x00 in 8 bits).
std::string pcmBytes(const std::vector<std::vector<float>>& channels, int bitsPerSample);
