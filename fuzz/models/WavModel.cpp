#include "models/WavModel.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

namespace {

constexpr std::uint64_t bytesThatCount = 1 << 24;
constexpr std::uint64_t wordRange = std::uint64_t{1} << 32;

/// The bytes of a file; all those after its end are zeros.
class ZeroPaddedFile {
 public:
  explicit ZeroPaddedFile(std::string_view content) : bytes(content.substr(0, bytesThatCount)) {}

  std::uint64_t size() const { return bytes.size(); }

  /// The little-endian number of `width` bytes at `position`.
  std::uint64_t number(std::uint64_t position, int width) const {
    std::uint64_t value = 0;
    for (int i = width; i-- > 0;) {
      const std::uint64_t place = position + static_cast<std::uint64_t>(i);
      value = value * 256 + (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0U);
    }
    return value;
  }

  std::int64_t signedNumber(std::uint64_t position, int width) const {
    const auto value = static_cast<std::int64_t>(number(position, width));
    const std::int64_t signBit = std::int64_t{1} << (8 * width - 1);
    return value < signBit ? value : value - 2 * signBit;
  }

  bool spells(std::uint64_t position, std::string_view letters) const {
    return std::all_of(letters.begin(), letters.end(), [&](char letter) {
      return number(position++, 1) == static_cast<std::uint64_t>(letter);
    });
  }

 private:
  std::string_view bytes;
};

/// What the header of an acceptable file says.
struct Header {
  std::uint64_t channels;
  std::uint64_t sampleRate;
  std::uint64_t blockAlign;
  std::uint64_t bitsPerSample;
  std::uint64_t dataStart;
  std::uint64_t dataSize;
};

std::uint64_t formatChunkStart(const ZeroPaddedFile& file) {
  if (!file.spells(12, "JUNK")) {
    return 12;
  }
  const std::uint64_t size = file.number(16, 4);
  return 16 + (4 + size + size % 2) % wordRange;
}

std::optional<Header> acceptedHeader(const ZeroPaddedFile& file) {
  const std::uint64_t format = formatChunkStart(file);
  const std::uint64_t data = format + 24;
  const Header header{
      .channels = file.number(format + 10, 2),
      .sampleRate = file.number(format + 12, 4),
      .blockAlign = file.number(format + 20, 2),
      .bitsPerSample = file.number(format + 22, 2),
      .dataStart = data + 8,
      .dataSize = data + 8 + file.number(data + 4, 4) > file.size()
                      ? (wordRange + file.size() - (data + 8)) % wordRange
                      : file.number(data + 4, 4),
  };
  const bool isAccepted = file.size() >= 20 && file.spells(0, "RIFF") && file.spells(8, "WAVE") &&
                          file.spells(format, "fmt ") && file.number(format + 8, 2) == 1 &&
                          header.bitsPerSample % 8 == 0 && file.spells(data, "data");
  return isAccepted ? std::optional(header) : std::nullopt;
}

/// One over the steps of the sample width and a half; 0.0 for a width that is not read.
double scaleOf(std::uint64_t bitsPerSample) {
  switch (bitsPerSample) {
    case 8:
      return 1.0 / 255.5;
    case 16:
      return 1.0 / 65535.5;
    case 24:
      return 1.0 / 16777215.5;
    case 32:
      return 1.0 / 0.5;
    default:
      return 0.0;
  }
}

/// The scaled samples, channel after channel.
std::vector<float> scaledSamples(const ZeroPaddedFile& file, const Header& header,
                                 std::uint64_t frames) {
  const double scale = scaleOf(header.bitsPerSample);
  std::vector<float> samples(std::max<std::uint64_t>(header.channels, 1) * frames);
  if (scale == 0.0 || header.channels == 0) {
    return samples;
  }
  const std::uint64_t width = header.bitsPerSample / 8;
  for (std::uint64_t i = 0; i < samples.size(); ++i) {
    const std::uint64_t place = i % frames * header.channels + i / frames;
    const std::int64_t value =
        file.signedNumber(header.dataStart + place * width, static_cast<int>(width));
    samples[i] = static_cast<float>(static_cast<double>(value) * scale);
  }
  return samples;
}

/// Whether the samples of a file that claims `frames` end within the bytes that count, and whether
/// its frames do, none of which is shorter than a byte.
bool endsInTime(const Header& header, std::uint64_t frames) {
  const std::uint64_t width = scaleOf(header.bitsPerSample) == 0.0 ? 0 : header.bitsPerSample / 8;
  const std::uint64_t bytes = frames * header.channels * width;
  return frames <= bytesThatCount && (bytes == 0 || header.dataStart + bytes <= bytesThatCount);
}

/// The first 32-bit sample other than 0, in the order of the file, that comes before one that lies
/// beyond the bytes that count or has no place among `places` floats; 0 if there is none.
std::int64_t firstOutOfRange(const ZeroPaddedFile& file, const Header& header, std::uint64_t frames,
                             std::uint64_t places) {
  for (std::uint64_t i = 0; header.bitsPerSample == 32 && i < frames * header.channels; ++i) {
    const std::uint64_t place = header.dataStart + 4 * i;
    if (place + 4 > bytesThatCount) {
      return 0;
    }
    if (file.number(place, 4) != 0) {
      return file.signedNumber(place, 4);
    }
    if (i % header.channels * frames + i / header.channels >= places) {
      return 0;
    }
  }
  return 0;
}

}  // namespace

ExpectedWav expectedWav(std::string_view file, std::size_t largestAllocation) {
  const ZeroPaddedFile padded(file);
  const std::optional<Header> header = acceptedHeader(padded);
  if (!header) {
    return {};
  }
  if (header->blockAlign == 0) {
    return {.outcome = WavOutcome::ArithmeticFault};
  }
  const std::uint64_t claimedFrames = header->dataSize / header->blockAlign;
  const auto numberOfSamples = static_cast<std::int32_t>(claimedFrames);
  const std::uint64_t frames = numberOfSamples < 0 ? 0 : claimedFrames;
  const std::uint64_t samples = header->channels * claimedFrames;
  if (samples % wordRange >= wordRange / 2) {
    return {.outcome = WavOutcome::OutOfMemory};
  }
  const std::int64_t outOfRange = firstOutOfRange(padded, *header, frames, samples % wordRange);
  if (frames > 0 && outOfRange == 0 && (samples >= wordRange || !endsInTime(*header, frames))) {
    return {};
  }
  const std::uint64_t floats = header->channels == 0 ? frames : samples % wordRange;
  if (floats * sizeof(float) > largestAllocation) {
    return {.outcome = WavOutcome::OutOfMemory};
  }
  if (outOfRange != 0) {
    return {.outcome = outOfRange > 0 ? WavOutcome::AboveRange : WavOutcome::BelowRange};
  }
  return {.outcome = WavOutcome::Loaded,
          .bitDepth = static_cast<int>(header->bitsPerSample),
          .sampleRate = static_cast<int>(header->sampleRate),
          .numChannels = static_cast<int>(header->channels),
          .numberOfSamples = numberOfSamples,
          .samples = scaledSamples(padded, *header, frames)};
}
