#include "audio/WavLoader.h"

// The sample range is asserted in release builds too.
#undef NDEBUG

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>

static_assert(std::endian::native == std::endian::little, "WAV values are copied as they stand");
static_assert(sizeof(WaveFormatHeader) == 24 && std::is_trivially_copyable_v<WaveFormatHeader>);

namespace {

constexpr std::uint64_t scratchSize = 16 * 1024 * 1024;  // bytes, the most of a file that counts
constexpr std::uint64_t shortestFile = 20;               // bytes
constexpr int integerPcm = 1;

using ChunkId = std::array<char, 4>;

constexpr ChunkId riffId{'R', 'I', 'F', 'F'};
constexpr ChunkId waveId{'W', 'A', 'V', 'E'};
constexpr ChunkId junkId{'J', 'U', 'N', 'K'};
constexpr ChunkId formatId{'f', 'm', 't', ' '};
constexpr ChunkId dataId{'d', 'a', 't', 'a'};

/// The first bytes of a file, followed by zeros.
class ScratchBuffer {
 public:
  // Zeroed by calloc, the pages that the file does not reach are never touched.
  ScratchBuffer() : bytes(static_cast<char*>(std::calloc(scratchSize, 1))) {
    if (bytes == nullptr) {
      throw std::bad_alloc();
    }
  }

  /// Reads the file at `path` as far as the buffer reaches. Returns false if it can't be opened or
  /// read.
  bool readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    while (!file.eof() && total < scratchSize) {
      if (!file.good()) {
        return false;
      }
      file.read(bytes.get() + total, static_cast<std::streamsize>(scratchSize - total));
      total += static_cast<std::uint64_t>(file.gcount());
    }
    return true;
  }

  /// The bytes read from the file.
  std::uint64_t bytesRead() const { return total; }

  /// The value that stands at `position`; bytes past the buffer are zeros like those past the file.
  template <typename Value>
  Value valueAt(std::uint64_t position) const {
    std::array<char, sizeof(Value)> image{};
    if (position < scratchSize) {
      std::memcpy(image.data(), at(position),
                  std::min<std::uint64_t>(sizeof(Value), scratchSize - position));
    }
    return std::bit_cast<Value>(image);
  }

  const char* at(std::uint64_t position) const { return bytes.get() + position; }

 private:
  struct Free {
    void operator()(char* memory) const { std::free(memory); }
  };

  std::unique_ptr<char, Free> bytes;
  std::uint64_t total = 0;
};

/// Where the samples of a file stand in the scratch buffer.
struct SampleBytes {
  WaveFormatHeader format;
  std::uint64_t position;
  std::uint32_t size;
};

/// The position of the format chunk: after the RIFF header or after one JUNK chunk that follows it.
std::uint64_t formatChunkPosition(const ScratchBuffer& scratch) {
  constexpr std::uint64_t afterRiffHeader = 12;
  if (scratch.valueAt<ChunkId>(afterRiffHeader) != junkId) {
    return afterRiffHeader;
  }
  const auto size = scratch.valueAt<std::uint32_t>(afterRiffHeader + sizeof(ChunkId));
  const std::uint32_t sizeFieldAndPaddedBody = size + 4 + (size & 1);  // wraps at 32 bits
  return afterRiffHeader + sizeof(ChunkId) + sizeFieldAndPaddedBody;
}

