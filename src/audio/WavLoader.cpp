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
#include <istream>
#include <memory>
#include <new>
#include <optional>
#include <streambuf>
#include <type_traits>
#include <vector>

static_assert(std::endian::native == std::endian::little, "WAV values are copied as they stand");
static_assert(sizeof(WaveFormatHeader) == 24 && std::is_trivially_copyable_v<WaveFormatHeader>);

namespace {

constexpr std::uint64_t mostBytes = 16 * 1024 * 1024;  // no byte of a file beyond them counts
constexpr std::uint64_t fewestBytes = 20;
constexpr int blockSize = 64 * 1024;  // bytes, stays in the cache
constexpr int integerPcm = 1;

using ChunkId = std::array<char, 4>;

constexpr ChunkId riffId{'R', 'I', 'F', 'F'};
constexpr ChunkId waveId{'W', 'A', 'V', 'E'};
constexpr ChunkId junkId{'J', 'U', 'N', 'K'};
constexpr ChunkId formatId{'f', 'm', 't', ' '};
constexpr ChunkId dataId{'d', 'a', 't', 'a'};

/// Reads the bytes of a file that count, from front to back. Any number of zeros can be read after
/// them.
class ByteReader {
 public:
  /// Opens the file at `path`. One that can't be opened has no bytes.
  explicit ByteReader(const char* path) {
    if (file.open(path, std::ios::in | std::ios::binary) == nullptr) {
      return;
    }
    stream.seekg(0, std::ios::end);
    const std::streamoff end = stream.tellg();
    stream.clear();
    if (end > 0) {
      size = std::min(static_cast<std::uint64_t>(end), mostBytes);
      stream.seekg(0);
    } else {
      readWhole();
    }
  }

  /// How many bytes there are before the zeros.
  std::uint64_t numberOfBytes() const { return size; }

  /// How many bytes have been read or skipped.
  std::uint64_t position() const { return place; }

  void read(char* bytes, std::size_t count) {
    stream.read(bytes, static_cast<std::streamsize>(std::min<std::uint64_t>(count, bytesLeft())));
    std::fill(bytes + stream.gcount(), bytes + count, '\0');
    place += count;
  }

  template <typename Value>
  Value read() {
    std::array<char, sizeof(Value)> image;
    read(image.data(), image.size());
    return std::bit_cast<Value>(image);
  }

  void skip(std::uint64_t count) {
    stream.ignore(static_cast<std::streamsize>(std::min(count, bytesLeft())));
    place += count;
  }

  /// Reads on to the end of the file. Returns false if a part of it could not be read.
  bool finish() {
    stream.ignore(static_cast<std::streamsize>(mostBytes - std::min(place, size)));
    return !stream.bad();
  }

 private:
  /// A stream of bytes in memory.
  struct MemoryBuffer : std::streambuf {
    void show(char* bytes, std::size_t count) { setg(bytes, bytes, bytes + count); }
  };

  /// Reads a file that does not tell its size, such as a pipe, into memory.
  void readWhole() {
    while (stream.good() && size < mostBytes) {
      copy.resize(size + blockSize);
      stream.read(copy.data() + size, blockSize);
      size += static_cast<std::uint64_t>(stream.gcount());
    }
    if (stream.bad()) {
      size = 0;
    }
    copyBuffer.show(copy.data(), size);
    stream.rdbuf(&copyBuffer);
  }

  std::uint64_t bytesLeft() const { return place < size ? size - place : 0; }

  std::filebuf file;
  std::vector<char> copy;
  MemoryBuffer copyBuffer;
  std::istream stream{&file};
  std::uint64_t size = 0;
  std::uint64_t place = 0;
};

/// What the processor does on a division by zero, which the language leaves undefined.
[[noreturn]] void endWithArithmeticFault() {
  std::signal(SIGFPE, SIG_DFL);
#ifndef _WIN32  // has no blocked signals
  sigset_t faults;
  sigemptyset(&faults);
  sigaddset(&faults, SIGFPE);
  sigprocmask(SIG_UNBLOCK, &faults, nullptr);
#endif
  std::raise(SIGFPE);
  std::abort();
}

/// The samples of a file: interleaved frames in the file, channel after channel once loaded.
struct Layout {
  WaveFormatHeader format;
  std::uint64_t position;  // of the first sample in the file
  int numberOfSamples;     // a channel
  int floats;              // to be allocated

