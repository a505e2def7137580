#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "audio/WavLoader.h"
#include "models/WavModel.h"
#include "signal/WavFile.h"
#include "support/Files.h"
#include "support/OpenClasses.h"

namespace {

using namespace std::string_literals;
using testing::KilledBySignal;
using enum WavOutcome;

constexpr std::size_t mostOfAFile = 16777216;  // bytes that count
constexpr std::size_t anyMemory = std::numeric_limits<std::size_t>::max();

// Where things stand in a file without a JUNK chunk.
constexpr std::size_t riffSizeAt = 4;
constexpr std::size_t formatSizeAt = 16;
constexpr std::size_t byteRateAt = 28;
constexpr std::size_t dataSizeAt = 40;

const std::string twoSamples = "\x01\x00\xFE\xFF"s;

/// A WAV file on the disk.
class WavFileOnDisk {
 public:
  explicit WavFileOnDisk(std::string_view file) { writeFile(name, file); }

  const char* path() const { return name.c_str(); }

 private:
  TemporaryFolder folder;
  std::string name = folder / "recording.wav";
};

std::string replaced(std::string file, std::size_t position, std::string_view bytes) {
  return file.replace(position, bytes.size(), bytes);
}

std::string bytes(std::size_t count) { return std::string(count, 'j'); }

std::string junk(std::size_t size) { return wavChunk("JUNK", bytes(size)); }

/// A good file of two samples except for what `format` says.
std::string fileOf(const WavFormat& format) { return wavFile(format, twoSamples); }

const std::string goodFile = fileOf({});

void expectMembers(const OpenWavLoader& loader, const ExpectedWav& expected) {
  EXPECT_EQ(loader.getBitDepth(), expected.bitDepth);
  EXPECT_EQ(loader.getSampleRate(), expected.sampleRate);
  EXPECT_EQ(loader.numChannels, expected.numChannels);
  EXPECT_EQ(loader.getNumberOfSamples(), expected.numberOfSamples);
  EXPECT_EQ(loader.getAudioBuffer(), loader.audioBuffer);
  EXPECT_EQ(loader.audioBuffer != nullptr, expected.outcome == Loaded);
  if (!expected.samples.empty()) {
    EXPECT_TRUE(std::equal(expected.samples.begin(), expected.samples.end(), loader.audioBuffer));
  }
}

/// Expects that `file` comes to `outcome`, without a word, and gives what the model says, among it
/// `frames` samples a channel.
void expectOutcome(std::string_view file, WavOutcome outcome, int frames = 0) {
  const ExpectedWav expected = expectedWav(file, anyMemory);
  ASSERT_EQ(expected.outcome, outcome) << "of the model";
  ASSERT_EQ(expected.numberOfSamples, frames) << "of the model";
  const WavFileOnDisk onDisk(file);
  OpenWavLoader loader;
  if (outcome == ArithmeticFault) {
    EXPECT_EXIT(loader.load(onDisk.path()), KilledBySignal(SIGFPE), "^$");
    return;
  }
  if (outcome == AboveRange || outcome == BelowRange) {
    EXPECT_EXIT(loader.load(onDisk.path()), KilledBySignal(SIGABRT),
                "WavLoader.*load.*"s + (outcome == AboveRange ? "v <= 1\\.0" : "v >= -1\\.0"));
    return;
  }
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  if (outcome == OutOfMemory) {
    EXPECT_THROW(loader.load(onDisk.path()), std::bad_alloc);
  } else {
    EXPECT_EQ(loader.load(onDisk.path()), outcome == Loaded);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "");
  expectMembers(loader, expected);
}

struct NamedFile {
  const char* name;
  std::string file;
};

/// Expects one outcome of all `files`, of which those that load have `frames` frames.
void expectOutcomeOfEach(const std::vector<NamedFile>& files, WavOutcome outcome, int frames = 0) {
  for (const auto& [name, file] : files) {
    SCOPED_TRACE(name);
    expectOutcome(file, outcome, frames);
  }
}

}  // namespace