/// Finds the samples of a WAV file of the one accepted layout; nothing in any other file.
std::optional<SampleBytes> findSamples(const ScratchBuffer& scratch) {
  if (scratch.bytesRead() < shortestFile || scratch.valueAt<ChunkId>(0) != riffId ||
      scratch.valueAt<ChunkId>(8) != waveId) {
    return std::nullopt;
  }

  std::uint64_t position = formatChunkPosition(scratch);
  if (scratch.valueAt<ChunkId>(position) != formatId) {
    return std::nullopt;
  }
  const auto format = scratch.valueAt<WaveFormatHeader>(position);
  position += sizeof format;
  if (format.audioFormat != integerPcm || format.bitsPerSample % 8 != 0) {
    return std::nullopt;
  }

  if (scratch.valueAt<ChunkId>(position) != dataId) {
    return std::nullopt;
  }
  position += sizeof dataId;
  auto size = scratch.valueAt<std::uint32_t>(position);
  position += sizeof size;
  if (size + position > scratch.bytesRead()) {
    // Wraps where the file ends inside the size field.
    size = static_cast<std::uint32_t>(scratch.bytesRead() - position);
  }
  return SampleBytes{format, position, size};
}

/// What one raw sample value is multiplied by: the divisor is the full unsigned range of the width
/// plus one half, so that 8, 16 and 24 bits come out in about -0.5 to +0.5. The shift count wraps
/// at 32, so that the divisor for 32 bits is one half.
constexpr double scaleFactor(int bitsPerSample) {
  const int shift = bitsPerSample % 32;
  const std::int32_t range = (1 << shift) - 1;
  return 1.0 / (range + 0.5);
}

/// Whether every sample of that width scales to -1.0 to 1.0.
constexpr bool isAlwaysInRange(int bitsPerSample) {
  return static_cast<double>(std::int64_t{1} << (bitsPerSample - 1)) * scaleFactor(bitsPerSample) <=
         1.0;
}
static_assert(isAlwaysInRange(8) && isAlwaysInRange(16) && isAlwaysInRange(24));

/// The interleaved frames of a file and the planar buffer that they need.
struct PcmData {
  std::uint64_t position;  // of the first byte in the scratch buffer
  int bitsPerSample;       // 0 where nothing is read: an unknown width or no channels
  int numChannels;
  int numberOfSamples;  // a channel
  int bufferSize;       // floats
};

PcmData describePcmData(const SampleBytes& samples) {
  const WaveFormatHeader& format = samples.format;
  const std::uint32_t numberOfSamples = samples.size / format.blockAlign;
  // The width is a multiple of 8 by now.
  const bool isKnownWidth = format.bitsPerSample >= 8 && format.bitsPerSample <= 32;
  const bool isRead = isKnownWidth && format.numChannels > 0;
  PcmData pcm{samples.position, isRead ? format.bitsPerSample : 0, format.numChannels,
              static_cast<int>(numberOfSamples), 0};
  // The product wraps at 32 bits. Without channels there is silence of the stated length.
  pcm.bufferSize = format.numChannels > 0 ? static_cast<int>(format.numChannels * numberOfSamples)
                                          : std::max(pcm.numberOfSamples, 0);
  return pcm;
}

/// Whether the conversion reads only inside the scratch buffer and writes only inside the sample
/// buffer. Nor may a file claim more frames than the scratch buffer has bytes: one that ends inside
/// its size field can claim any number, up to those that no decoder comes to the end of.
bool staysInsideBuffers(const PcmData& pcm) {
  if (pcm.numberOfSamples <= 0) {
    return true;
  }
  const std::int64_t samples = std::int64_t{pcm.numChannels} * pcm.numberOfSamples;
  const auto bytes = static_cast<std::uint64_t>(samples * pcm.bitsPerSample / 8);
  return (bytes == 0 || pcm.position + bytes <= scratchSize) && samples <= pcm.bufferSize &&
         static_cast<std::uint64_t>(pcm.numberOfSamples) <= scratchSize;
}

/// The little-endian sample at `bytes`, signed in every width, 8 bits included.
template <int BitsPerSample>
std::int32_t rawSample(const char* bytes) {
  if constexpr (BitsPerSample == 8) {
    return static_cast<signed char>(*bytes);
  } else if constexpr (BitsPerSample == 16) {
    std::int16_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  } else if constexpr (BitsPerSample == 24) {
    const auto byte = [bytes](int i) {
      return std::uint32_t{static_cast<unsigned char>(bytes[i])};
    };
    const std::uint32_t upperBits = byte(0) << 8 | byte(1) << 16 | byte(2) << 24;
    return static_cast<std::int32_t>(upperBits) >> 8;
  } else {
    std::int32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  }
}