  /// Those of all channels.
  std::int64_t samples() const {
    return std::int64_t{format.numChannels} * std::max(numberOfSamples, 0);
  }

  /// 0 where no sample is read: for an unknown width or without channels.
  int bytesPerSample() const {
    const bool isRead = format.bitsPerSample <= 32 && format.numChannels > 0;
    return isRead ? format.bitsPerSample / 8 : 0;
  }

  /// Whether all samples lie within the bytes that count and have their floats. More frames than
  /// bytes that count do not fit either: a file that ends inside its size field can claim so many
  /// that the tape reader would never come to their end.
  bool fits() const {
    const auto bytes = static_cast<std::uint64_t>(samples() * bytesPerSample());
    return samples() <= floats && numberOfSamples <= static_cast<std::int64_t>(mostBytes) &&
           (bytes == 0 || position + bytes <= mostBytes);
  }

  /// How many samples of 32 bits are looked at, in the order of the file, before one lies beyond
  /// the bytes that count or has no float: all if they fit.
  std::int64_t samplesBeforeOverrun() const {
    const auto bytesLeft = static_cast<std::int64_t>(mostBytes - std::min(position, mostBytes));
    // In the first frame, sample n goes to float n * numberOfSamples. The first without a float
    // still counts: it is looked at before it would be stored.
    const std::int64_t withFloats =
        samples() <= floats ? samples()
                            : (std::int64_t{floats} + numberOfSamples - 1) / numberOfSamples + 1;
    return std::min({samples(), bytesLeft / 4, withFloats});
  }
};

/// Finds the samples of a WAV file of the one accepted layout; nothing in any other file. `file` is
/// at its beginning, and at the first sample afterwards.
std::optional<Layout> readLayout(ByteReader& file) {
  if (file.numberOfBytes() < fewestBytes || file.read<ChunkId>() != riffId) {
    return std::nullopt;
  }
  file.skip(4);  // the size of the rest
  if (file.read<ChunkId>() != waveId) {
    return std::nullopt;
  }

  auto chunkId = file.read<ChunkId>();
  if (chunkId == junkId) {
    const auto size = file.read<std::uint32_t>();
    const std::uint32_t sizeFieldAndPaddedBody = size + 4 + (size & 1);  // wraps at 32 bits
    if (sizeFieldAndPaddedBody < 4) {
      return std::nullopt;  // it ends inside its size field, where no "fmt " can begin
    }
    file.skip(sizeFieldAndPaddedBody - 4);
    chunkId = file.read<ChunkId>();
  }
  if (chunkId != formatId) {
    return std::nullopt;
  }

  // The format is 24 bytes long, whatever its size field says. Its first four have been read.
  WaveFormatHeader format;
  file.read(reinterpret_cast<char*>(&format) + sizeof chunkId, sizeof format - sizeof chunkId);
  if (format.audioFormat != integerPcm || format.bitsPerSample % 8 != 0 ||
      file.read<ChunkId>() != dataId) {
    return std::nullopt;
  }
  auto size = file.read<std::uint32_t>();
  const std::uint64_t position = file.position();
  if (size + position > file.numberOfBytes()) {
    // Wraps where the file ends inside the size field, to almost 4 GiB.
    size = static_cast<std::uint32_t>(file.numberOfBytes() - position);
  }

  // Only a file that can be read to its end may end the process.
  if (format.blockAlign == 0) {
    if (!file.finish()) {
      return std::nullopt;
    }
    endWithArithmeticFault();
  }
  // Frames are counted by the block align but read by channels and width, possibly past the data.
  const std::uint32_t frames = size / format.blockAlign;
  // The product wraps at 32 bits. Without channels there is silence of the stated length.
  const auto floats = static_cast<int>(format.numChannels * frames);
  const auto numberOfSamples = static_cast<int>(frames);
  return Layout{format, position, numberOfSamples,
                format.numChannels == 0 ? std::max(numberOfSamples, 0) : floats};
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
static_assert(scaleFactor(32) > 1.0, "of 32 bits only zeros are in range");

/// The first of the next `count` samples of 32 bits that is not 0, scaled; 0.0 if there is none.
double firstNonzeroSample(ByteReader& file, std::int64_t count) {
  std::vector<std::int32_t> block(blockSize / sizeof(std::int32_t));
  while (count > 0) {
    const auto end = block.begin() + std::min<std::int64_t>(count, std::ssize(block));
    file.read(reinterpret_cast<char*>(block.data()), blockSize);
    const auto found = std::find_if(block.begin(), end, [](std::int32_t raw) { return raw != 0; });
    if (found != end) {
      return *found * scaleFactor(32);
    }
    count -= std::ssize(block);
  }
  return 0.0;
}

/// A sample of 24 bits as it stands in the file.
struct Int24 {
  std::array<std::uint8_t, 3> bytes;

  operator std::int32_t() const {
    return bytes[0] | bytes[1] << 8 | static_cast<std::int8_t>(bytes[2]) << 16;
  }
};
static_assert(sizeof(Int24) == 3);

/// Reads the samples of a layout that fits, and puts them into `planar`, channel after channel.
template <typename Sample>
void convertSamples(const Layout& layout, ByteReader& file, float* planar) {
  constexpr double scale = scaleFactor(8 * sizeof(Sample));
  const int channels = layout.format.numChannels;
  const int frames = layout.numberOfSamples;
  const int framesInBlock = std::max(blockSize / static_cast<int>(sizeof(Sample)) / channels, 1);
  std::vector<Sample> block(static_cast<std::size_t>(framesInBlock * channels));
  for (int first = 0; first < frames; first += framesInBlock) {
    const int count = std::min(framesInBlock, frames - first);
    file.read(reinterpret_cast<char*>(block.data()),
              static_cast<std::size_t>(count * channels) * sizeof(Sample));
    for (int channel = 0; channel < channels; ++channel) {
      const Sample* const samples = block.data() + channel;
      float* const converted = planar + std::ptrdiff_t{channel} * frames + first;
      const auto convertEvery = [samples, converted, count](std::ptrdiff_t stride) {
        for (std::ptrdiff_t i = 0; i < count; ++i) {
          converted[i] = static_cast<float>(samples[i * stride] * scale);
        }
      };
      if (channels == 1) {
        convertEvery(1);  // a fixed stride lets the compiler convert several samples at a time
      } else {
        convertEvery(channels);
      }
    }
  }
}

void convertSamples(const Layout& layout, ByteReader& file, float* planar) {
  switch (layout.bytesPerSample()) {
    case 1:
      convertSamples<std::int8_t>(layout, file, planar);  // signed, though WAV has it unsigned
      break;
    case 2:
      convertSamples<std::int16_t>(layout, file, planar);
      break;
    case 3:
      convertSamples<Int24>(layout, file, planar);
      break;
    default:  // nothing to be read, or 32 bits, of which only zeros come here
      std::fill_n(planar, layout.floats, 0.0F);
  }
}

/// Allocates `count` floats. Where that fails, throws or, if the file can't be read to its end,
/// returns null.
std::unique_ptr<float[]> allocateFloats(int count, ByteReader& file) {
  try {
    if (count < 0) {
      throw std::bad_array_new_length();  // which not every compiler does by itself
    }
    return std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {
    if (file.finish()) {
      throw;
    }
    return nullptr;
  }
}

}  // namespace

WavLoader::~WavLoader() { delete[] audioBuffer; }

bool WavLoader::load(const char* path) {
  ByteReader file(path);
  const std::optional<Layout> layout = readLayout(file);
  if (!layout) {
    return false;
  }

  // The report of the assertion names it `v`.
  const double v = layout->bytesPerSample() == 4
                       ? firstNonzeroSample(file, layout->samplesBeforeOverrun())
                       : 0.0;
  // A negative number of floats goes on to the allocation, which fails.
  if (v == 0.0 && layout->floats >= 0 && !layout->fits()) {
    return false;
  }
  if (v != 0.0 && !file.finish()) {
    return false;
  }
  std::unique_ptr<float[]> planar = allocateFloats(layout->floats, file);
  if (planar == nullptr) {
    return false;
  }
  assert(v <= 1.0);
  assert(v >= -1.0);
  convertSamples(*layout, file, planar.get());
  if (!file.finish()) {
    return false;
  }

  delete[] audioBuffer;
  audioBuffer = planar.release();
  bitDepth = layout->format.bitsPerSample;
  sampleRate = static_cast<int>(layout->format.sampleRate);
  numChannels = layout->format.numChannels;
  numberOfSamples = layout->numberOfSamples;
  return true;
}