TEST(WaveFormatHeader, IsThe24BytesOfTheFileAndStartsAsEmpty24BitPcm) {
  const WaveFormatHeader header;
  static_assert(sizeof(header) == 24);
  EXPECT_EQ(
      std::string(reinterpret_cast<const char*>(&header), 24),
      "fmt \x10\x00\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x18\x00"s);
}

TEST(WavLoader, StartsEmpty) { expectMembers(OpenWavLoader(), {}); }

TEST(WavLoader, IsDestroyedThroughItsBaseAndNeverCopied) {
  EXPECT_TRUE(std::has_virtual_destructor_v<WavLoader>);
  EXPECT_FALSE(std::is_copy_constructible_v<WavLoader>);
  EXPECT_FALSE(std::is_copy_assignable_v<WavLoader>);
}

// Samples

TEST(WavLoader, DividesByTheUnsignedRangePlusOneHalf) {
  const struct {
    int bitsPerSample;
    std::string pcm;
    float loaded;
  } rows[] = {
      {8, "\x00"s, 0.0F},
      {8, "\x01"s, 0.0039138943F},
      {8, "\x7F"s, 0.49706459F},
      {8, "\x80"s, -0.50097847F},  // silence, which WAV stores unsigned
      {8, "\xFF"s, -0.0039138943F},
      {16, "\x01\x00"s, 1.52589055e-05F},
      {16, "\x34\x12"s, 0.0711065009F},
      {16, "\x0D\x0A"s, 0.0392611623F},
      {16, "\xFF\x7F"s, 0.499988556F},
      {16, "\x00\x80"s, -0.500003815F},
      {16, "\xFF\xFF"s, -1.52589055e-05F},
      {24, "\x01\x00\x00"s, 5.96046448e-08F},
      {24, "\x56\x34\x12"s, 0.071111083F},
      {24, "\xFF\xFF\x7F"s, 0.49999994F},
      {24, "\x00\x00\x80"s, -0.5F},
      {24, "\x34\x00\x80"s, -0.499996901F},
      {24, "\xFF\xFF\xFF"s, -5.96046448e-08F},
      {32, "\x00\x00\x00\x00"s, 0.0F},
      {40, "\x01\x02\x03\x04\x05"s, 0.0F},
  };
  for (const auto& [bitsPerSample, pcm, loaded] : rows) {
    OpenWavLoader loader;
    ASSERT_TRUE(loader.load(WavFileOnDisk(wavFile({.bitsPerSample = bitsPerSample}, pcm)).path()));
    EXPECT_EQ(loader.getAudioBuffer()[0], loaded) << bitsPerSample << " bits, " << loaded;
  }
}

TEST(WavLoader, LoadsEverySampleOf8And16Bits) {
  std::string all8;
  std::string all16;
  for (int value = 0; value < 65536; ++value) {
    all8 += value < 256 ? std::string(1, static_cast<char>(value)) : "";
    all16 += {static_cast<char>(value), static_cast<char>(value / 256)};
  }
  expectOutcome(wavFile({.bitsPerSample = 8}, all8), Loaded, 256);
  expectOutcome(wavFile({}, all16), Loaded, 65536);
}

TEST(WavLoader, KeepsTheFormatAndPutsOneChannelAfterTheOther) {
  OpenWavLoader loader;
  const WavFormat format{.numChannels = 3, .sampleRate = 48000};
  const std::string pcm = "\x01\x00\x02\x00\x03\x00\xFF\xFF\xFE\xFF\xFD\xFF"s;
  ASSERT_TRUE(loader.load(WavFileOnDisk(wavFile(format, pcm)).path()));
  EXPECT_EQ(loader.getBitDepth(), 16);
  EXPECT_EQ(loader.getSampleRate(), 48000);
  EXPECT_EQ(loader.numChannels, 3);
  EXPECT_EQ(loader.getNumberOfSamples(), 2);
  EXPECT_EQ(std::vector<float>(loader.audioBuffer, loader.audioBuffer + 6),
            (std::vector<float>{1.52589055e-05F, -1.52589055e-05F, 3.0517811e-05F, -3.0517811e-05F,
                                4.57767165e-05F, -4.57767165e-05F}));
  for (const int channels : {1, 2, 3, 4}) {
    for (const int bits : {8, 16, 24}) {
      expectOutcome(wavFile({.numChannels = channels, .bitsPerSample = bits},
                            "abcdefghijkl\x81\x92\xA3\xB4\xC5\xD6\xE7\xF8\x09\x1A\x2B\x3C"),
                    Loaded, 192 / bits / channels);
    }
  }
}