/// The first sample, in the order of the file, that scales to outside -1.0 to 1.0; 0.0 if none does
/// before a sample that can't be read or stored.
double firstSampleOutOfRange(const PcmData& pcm, const ScratchBuffer& scratch) {
  if (pcm.bitsPerSample != 32) {
    return 0.0;
  }
  std::uint64_t position = pcm.position;
  for (int frame = 0; frame < pcm.numberOfSamples; ++frame) {
    for (int channel = 0; channel < pcm.numChannels; ++channel) {
      if (position + sizeof(std::int32_t) > scratchSize) {
        return 0.0;
      }
      const double v = rawSample<32>(scratch.at(position)) * scaleFactor(32);
      if (v > 1.0 || v < -1.0) {
        return v;
      }
      if (std::int64_t{channel} * pcm.numberOfSamples + frame >= pcm.bufferSize) {
        return 0.0;
      }
      position += sizeof(std::int32_t);
    }
  }
  return 0.0;
}

/// Converts the frames into `planar`, channel after channel.
template <int BitsPerSample>
void convertSamples(const PcmData& pcm, const char* samples, float* planar) {
  constexpr double scale = scaleFactor(BitsPerSample);
  for (int channel = 0; channel < pcm.numChannels; ++channel) {
    for (int frame = 0; frame < pcm.numberOfSamples; ++frame) {
      const std::ptrdiff_t i = std::ptrdiff_t{frame} * pcm.numChannels + channel;
      const std::int32_t raw = rawSample<BitsPerSample>(samples + i * (BitsPerSample / 8));
      *planar++ = static_cast<float>(raw * scale);
    }
  }
}

void convertSamples(const PcmData& pcm, const ScratchBuffer& scratch, float* planar) {
  switch (pcm.bitsPerSample) {
    case 8:
      convertSamples<8>(pcm, scratch.at(pcm.position), planar);
      break;
    case 16:
      convertSamples<16>(pcm, scratch.at(pcm.position), planar);
      break;
    case 24:
      convertSamples<24>(pcm, scratch.at(pcm.position), planar);
      break;
    case 32:
      convertSamples<32>(pcm, scratch.at(pcm.position), planar);
      break;
    default:
      std::fill_n(planar, pcm.bufferSize, 0.0F);
  }
}

// What the processor does on a division by zero, which the language leaves undefined.
[[noreturn]] void endWithArithmeticFault() {
  std::signal(SIGFPE, SIG_DFL);
  std::raise(SIGFPE);
  std::abort();
}

}  // namespace

WavLoader::~WavLoader() { delete[] audioBuffer; }

bool WavLoader::load(const char* path) {
  ScratchBuffer scratch;
  if (!scratch.readFile(path)) {
    return false;
  }
  const std::optional<SampleBytes> samples = findSamples(scratch);
  if (!samples) {
    return false;
  }
  const WaveFormatHeader& format = samples->format;
  if (format.blockAlign == 0) {
    endWithArithmeticFault();
  }
  const PcmData pcm = describePcmData(*samples);
  if (pcm.bufferSize < 0) {
    throw std::bad_array_new_length();
  }
  const double v = firstSampleOutOfRange(pcm, scratch);
  if (v == 0.0 && !staysInsideBuffers(pcm)) {
    return false;
  }

  auto converted =
      std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(pcm.bufferSize));
  assert(v <= 1.0);
  assert(v >= -1.0);
  convertSamples(pcm, scratch, converted.get());

  delete[] audioBuffer;
  audioBuffer = converted.release();
  bitDepth = format.bitsPerSample;
  sampleRate = static_cast<int>(format.sampleRate);
  numChannels = pcm.numChannels;
  numberOfSamples = pcm.numberOfSamples;
  return true;
}
