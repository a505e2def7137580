#include "signal/WavFile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

/// A chunk as far as its size field, which counts `size` bytes.
std::string chunkHeader(std::string_view id, std::size_t size) {
  return std::string(id) + littleEndian(static_cast<std::int64_t>(size), 4);
}

}  // namespace

std::string littleEndian(std::int64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> (8 * i) & 0xFF);
  }
  return text;
}

std::string wavChunk(std::string_view id, std::string_view body) {
  return chunkHeader(id, body.size()) + std::string(body) + std::string(body.size() % 2, '\0');
}

std::string wavFile(const WavFormat& format, std::string_view pcm) {
  const std::string formatBody =
      littleEndian(format.audioFormat, 2) + littleEndian(format.numChannels, 2) +
      littleEndian(format.sampleRate, 4) +
      littleEndian(std::int64_t{format.sampleRate} * format.blockAlign, 4) +
      littleEndian(format.blockAlign, 2) + littleEndian(format.bitsPerSample, 2) +
      format.formatExtension;
  const std::string content = "WAVE" + format.chunksBeforeFormat + wavChunk("fmt ", formatBody) +
                              format.chunksBeforeData + wavChunk("data", pcm) +
                              format.chunksAfterData;
  return chunkHeader("RIFF", content.size()) + content;
}

std::string pcmBytes(const std::vector<std::vector<float>>& channels, int bitsPerSample) {
  const double highest = std::ldexp(1.0, bitsPerSample - 1) - 1.0;
  const std::int64_t offset = bitsPerSample == 8 ? 128 : 0;
  std::string pcm;
  for (std::size_t frame = 0; frame < channels.front().size(); ++frame) {
    for (const std::vector<float>& channel : channels) {
      const double code = std::clamp(channel[frame] * highest, -highest - 1.0, highest);
      pcm += littleEndian(std::llround(code) + offset, bitsPerSample / 8);
    }
  }
  return pcm;
}