TEST(WavLoader, KeepsAnySampleRate) {
  for (const std::uint32_t rate : {0U, 1U, 44100U, 0x12345678U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    expectOutcome(fileOf({.sampleRate = rate}), Loaded, 2);
  }
}

TEST(WavLoader, LoadsOtherWidthsAndFilesWithoutChannelsAsZeros) {
  // Among them are widths that are 8, 16, 24 or 32 in their lower byte or lower five bits.
  for (const int bits : {0, 40, 48, 64, 128, 264, 272, 280, 288, 32776, 65528}) {
    // Leaves 500 samples of other values in the memory that the next buffer is made of.
    expectOutcome(wavFile({}, bytes(1000)), Loaded, 500);
    expectOutcome(wavFile({.numChannels = 2, .bitsPerSample = bits, .blockAlign = 10}, bytes(2500)),
                  Loaded, 250);
  }
  for (const int bits : {16, 32}) {
    expectOutcome(wavFile({}, bytes(1000)), Loaded, 500);
    expectOutcome(wavFile({.numChannels = 0, .bitsPerSample = bits, .blockAlign = 2}, bytes(1000)),
                  Loaded, 500);
  }
  expectOutcome(wavFile({.numChannels = 3, .bitsPerSample = 32}, std::string(60, '\0')), Loaded, 5);
}

// Layouts

TEST(WavLoader, AcceptsOneLayout) {
  const auto withJunk = [](const std::string& chunk) {
    return fileOf({.chunksBeforeFormat = chunk});
  };
  const std::string most = littleEndian(-1, 4);
  expectOutcomeOfEach(
      {
          {"plain", goodFile},
          {"chunks after the data", fileOf({.chunksAfterData = wavChunk("LIST", "INFO")})},
          {"a RIFF size of 0", replaced(goodFile, riffSizeAt, littleEndian(0, 4))},
          {"the largest RIFF size", replaced(goodFile, riffSizeAt, most)},
          {"a format of 0 bytes", replaced(goodFile, formatSizeAt, littleEndian(0, 4))},
          {"a format that says 18 bytes", replaced(goodFile, formatSizeAt, littleEndian(18, 4))},
          {"the largest format", replaced(goodFile, formatSizeAt, most)},
          {"no byte rate", replaced(goodFile, byteRateAt, littleEndian(0, 4))},
          {"the largest byte rate", replaced(goodFile, byteRateAt, most)},
          {"empty JUNK", withJunk(junk(0))},
          {"JUNK of a byte", withJunk(junk(1))},
          {"odd JUNK", withJunk(junk(27))},
          {"even JUNK", withJunk(junk(28))},
          {"odd JUNK with a size of 16 bits", withJunk(junk(513))},
          {"odd JUNK with a size of 24 bits", withJunk(junk(70001))},
          // 16 + (0xFFFFFFFF + 4 + 1 - 0x100000000) is 20, the end of the size field.
          {"JUNK whose size wraps to its end", withJunk("JUNK" + most)},
      },
      Loaded, 2);
}

TEST(WavLoader, RejectsOtherLayouts) {
  const auto junkClaiming = [](std::int64_t size, std::size_t present) {
    return fileOf({.chunksBeforeFormat = "JUNK" + littleEndian(size, 4) + bytes(present)});
  };
  const std::string longFormat = fileOf({.formatExtension = std::string(2, '\0')});
  const std::string list = wavChunk("LIST", "INFO");
  expectOutcomeOfEach(
      {
          {"empty", ""},
          {"zeros", std::string(100, '\0')},
          {"LIST before the format", fileOf({.chunksBeforeFormat = list})},
          {"LIST before the data", fileOf({.chunksBeforeData = list})},
          {"JUNK before the data", fileOf({.chunksBeforeData = junk(4)})},
          {"a format of 18 bytes", longFormat},
          {"a format of 18 bytes that says 16", replaced(longFormat, formatSizeAt, "\x10")},
          {"a format of 40 bytes", fileOf({.formatExtension = std::string(24, '\0')})},
          {"no data", goodFile.substr(0, 36) + list},
          {"junk in small letters", fileOf({.chunksBeforeFormat = wavChunk("junk", "body")})},
          {"JUNK twice", fileOf({.chunksBeforeFormat = junk(4) + junk(4)})},
          {"odd JUNK without padding", junkClaiming(27, 27)},
          {"even JUNK with padding", junkClaiming(28, 29)},
          {"JUNK a word too short", junkClaiming(26, 28)},
          {"JUNK a word too long", junkClaiming(30, 28)},
          // The first two lead to byte 16, the next two to byte 18: the size itself stands there.
          {"JUNK whose size wraps to 16, odd", junkClaiming(0xFFFFFFFB, 0)},
          {"JUNK whose size wraps to 16, even", junkClaiming(0xFFFFFFFC, 0)},
          {"JUNK whose size wraps to 18, odd", junkClaiming(0xFFFFFFFD, 0)},
          {"JUNK whose size wraps to 18, even", junkClaiming(0xFFFFFFFE, 0)},
          {"JUNK whose size just does not wrap", junkClaiming(0xFFFFFFFA, 0)},
          {"JUNK past 2 GiB", junkClaiming(0x80000000, 0)},
          {"JUNK just past 16 MiB", junkClaiming(16777196, 0)},
      },
      Rejected);
}

TEST(WavLoader, RejectsEachWrongByteOfAnIdentifier) {
  const std::string withJunk = fileOf({.chunksBeforeFormat = junk(2)});
  for (const std::size_t identifier : {0U, 8U, 12U, 22U, 36U, 46U}) {
    for (std::size_t i = identifier; i < identifier + 4; ++i) {
      const bool isPlain = identifier != 22 && identifier != 46;
      std::string file = isPlain ? goodFile : withJunk;
      file[i] ^= 0x20;  // the other case; the space becomes a zero
      SCOPED_TRACE(i);
      expectOutcome(file, Rejected);
    }
  }
  expectOutcome(replaced(withJunk, 12, "JUNk"), Rejected);
}

TEST(WavLoader, RejectsOtherFormats) {
  for (const int format : {0, 2, 3, 0x0100, 0x0101, 0x8001, 0xFFFE, 0xFFFF}) {
    SCOPED_TRACE(format);
    expectOutcome(fileOf({.audioFormat = format}), Rejected);
  }
  for (const int bits : {1, 4, 7, 9, 12, 20, 31, 36, 0x0108 + 4, 0xFFFF}) {
    SCOPED_TRACE(bits);
    expectOutcome(fileOf({.bitsPerSample = bits, .blockAlign = 2}), Rejected);
  }
}

TEST(WavLoader, RejectsPathsThatCannotBeRead) {
  const TemporaryFolder folder;
  for (const std::string& path : {folder / "missing.wav", ""s, folder.path()}) {
    OpenWavLoader loader;
    EXPECT_FALSE(loader.load(path.c_str())) << path;
    expectMembers(loader, {});
  }
}

// Lengths

TEST(WavLoader, RejectsAFileCutInItsHeaders) {
  const std::string withJunk = fileOf({.chunksBeforeFormat = junk(0)});
  for (std::size_t length = 0; length < 44; ++length) {
    SCOPED_TRACE(length);
    expectOutcome(goodFile.substr(0, length), Rejected);
    expectOutcome(withJunk.substr(0, length), Rejected);
  }
}

TEST(WavLoader, LoadsTheWholeFramesAsFarAsTheFileReaches) {
  const struct {
    std::int64_t claimed;
    std::size_t present;  // bytes
    int blockAlign;
    int frames;
  } rows[] = {
      {0, 6, 1, 0},
      {1, 6, 1, 1},
      {5, 6, 1, 5},
      {6, 6, 1, 6},
      {7, 6, 1, 6},
      {0, 0, 1, 0},
      {1, 0, 1, 0},
      {0x10002, 6, 1, 6},
      {0x7FFFFFFF, 6, 1, 6},
      {0x80000000, 6, 1, 6},
      {0xFFFFFFFF, 6, 1, 6},
      // With the 44 bytes of headers they come to 0xFFFFFFFF and 0x100000000 bytes.
      {0xFFFFFFD3, 6, 1, 6},
      {0xFFFFFFD4, 6, 1, 6},
      // Partial last frames.
      {5, 6, 3, 1},
      {2, 6, 3, 0},
      {8, 6, 4, 1},
      {600, 600, 256, 2},
      {600, 600, 65535, 0},
  };
  for (const auto& [claimed, present, blockAlign, frames] : rows) {
    SCOPED_TRACE(testing::Message() << claimed << " claimed, block align " << blockAlign);
    const std::string file =
        wavFile({.bitsPerSample = 8, .blockAlign = blockAlign}, bytes(present));
    expectOutcome(replaced(file, dataSizeAt, littleEndian(claimed, 4)), Loaded, frames);
  }
  for (const int present : {0, 1, 2, 3, 4}) {
    expectOutcome(goodFile.substr(0, 44U + static_cast<unsigned>(present)), Loaded, present / 2);
  }
}

TEST(WavLoader, ReadsAsFarAs16MiB) {
  const struct {
    std::size_t length;
    int bitsPerSample;
    int frames;
  } rows[] = {{16777215, 8, 16777171}, {16777216, 8, 16777172}, {16777217, 8, 16777172},
              {17000000, 8, 16777172}, {16777215, 16, 8388585}, {16777216, 16, 8388586},
              {16777217, 16, 8388586}};
  for (const auto& [length, bitsPerSample, frames] : rows) {
    SCOPED_TRACE(testing::Message() << length << " bytes, " << bitsPerSample << " bits");
    std::string file = wavFile({.bitsPerSample = bitsPerSample}, bytes(17'000'000));
    file = replaced(file, mostOfAFile - 4, "\x02\x03\x04\x05\x06\x07\x08\x09");
    expectOutcome(std::string_view(file).substr(0, length), Loaded, frames);
  }
}

TEST(WavLoader, ReadsNoHeaderBehind16MiB) {
  // So many bytes of the format chunk and what follows it are among those that count.
  const auto fileWith = [](std::size_t count, WavFormat format) {
    format.chunksBeforeFormat = junk(mostOfAFile - 20 - count);
    return wavFile(format, "\x01\x01\x01\x01\x01\x01");
  };
  for (std::size_t count = 0; count < 32; count += 2) {
    SCOPED_TRACE(count);
    expectOutcome(fileWith(count, {}), Rejected);
    expectOutcome(fileWith(count, {.bitsPerSample = 8, .blockAlign = 65535}), Rejected);
  }
  for (const int frames : {0, 1, 2}) {
    expectOutcome(fileWith(32 + 2 * static_cast<std::size_t>(frames), {}), Loaded, frames);
  }
  // The size that wraps is not that of samples which are read.
  for (const std::size_t count : {28U, 30U}) {
    expectOutcome(fileWith(count, {.bitsPerSample = 40, .blockAlign = 65535}), Loaded, 65536);
  }
}

// A file that ends 4 to 1 bytes before its first sample is as if it had 0xFFFFFFFC to 0xFFFFFFFF
// bytes of samples.
TEST(WavLoader, TakesAFileCutInItsDataSizeForAVeryLongOne) {
  const struct {
    std::size_t length;
    int bits;
    int channels;
    int blockAlign;
    WavOutcome outcome;
    int frames = 0;
  } rows[] = {
      {40, 8, 1, 65535, Loaded, 65536},
      {42, 8, 1, 65535, Loaded, 65536},
      {43, 8, 1, 65535, Loaded, 65537},
      {40, 16, 2, 65535, Loaded, 65536},
      {43, 24, 3, 65535, Loaded, 65537},
      {43, 32, 1, 65535, Loaded, 65537},
      {43, 8, 1, 257, Loaded, 16711935},
      {43, 40, 1, 256, Loaded, 16777215},
      {43, 16, 0, 256, Loaded, 16777215},
      {40, 16, 0, 1, Loaded, -4},
      {40, 16, 1, 2, Rejected},
      {43, 16, 2, 4, Rejected},
      {40, 24, 1, 3, Rejected},
      {40, 32, 1, 4, Rejected},
      {43, 8, 1, 256, Rejected},
      // 0xFFFFFFFF / 255 is 16,843,009, more frames than bytes that count.
      {40, 40, 1, 5, Rejected},
      {43, 40, 1, 255, Rejected},
      {43, 0, 1, 2, Rejected},
      {43, 16, 0, 255, Rejected},
      // A negative number of floats.
      {40, 8, 1, 1, OutOfMemory},
      {43, 8, 1, 1, OutOfMemory},
      {40, 8, 2, 2, OutOfMemory},
      {43, 8, 4, 4, OutOfMemory},
      {43, 40, 1, 1, OutOfMemory},
  };
  for (const auto& [length, bits, channels, blockAlign, outcome, frames] : rows) {
    SCOPED_TRACE(testing::Message() << length << " bytes, " << bits << " bits, " << channels
                                    << " channels, block align " << blockAlign);
    const WavFormat format{
        .numChannels = channels, .bitsPerSample = bits, .blockAlign = blockAlign};
    expectOutcome(wavFile(format, "").substr(0, length), outcome, frames);
  }
}

// Frames that are larger or smaller than the block align

TEST(WavLoader, StepsBySamplesAndNotByBlockAlign) {
  expectOutcome(wavFile({.numChannels = 2, .bitsPerSample = 24, .blockAlign = 8}, bytes(24)),
                Loaded, 3);
  // Too small a block align leads on into the next chunk, or past the file, where zeros stand.
  expectOutcome(wavFile({.blockAlign = 1, .chunksAfterData = "\x05\x00\x06\x00"s}, twoSamples),
                Loaded, 4);
  expectOutcome(wavFile({.numChannels = 2, .blockAlign = 2}, "\x01\x00\xFF\xFF\x02\x00"s), Loaded,
                3);
}

namespace {

/// A file of silence with a block align of 1, in which the samples start at a chosen place.
struct WideFrames {
  int bits;
  std::size_t firstSample;
  int channels;
  int frames;
  WavOutcome outcome;

  std::string file() const {
    const WavFormat format{.numChannels = channels,
                           .bitsPerSample = bits,
                           .blockAlign = 1,
                           .chunksBeforeFormat = junk(firstSample - 52)};
    return wavFile(format, std::string(static_cast<std::size_t>(frames), '\0'));
  }
};

}  // namespace

TEST(WavLoader, ReadsAndWritesInsideItsBuffersOnly) {
  const WideFrames rows[] = {
      // 4096 + 4096 * 4095 is 16,777,216, and 8190 + 4095 * 4095 is one byte less.
      {8, 4096, 4096, 4095, Loaded},
      {8, 8190, 4095, 4095, Loaded},
      {16, 4096, 2048, 4095, Loaded},
      {24, 4096, 4096, 1365, Loaded},
      {32, 4096, 1024, 4095, Loaded},
      {40, 4098, 4096, 4100, Loaded},
      {0, 4098, 4096, 4100, Loaded},
      {8, 4098, 4096, 4095, Rejected},
      {8, 8192, 4095, 4095, Rejected},
      {16, 4098, 2048, 4095, Rejected},
      {24, 4098, 4096, 1365, Rejected},
      {32, 4098, 1024, 4095, Rejected},
      {8, 4096, 4096, 4096, Rejected},
      {16, 4096, 2048, 4096, Rejected},
      {24, 4096, 4096, 1366, Rejected},
      {32, 4096, 1024, 4096, Rejected},
      // 65535 * 65538 is 65534 and 32768 * 131072 is 0 in 32 bits: too short a buffer.
      {40, 52, 65535, 65538, Rejected},
      {40, 52, 32768, 131072, Rejected},
      {8, 52, 65535, 65538, Rejected},
      {8, 52, 32768, 131072, Rejected},
      // One frame less than 0x80000000 floats, that many, and 0xFFFFFFFF.
      {8, 52, 32768, 65535, Rejected},
      {8, 52, 32768, 65536, OutOfMemory},
      {16, 52, 65535, 65537, OutOfMemory},
      {24, 52, 65535, 65537, OutOfMemory},
      {32, 52, 65535, 65537, OutOfMemory},
      {40, 52, 65535, 65537, OutOfMemory},
  };
  for (const WideFrames& row : rows) {
    SCOPED_TRACE(testing::Message() << row.bits << " bits from byte " << row.firstSample << ", "
                                    << row.channels << " channels, " << row.frames << " frames");
    expectOutcome(row.file(), row.outcome, row.outcome == Loaded ? row.frames : 0);
  }
}

// Ends of the process

TEST(WavLoaderDeathTest, A32BitSampleOtherThan0EndsByAnAssertion) {
  const struct {
    int channels;
    std::vector<std::int64_t> samples;  // interleaved
    WavOutcome outcome;
  } rows[] = {
      {1, {1}, AboveRange},
      {1, {0x7FFFFFFF}, AboveRange},
      {1, {0x01000000}, AboveRange},
      {1, {-1}, BelowRange},
      {1, {-0x80000000LL}, BelowRange},
      {1, {0, 0, 0, 5}, AboveRange},
      {1, {0, 0, 0, -5}, BelowRange},
      {1, {0, 5, -5}, AboveRange},
      {1, {0, -5, 5}, BelowRange},
      {2, {0, 0, 0, 5}, AboveRange},
      {2, {0, -5, 5, 0}, BelowRange},
      {3, {0, 0, -5, 5, 5, 5}, BelowRange},
  };
  for (const auto& [channels, samples, outcome] : rows) {
    std::string pcm;
    for (const std::int64_t sample : samples) {
      pcm += littleEndian(sample, 4);
    }
    SCOPED_TRACE(testing::PrintToString(samples));
    expectOutcome(wavFile({.numChannels = channels, .bitsPerSample = 32}, pcm), outcome);
  }
}

TEST(WavLoader, ChecksNo32BitSampleOutsideTheWholeFrames) {
  const WavFormat format{.bitsPerSample = 32, .chunksAfterData = bytes(4)};
  expectOutcome(wavFile(format, "\x00\x00\x00\x00jj"s), Loaded, 1);
}

TEST(WavLoaderDeathTest, A32BitSampleOtherThan0CountsUpToTheFirstThatDoesNotFit) {
  const struct {
    WideFrames frames;
    std::size_t sampleAt;
    std::int64_t sample;
  } rows[] = {
      // The samples from byte 4096 or 4098 on end 4096 or 4098 bytes past 16 MiB.
      {{32, 52, 1, 5242880, AboveRange}, 52, 1},
      {{32, 52, 1, 5242880, BelowRange}, 52, -1},
      {{32, 52, 1, 5242880, BelowRange}, 5242928, -1},
      {{32, 4096, 1024, 4096, AboveRange}, 16777212, 1},
      {{32, 4098, 1024, 4096, AboveRange}, 16777210, 1},
      {{32, 4098, 1024, 4096, Rejected}, 16777214, 1},
      // A buffer of 0 floats in 32 bits, and one of 65534.
      {{32, 52, 32768, 131072, BelowRange}, 52, -1},
      {{32, 52, 32768, 131072, Rejected}, 56, -1},
      {{32, 52, 65535, 65538, AboveRange}, 52, 1},
      {{32, 52, 65535, 65538, AboveRange}, 56, 1},
      {{32, 52, 65535, 65538, Rejected}, 60, 1},
  };
  for (const auto& [frames, sampleAt, sample] : rows) {
    SCOPED_TRACE(testing::Message() << "sample at byte " << sampleAt);
    std::string file = frames.file();
    file.resize(std::max(file.size(), sampleAt + 4));
    expectOutcome(replaced(file, sampleAt, littleEndian(sample, 4)).substr(0, mostOfAFile),
                  frames.outcome);
  }
}

TEST(WavLoaderDeathTest, ABlockAlignOf0EndsByAnArithmeticFault) {
  expectOutcomeOfEach(
      {
          {"plain", fileOf({.blockAlign = 0})},
          {"no samples", wavFile({.blockAlign = 0}, "")},
          {"cut in its data size", fileOf({.blockAlign = 0}).substr(0, 40)},
          {"no channels", fileOf({.numChannels = 0, .blockAlign = 0})},
          {"an unknown width", fileOf({.bitsPerSample = 40, .blockAlign = 0})},
          {"a sample out of range", fileOf({.bitsPerSample = 32, .blockAlign = 0})},
      },
      ArithmeticFault);
  expectOutcomeOfEach(
      {
          {"no RIFF", replaced(fileOf({.blockAlign = 0}), 0, "RIFX")},
          {"another format", fileOf({.audioFormat = 3, .blockAlign = 0})},
          {"12 bits", fileOf({.bitsPerSample = 12, .blockAlign = 0})},
          {"no data", fileOf({.blockAlign = 0}).substr(0, 36)},
      },
      Rejected);
}

TEST(WavLoaderDeathTest, TheArithmeticFaultCannotBeIgnoredOrHeldBack) {
  const WavFileOnDisk file(fileOf({.blockAlign = 0}));
  const auto loadIgnoringFaults = [&file] {
    std::signal(SIGFPE, SIG_IGN);
    WavLoader().load(file.path());
  };
  const auto loadHoldingFaultsBack = [&file] {
    sigset_t faults;
    sigfillset(&faults);
    sigprocmask(SIG_BLOCK, &faults, nullptr);
    WavLoader().load(file.path());
  };
  EXPECT_EXIT(loadIgnoringFaults(), KilledBySignal(SIGFPE), "^$");
  EXPECT_EXIT(loadHoldingFaultsBack(), KilledBySignal(SIGFPE), "^$");
}

// Loading twice, and what is given back

TEST(WavLoader, TakesASecondFileInPlaceOfTheFirst) {
  const std::string second =
      wavFile({.numChannels = 2, .sampleRate = 8000, .bitsPerSample = 8}, "\x01\x02\x03\x04");
  OpenWavLoader loader;
  ASSERT_TRUE(loader.load(WavFileOnDisk(goodFile).path()));
  ASSERT_TRUE(loader.load(WavFileOnDisk(second).path()));
  expectMembers(loader, expectedWav(second, anyMemory));
}

TEST(WavLoader, KeepsTheFirstFileWhereTheSecondDoesNotLoad) {
  OpenWavLoader loader;
  ASSERT_TRUE(loader.load(WavFileOnDisk(goodFile).path()));
  const float* const buffer = loader.audioBuffer;
  EXPECT_FALSE(loader.load("/missing.wav"));
  EXPECT_FALSE(loader.load(WavFileOnDisk(goodFile.substr(0, 36)).path()));
  EXPECT_FALSE(loader.load(WavFileOnDisk(WideFrames{8, 4098, 4096, 4095, Rejected}.file()).path()));
  const WavFileOnDisk tooLarge(wavFile({.bitsPerSample = 8}, "").substr(0, 40));
  EXPECT_THROW(loader.load(tooLarge.path()), std::bad_alloc);
  expectMembers(loader, expectedWav(goodFile, anyMemory));
  EXPECT_EQ(loader.audioBuffer, buffer);
}

TEST(WavLoader, GivesBackItsMemoryAndFiles) {
  constexpr std::size_t bufferSize = 4'000'000;
  const WavFileOnDisk longFile(wavFile({.bitsPerSample = 8}, bytes(bufferSize / 4)));
  const WavFileOnDisk badFile(goodFile.substr(0, 36));
  const auto memoryInUse = [] {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
  };
  WavLoader loader;
  ASSERT_TRUE(loader.load(longFile.path()));
  const std::size_t memoryBefore = memoryInUse();
  const std::ptrdiff_t filesBefore = openFiles();
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(loader.load(longFile.path()));
    ASSERT_TRUE(WavLoader().load(longFile.path()));
    ASSERT_FALSE(WavLoader().load(badFile.path()));
  }
  EXPECT_LT(memoryInUse(), memoryBefore + bufferSize);
  EXPECT_EQ(openFiles(), filesBefore);
}
