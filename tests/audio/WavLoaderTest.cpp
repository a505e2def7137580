#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <iterator>
#include <new>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "audio/WavLoader.h"
#include "signal/WavFile.h"
#include "support/Files.h"

namespace {

using namespace std::string_literals;
using testing::Combine;
using testing::KilledBySignal;
using testing::Range;
using testing::TestWithParam;
using testing::Values;
using testing::ValuesIn;

constexpr std::size_t mostOfAFile = 16777216;  // bytes that count

// Where things stand in a file without a JUNK chunk.
constexpr std::size_t riffSizeAt = 4;
constexpr std::size_t formatSizeAt = 16;
constexpr std::size_t byteRateAt = 28;
constexpr std::size_t dataSizeAt = 40;
constexpr int firstSampleAt = 44;

// Two 16-bit samples, and what they load as.
const std::string twoSamples = "\x01\x00\xFE\xFF"s;
const std::vector<float> twoSamplesLoaded = {1.52589055e-05F, -3.0517811e-05F};

/// A loader that shows its members.
class OpenWavLoader : public WavLoader {
 public:
  using WavLoader::audioBuffer;
  using WavLoader::bitDepth;
  using WavLoader::numberOfSamples;
  using WavLoader::numChannels;
  using WavLoader::sampleRate;

  /// Loads `file` from the disk.
  bool loadBytes(std::string_view file) {
    const TemporaryFolder folder;
    const std::string path = folder / "recording.wav";
    writeFile(path, file);
    return load(path.c_str());
  }

  /// The samples of all channels, channel after channel.
  std::vector<float> samples() const {
    const auto frames = static_cast<std::size_t>(numberOfSamples);
    return {audioBuffer, audioBuffer + static_cast<std::size_t>(numChannels) * frames};
  }
};

/// A WAV file on the disk, for the tests in which loading it ends the process.
class WavFileOnDisk {
 public:
  explicit WavFileOnDisk(std::string_view file) { writeFile(name, file); }

  const char* path() const { return name.c_str(); }

 private:
  TemporaryFolder folder;
  std::string name = folder / "recording.wav";
};

struct NamedFile {
  std::string name;
  std::string file;
};

void PrintTo(const NamedFile& named, std::ostream* out) { *out << named.name; }

constexpr auto nameOfRow = [](const auto& info) { return info.param.name; };

std::string littleEndian(std::int64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> (8 * i));
  }
  return text;
}

/// The size and the first bytes of `file`, in hexadecimal.
std::string described(std::string_view file) {
  std::ostringstream text;
  text << file.size() << " bytes:" << std::hex << std::setfill('0');
  for (const char byte : file.substr(0, 80)) {
    text << ' ' << std::setw(2) << int{static_cast<unsigned char>(byte)};
  }
  return text.str();
}

std::string replaced(std::string file, std::size_t position, std::string_view bytes) {
  return file.replace(position, bytes.size(), bytes);
}

std::string withDataSize(std::string file, std::int64_t size) {
  return replaced(std::move(file), dataSizeAt, littleEndian(size, 4));
}

std::string bytesOf(std::size_t count) {
  std::string bytes(count, 'j');
  return bytes;
}

std::string junk(std::size_t size) { return wavChunk("JUNK", bytesOf(size)); }

/// A JUNK chunk of no bytes that claims `size`.
std::string junkClaiming(std::int64_t size) { return "JUNK" + littleEndian(size, 4); }

/// A good file except for what `format` says.
std::string fileOf(const WavFormat& format) { return wavFile(format, twoSamples); }

std::string goodFile() { return fileOf({}); }

void expectAsConstructed(const OpenWavLoader& loader) {
  EXPECT_EQ(loader.getAudioBuffer(), nullptr);
  EXPECT_EQ(loader.getBitDepth(), 0);
  EXPECT_EQ(loader.getSampleRate(), 0);
  EXPECT_EQ(loader.getNumberOfSamples(), 0);
  EXPECT_EQ(loader.numChannels, 0);
}

/// Expects that the file at `path` is refused without a word and without a trace in the loader.
void expectRejectedPath(const std::string& path) {
  OpenWavLoader loader;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_FALSE(loader.load(path.c_str())) << path;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  expectAsConstructed(loader);
}

void expectRejected(std::string_view file) {
  SCOPED_TRACE(described(file));
  expectRejectedPath(WavFileOnDisk(file).path());
}

void expectAllocationFails(std::string_view file) {
  SCOPED_TRACE(described(file));
  OpenWavLoader loader;
  EXPECT_THROW(loader.loadBytes(file), std::bad_alloc);
  expectAsConstructed(loader);
}

/// Expects that `file` loads as `frames` frames of zeros in `channels` channels.
void expectSilence(std::string_view file, int channels, int frames) {
  SCOPED_TRACE(described(file));
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(file));
  EXPECT_EQ(loader.numChannels, channels);
  EXPECT_EQ(loader.getNumberOfSamples(), frames);
  const auto samples = static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames);
  EXPECT_EQ(loader.samples(), std::vector<float>(samples, 0.0F));
}

// The header and the class.

TEST(WaveFormatHeader, StartsAsEmpty24BitPcm) {
  const WaveFormatHeader header;
  EXPECT_EQ(std::string(header.chunkId, 4), "fmt ");
  EXPECT_EQ(header.chunkSize, 16U);
  EXPECT_EQ(header.audioFormat, 1);
  EXPECT_EQ(header.numChannels, 0);
  EXPECT_EQ(header.sampleRate, 0U);
  EXPECT_EQ(header.byteRate, 0U);
  EXPECT_EQ(header.blockAlign, 0);
  EXPECT_EQ(header.bitsPerSample, 24);
}

TEST(WaveFormatHeader, LiesInMemoryAsInTheFile) {
  EXPECT_TRUE(std::is_standard_layout_v<WaveFormatHeader>);
  EXPECT_EQ(sizeof(WaveFormatHeader), 24U);
  EXPECT_EQ(offsetof(WaveFormatHeader, chunkId), 0U);
  EXPECT_EQ(offsetof(WaveFormatHeader, chunkSize), 4U);
  EXPECT_EQ(offsetof(WaveFormatHeader, audioFormat), 8U);
  EXPECT_EQ(offsetof(WaveFormatHeader, numChannels), 10U);
  EXPECT_EQ(offsetof(WaveFormatHeader, sampleRate), 12U);
  EXPECT_EQ(offsetof(WaveFormatHeader, byteRate), 16U);
  EXPECT_EQ(offsetof(WaveFormatHeader, blockAlign), 20U);
  EXPECT_EQ(offsetof(WaveFormatHeader, bitsPerSample), 22U);
}

TEST(WaveFormatHeader, HasUnsignedFields) {
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::chunkSize), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::audioFormat), std::uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::numChannels), std::uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::sampleRate), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::byteRate), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::blockAlign), std::uint16_t>));
  EXPECT_TRUE((std::is_same_v<decltype(WaveFormatHeader::bitsPerSample), std::uint16_t>));
}

TEST(WavLoader, StartsEmpty) { expectAsConstructed(OpenWavLoader()); }

TEST(WavLoader, IsDestroyedThroughItsBaseAndNeverCopied) {
  EXPECT_TRUE(std::has_virtual_destructor_v<WavLoader>);
  EXPECT_FALSE(std::is_copy_constructible_v<WavLoader>);
  EXPECT_FALSE(std::is_copy_assignable_v<WavLoader>);
}

// What a good file loads as.

TEST(WavLoader, LoadsFormatAndSamples) {
  OpenWavLoader loader;
  const std::string pcm = "\x01\x00\x02\x00\x03\x00\xFF\xFF\xFE\xFF\xFD\xFF"s;
  ASSERT_TRUE(loader.loadBytes(wavFile({.numChannels = 3, .sampleRate = 48000}, pcm)));
  EXPECT_EQ(loader.getBitDepth(), 16);
  EXPECT_EQ(loader.getSampleRate(), 48000);
  EXPECT_EQ(loader.numChannels, 3);
  EXPECT_EQ(loader.getNumberOfSamples(), 2);
  EXPECT_EQ(loader.samples(),
            (std::vector<float>{1.52589055e-05F, -1.52589055e-05F, 3.0517811e-05F, -3.0517811e-05F,
                                4.57767165e-05F, -4.57767165e-05F}));
  EXPECT_EQ(loader.getAudioBuffer(), loader.audioBuffer);
}

TEST(WavLoader, PrintsNothingOfAGoodFile) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_TRUE(OpenWavLoader().loadBytes(goodFile()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

class WavLoaderSampleRate : public TestWithParam<std::tuple<std::uint32_t, int>> {};

TEST_P(WavLoaderSampleRate, IsTakenFromTheHeader) {
  const auto [inFile, loaded] = GetParam();
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(fileOf({.sampleRate = inFile})));
  EXPECT_EQ(loader.getSampleRate(), loaded);
}

INSTANTIATE_TEST_SUITE_P(AllBytes, WavLoaderSampleRate,
                         Values(std::tuple(0U, 0), std::tuple(1U, 1), std::tuple(44100U, 44100),
                                std::tuple(96000U, 96000), std::tuple(0x12345678U, 305419896),
                                std::tuple(0x7FFFFFFFU, 2147483647), std::tuple(0xFFFFFFFFU, -1)));

struct ScaledSample {
  int bitsPerSample;
  std::string pcm;
  float loaded;
  float decimal;  // the same number
};

void PrintTo(const ScaledSample& row, std::ostream* out) {
  *out << row.bitsPerSample << " bits, " << row.decimal;
}

class WavLoaderScale : public TestWithParam<ScaledSample> {};

TEST_P(WavLoaderScale, DividesByTheUnsignedRangePlusOneHalf) {
  const ScaledSample& row = GetParam();
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(wavFile({.bitsPerSample = row.bitsPerSample}, row.pcm)));
  EXPECT_EQ(loader.getBitDepth(), row.bitsPerSample);
  EXPECT_EQ(loader.samples(), std::vector{row.loaded});
  EXPECT_EQ(loader.samples(), std::vector{row.decimal});
}

float of8Bits(int value) { return static_cast<float>(value * (1.0 / 255.5)); }
float of16Bits(int value) { return static_cast<float>(value * (1.0 / 65535.5)); }
float of24Bits(int value) { return static_cast<float>(value * (1.0 / 16777215.5)); }

INSTANTIATE_TEST_SUITE_P(EightBitsAreSigned, WavLoaderScale,
                         Values(ScaledSample{8, "\x00"s, of8Bits(0), 0.0F},
                                ScaledSample{8, "\x01"s, of8Bits(1), 0.0039138943F},
                                ScaledSample{8, "\x40"s, of8Bits(64), 0.250489235F},
                                ScaledSample{8, "\x7F"s, of8Bits(127), 0.49706459F},
                                ScaledSample{8, "\x80"s, of8Bits(-128), -0.50097847F},
                                ScaledSample{8, "\x81"s, of8Bits(-127), -0.49706459F},
                                ScaledSample{8, "\xFF"s, of8Bits(-1), -0.0039138943F}));

INSTANTIATE_TEST_SUITE_P(SixteenBits, WavLoaderScale,
                         Values(ScaledSample{16, "\x00\x00"s, of16Bits(0), 0.0F},
                                ScaledSample{16, "\x01\x00"s, of16Bits(1), 1.52589055e-05F},
                                ScaledSample{16, "\xFF\x00"s, of16Bits(255), 0.00389102101F},
                                ScaledSample{16, "\x00\x01"s, of16Bits(256), 0.0039062798F},
                                ScaledSample{16, "\x34\x12"s, of16Bits(0x1234), 0.0711065009F},
                                ScaledSample{16, "\x0D\x0A"s, of16Bits(0x0A0D), 0.0392611623F},
                                ScaledSample{16, "\xFF\x7F"s, of16Bits(32767), 0.499988556F},
                                ScaledSample{16, "\x00\x80"s, of16Bits(-32768), -0.500003815F},
                                ScaledSample{16, "\x01\x80"s, of16Bits(-32767), -0.499988556F},
                                ScaledSample{16, "\x00\xFF"s, of16Bits(-256), -0.0039062798F},
                                ScaledSample{16, "\xFF\xFF"s, of16Bits(-1), -1.52589055e-05F}));

INSTANTIATE_TEST_SUITE_P(TwentyFourBits, WavLoaderScale,
                         Values(ScaledSample{24, "\x00\x00\x00"s, of24Bits(0), 0.0F},
                                ScaledSample{24, "\x01\x00\x00"s, of24Bits(1), 5.96046448e-08F},
                                ScaledSample{24, "\x80\x00\x00"s, of24Bits(128), 7.62939453e-06F},
                                ScaledSample{24, "\x00\x80\x00"s, of24Bits(32768), 0.001953125F},
                                ScaledSample{24, "\x00\x00\x01"s, of24Bits(65536), 0.00390625F},
                                ScaledSample{24, "\x56\x34\x12"s, of24Bits(0x123456), 0.071111083F},
                                ScaledSample{24, "\x81\x80\x7F"s, of24Bits(0x7F8081), 0.498054564F},
                                ScaledSample{24, "\xFF\xFF\x7F"s, of24Bits(8388607), 0.49999994F},
                                ScaledSample{24, "\x00\x00\x80"s, of24Bits(-8388608), -0.5F},
                                ScaledSample{24, "\x01\x00\x80"s, of24Bits(-8388607), -0.49999994F},
                                ScaledSample{24, "\x34\x00\x80"s, of24Bits(-8388556),
                                             -0.499996901F},
                                ScaledSample{24, "\x00\x00\xFF"s, of24Bits(-65536), -0.00390625F},
                                ScaledSample{24, "\xFF\xFF\xFF"s, of24Bits(-1), -5.96046448e-08F}));

INSTANTIATE_TEST_SUITE_P(SilenceOf32Bits, WavLoaderScale,
                         Values(ScaledSample{32, "\x00\x00\x00\x00"s, 0.0F, 0.0F}));

TEST(WavLoader, LoadsSilenceOf8BitsAsTheLowestSample) {
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(wavFile({.bitsPerSample = 8}, std::string(1000, '\x80'))));
  EXPECT_EQ(loader.samples(), std::vector<float>(1000, of8Bits(-128)));
}

class WavLoaderChannels : public TestWithParam<std::tuple<int, int>> {};

TEST_P(WavLoaderChannels, LieOneAfterTheOther) {
  const auto [bitsPerSample, numChannels] = GetParam();
  const auto loaded = bitsPerSample == 8 ? of8Bits : bitsPerSample == 16 ? of16Bits : of24Bits;
  const auto value = [](int channel, int frame) { return 10 * frame - 20 * channel + 1; };
  constexpr int frames = 5;
  std::string pcm;
  for (int frame = 0; frame < frames; ++frame) {
    for (int channel = 0; channel < numChannels; ++channel) {
      pcm += littleEndian(value(channel, frame), bitsPerSample / 8);
    }
  }
  std::vector<float> planar;
  for (int channel = 0; channel < numChannels; ++channel) {
    for (int frame = 0; frame < frames; ++frame) {
      planar.push_back(loaded(value(channel, frame)));
    }
  }

  OpenWavLoader loader;
  const WavFormat format{.numChannels = numChannels, .bitsPerSample = bitsPerSample};
  ASSERT_TRUE(loader.loadBytes(wavFile(format, pcm)));
  EXPECT_EQ(loader.numChannels, numChannels);
  EXPECT_EQ(loader.getNumberOfSamples(), frames);
  EXPECT_EQ(loader.samples(), planar);
}

INSTANTIATE_TEST_SUITE_P(EachWidth, WavLoaderChannels,
                         Combine(Values(8, 16, 24), Values(1, 2, 3, 4)));

TEST(WavLoader, LoadsSilenceOf32BitsInEachChannel) {
  const WavFormat format{.numChannels = 3, .bitsPerSample = 32};
  expectSilence(wavFile(format, std::string(5 * 12, '\0')), 3, 5);
}

// Widths without a conversion.

class WavLoaderUnknownWidth : public TestWithParam<int> {};

TEST_P(WavLoaderUnknownWidth, LoadsAsZeros) {
  // Leaves 500 samples of other values in the memory that the next buffer is made of.
  ASSERT_TRUE(OpenWavLoader().loadBytes(wavFile({}, bytesOf(1000))));
  OpenWavLoader loader;
  const WavFormat format{.numChannels = 2, .bitsPerSample = GetParam(), .blockAlign = 10};
  ASSERT_TRUE(loader.loadBytes(wavFile(format, bytesOf(2500))));
  EXPECT_EQ(loader.getBitDepth(), GetParam());
  EXPECT_EQ(loader.getNumberOfSamples(), 250);
  EXPECT_EQ(loader.samples(), std::vector<float>(500, 0.0F));
}

// Among them are widths that are 8, 16, 24 or 32 in their lower byte or lower five bits.
INSTANTIATE_TEST_SUITE_P(MultiplesOf8, WavLoaderUnknownWidth,
                         Values(0, 40, 48, 56, 64, 72, 128, 264, 272, 280, 288, 32776, 65528));

TEST(WavLoader, LoadsAFileWithoutChannelsAsZeros) {
  ASSERT_TRUE(OpenWavLoader().loadBytes(wavFile({}, bytesOf(1000))));
  OpenWavLoader loader;
  const WavFormat format{.numChannels = 0, .bitsPerSample = 16, .blockAlign = 2};
  ASSERT_TRUE(loader.loadBytes(wavFile(format, bytesOf(1000))));
  EXPECT_EQ(loader.numChannels, 0);
  ASSERT_EQ(loader.getNumberOfSamples(), 500);
  EXPECT_EQ(std::vector<float>(loader.audioBuffer, loader.audioBuffer + 500),
            std::vector<float>(500, 0.0F));
}

TEST(WavLoader, LooksAtNo32BitSampleOfAFileWithoutChannels) {
  expectSilence(wavFile({.numChannels = 0, .bitsPerSample = 32, .blockAlign = 4}, bytesOf(8)), 0,
                2);
}

// Layouts.

class WavLoaderAccepts : public TestWithParam<NamedFile> {};

TEST_P(WavLoaderAccepts, TheFile) {
  SCOPED_TRACE(described(GetParam().file));
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(GetParam().file));
  EXPECT_EQ(loader.getBitDepth(), 16);
  EXPECT_EQ(loader.getSampleRate(), 44100);
  EXPECT_EQ(loader.numChannels, 1);
  EXPECT_EQ(loader.getNumberOfSamples(), 2);
  EXPECT_EQ(loader.samples(), twoSamplesLoaded);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, WavLoaderAccepts,
    Values(NamedFile{"Plain", goodFile()},  //
           NamedFile{"ChunksAfterData", fileOf({.chunksAfterData = wavChunk("LIST", "INFO")})},
           NamedFile{"JunkAfterData", fileOf({.chunksAfterData = junk(4)})},
           NamedFile{"RiffSize0", replaced(goodFile(), riffSizeAt, littleEndian(0, 4))},
           NamedFile{"RiffSizeMost", replaced(goodFile(), riffSizeAt, littleEndian(-1, 4))},
           NamedFile{"FormatSize0", replaced(goodFile(), formatSizeAt, littleEndian(0, 4))},
           NamedFile{"FormatSize18", replaced(goodFile(), formatSizeAt, littleEndian(18, 4))},
           NamedFile{"FormatSizeMost", replaced(goodFile(), formatSizeAt, littleEndian(-1, 4))},
           NamedFile{"ByteRate0", replaced(goodFile(), byteRateAt, littleEndian(0, 4))},
           NamedFile{"ByteRateMost", replaced(goodFile(), byteRateAt, littleEndian(-1, 4))}),
    nameOfRow);

INSTANTIATE_TEST_SUITE_P(
    JunkBeforeFormat, WavLoaderAccepts,
    Values(NamedFile{"Empty", fileOf({.chunksBeforeFormat = junk(0)})},
           NamedFile{"OneByte", fileOf({.chunksBeforeFormat = junk(1)})},
           NamedFile{"TwoBytes", fileOf({.chunksBeforeFormat = junk(2)})},
           NamedFile{"Odd", fileOf({.chunksBeforeFormat = junk(27)})},
           NamedFile{"Even", fileOf({.chunksBeforeFormat = junk(28)})},
           NamedFile{"Odd16BitSize", fileOf({.chunksBeforeFormat = junk(513)})},
           NamedFile{"Odd24BitSize", fileOf({.chunksBeforeFormat = junk(70001)})},
           // 16 + (0xFFFFFFFF + 4 + 1 - 0x100000000) is 20, the end of the size field.
           NamedFile{"SizeWrapsToItsEnd", fileOf({.chunksBeforeFormat = junkClaiming(-1)})}),
    nameOfRow);

class WavLoaderRejects : public TestWithParam<NamedFile> {};

TEST_P(WavLoaderRejects, TheFile) { expectRejected(GetParam().file); }

INSTANTIATE_TEST_SUITE_P(
    JunkBeforeFormat, WavLoaderRejects,
    Values(
        NamedFile{"LowerCase", fileOf({.chunksBeforeFormat = wavChunk("junk", "body")})},
        NamedFile{"Twice", fileOf({.chunksBeforeFormat = junk(4) + junk(4)})},
        NamedFile{"OddWithoutPadding",
                  fileOf({.chunksBeforeFormat = junkClaiming(27) + bytesOf(27)})},
        NamedFile{"EvenWithPadding",
                  fileOf({.chunksBeforeFormat = junkClaiming(28) + bytesOf(29)})},
        NamedFile{"OneWordShort", fileOf({.chunksBeforeFormat = junkClaiming(26) + bytesOf(28)})},
        NamedFile{"OneWordLong", fileOf({.chunksBeforeFormat = junkClaiming(30) + bytesOf(28)})}),
    nameOfRow);

// 0xFFFFFFFB and 0xFFFFFFFC lead to byte 16, 0xFFFFFFFD and 0xFFFFFFFE to byte 18: the size itself
// stands there. All others lead past the bytes that count.
INSTANTIATE_TEST_SUITE_P(
    JunkSize, WavLoaderRejects,
    Values(NamedFile{"WrapsTo16Odd", fileOf({.chunksBeforeFormat = junkClaiming(0xFFFFFFFB)})},
           NamedFile{"WrapsTo16Even", fileOf({.chunksBeforeFormat = junkClaiming(0xFFFFFFFC)})},
           NamedFile{"WrapsTo18Odd", fileOf({.chunksBeforeFormat = junkClaiming(0xFFFFFFFD)})},
           NamedFile{"WrapsTo18Even", fileOf({.chunksBeforeFormat = junkClaiming(0xFFFFFFFE)})},
           NamedFile{"DoesNotQuiteWrap", fileOf({.chunksBeforeFormat = junkClaiming(0xFFFFFFFA)})},
           NamedFile{"LargestSigned", fileOf({.chunksBeforeFormat = junkClaiming(0x7FFFFFFF)})},
           NamedFile{"SmallestSigned", fileOf({.chunksBeforeFormat = junkClaiming(0x80000000)})},
           NamedFile{"JustPast16MiB", fileOf({.chunksBeforeFormat = junkClaiming(16777196)})}),
    nameOfRow);

INSTANTIATE_TEST_SUITE_P(
    Layouts, WavLoaderRejects,
    Values(NamedFile{"ListBeforeFormat", fileOf({.chunksBeforeFormat = wavChunk("LIST", "INFO")})},
           NamedFile{"ListBeforeData", fileOf({.chunksBeforeData = wavChunk("LIST", "INFO")})},
           NamedFile{"JunkBeforeData", fileOf({.chunksBeforeData = junk(4)})},
           NamedFile{"FormatOf18Bytes", fileOf({.formatExtension = std::string(2, '\0')})},
           NamedFile{"FormatOf40Bytes", fileOf({.formatExtension = std::string(24, '\0')})},
           NamedFile{
               "LongFormatSaying16",
               replaced(fileOf({.formatExtension = std::string(2, '\0')}), formatSizeAt, "\x10"s)},
           NamedFile{"NoData", goodFile().substr(0, 36) + wavChunk("LIST", "INFO")},
           NamedFile{"NothingButZeros", std::string(100, '\0')}, NamedFile{"Empty", ""}),
    nameOfRow);

std::vector<NamedFile> filesWithOneWrongIdentifierByte() {
  std::vector<NamedFile> files;
  const std::string withJunk = fileOf({.chunksBeforeFormat = junk(2)});
  const auto addWith = [&files](const std::string& kind, std::string file, std::size_t position) {
    file[position] ^= 0x20;  // the other case; the space becomes a zero
    files.push_back({kind + std::to_string(position), std::move(file)});
  };
  for (const std::size_t identifier : {0U, 8U, 12U, 36U}) {
    for (std::size_t byte = 0; byte < 4; ++byte) {
      addWith("Plain", goodFile(), identifier + byte);
    }
  }
  for (const std::size_t identifier : {12U, 22U, 46U}) {
    for (std::size_t byte = 0; byte < 4; ++byte) {
      addWith("WithJunk", withJunk, identifier + byte);
    }
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(WrongIdentifierByte, WavLoaderRejects,
                         ValuesIn(filesWithOneWrongIdentifierByte()), nameOfRow);

std::vector<NamedFile> filesInOtherFormats() {
  std::vector<NamedFile> files;
  for (const int audioFormat : {0, 2, 3, 6, 0x0100, 0x0101, 0x8001, 0xFFFE, 0xFFFF}) {
    files.push_back({"Code" + std::to_string(audioFormat), fileOf({.audioFormat = audioFormat})});
  }
  for (const int bits : {1, 2, 4, 7, 9, 10, 12, 15, 17, 20, 31, 36, 0x0108 + 4, 0xFFFF}) {
    files.push_back({"Bits" + std::to_string(bits),  //
                     fileOf({.bitsPerSample = bits, .blockAlign = 2})});
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(OtherFormats, WavLoaderRejects, ValuesIn(filesInOtherFormats()),
                         nameOfRow);

// Files cut off.

class WavLoaderCutInItsHeaders : public TestWithParam<int> {
 protected:
  static std::string cut(const WavFormat& format) {
    return fileOf(format).substr(0, static_cast<std::size_t>(GetParam()));
  }
};

TEST_P(WavLoaderCutInItsHeaders, IsRejected) { expectRejected(cut({})); }

TEST_P(WavLoaderCutInItsHeaders, IsRejectedWithJunk) {
  expectRejected(cut({.chunksBeforeFormat = junk(0)}));
}

INSTANTIATE_TEST_SUITE_P(EachLength, WavLoaderCutInItsHeaders, Range(0, firstSampleAt));

class WavLoaderCutInItsSamples : public TestWithParam<int> {};

TEST_P(WavLoaderCutInItsSamples, LoadsTheWholeOnes) {
  const int bytes = GetParam();
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(goodFile().substr(0, static_cast<std::size_t>(44 + bytes))));
  EXPECT_EQ(loader.getNumberOfSamples(), bytes / 2);
  EXPECT_EQ(loader.samples(),
            std::vector<float>(twoSamplesLoaded.begin(), twoSamplesLoaded.begin() + bytes / 2));
  EXPECT_NE(loader.getAudioBuffer(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(EachLength, WavLoaderCutInItsSamples, Values(0, 1, 2, 3, 4));

// A file that ends 4 to 1 bytes before its first sample is as if it had 0xFFFFFFFC to 0xFFFFFFFF
// bytes of samples.

struct WrappedSize {
  std::size_t length;  // of the file
  int bitsPerSample;
  int numChannels;
  int blockAlign;
  int frames = 0;

  std::string file() const {
    const WavFormat format{
        .numChannels = numChannels, .bitsPerSample = bitsPerSample, .blockAlign = blockAlign};
    return wavFile(format, "").substr(0, length);
  }
};

void PrintTo(const WrappedSize& row, std::ostream* out) {
  *out << row.length << " bytes, " << row.bitsPerSample << " bits, " << row.numChannels
       << " channels, block align " << row.blockAlign;
}

class WavLoaderWrappedSizeThatFits : public TestWithParam<WrappedSize> {};

TEST_P(WavLoaderWrappedSizeThatFits, LoadsAsZeros) {
  expectSilence(GetParam().file(), GetParam().numChannels, GetParam().frames);
}

INSTANTIATE_TEST_SUITE_P(
    OfSomeFrames, WavLoaderWrappedSizeThatFits,
    Values(WrappedSize{40, 8, 1, 65535, 65536}, WrappedSize{41, 8, 1, 65535, 65536},
           WrappedSize{42, 8, 1, 65535, 65536}, WrappedSize{43, 8, 1, 65535, 65537},
           WrappedSize{40, 16, 2, 65535, 65536}, WrappedSize{43, 24, 3, 65535, 65537},
           WrappedSize{43, 32, 1, 65535, 65537}, WrappedSize{43, 8, 1, 257, 16711935},
           WrappedSize{43, 40, 1, 256, 16777215}, WrappedSize{43, 16, 0, 256, 16777215}));

class WavLoaderWrappedSizeThatDoesNotFit : public TestWithParam<WrappedSize> {};

TEST_P(WavLoaderWrappedSizeThatDoesNotFit, IsRejected) { expectRejected(GetParam().file()); }

INSTANTIATE_TEST_SUITE_P(OrdinaryFrames, WavLoaderWrappedSizeThatDoesNotFit,
                         Values(WrappedSize{40, 16, 1, 2}, WrappedSize{41, 16, 1, 2},
                                WrappedSize{42, 16, 1, 2}, WrappedSize{43, 16, 1, 2},
                                WrappedSize{40, 16, 2, 4}, WrappedSize{43, 16, 2, 4},
                                WrappedSize{40, 24, 1, 3}, WrappedSize{43, 24, 2, 6},
                                WrappedSize{40, 32, 1, 4}, WrappedSize{43, 8, 1, 256}));

// 0xFFFFFFFF / 255 is 16,843,009, more than 16,777,216.
INSTANTIATE_TEST_SUITE_P(MoreFramesThanBytesCount, WavLoaderWrappedSizeThatDoesNotFit,
                         Values(WrappedSize{40, 40, 1, 5}, WrappedSize{43, 40, 1, 5},
                                WrappedSize{40, 40, 1, 255}, WrappedSize{43, 40, 1, 255},
                                WrappedSize{43, 0, 1, 2}, WrappedSize{43, 16, 0, 255}));

class WavLoaderWrappedSizeOfNegativeFloats : public TestWithParam<WrappedSize> {};

TEST_P(WavLoaderWrappedSizeOfNegativeFloats, FailsToAllocate) {
  expectAllocationFails(GetParam().file());
}

INSTANTIATE_TEST_SUITE_P(OfBytes, WavLoaderWrappedSizeOfNegativeFloats,
                         Values(WrappedSize{40, 8, 1, 1}, WrappedSize{41, 8, 1, 1},
                                WrappedSize{42, 8, 1, 1}, WrappedSize{43, 8, 1, 1},
                                WrappedSize{40, 8, 2, 2}, WrappedSize{43, 8, 4, 4},
                                WrappedSize{43, 40, 1, 1}));

TEST(WavLoader, KeepsANegativeNumberOfSamplesWithoutChannels) {
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(WrappedSize{40, 16, 0, 1}.file()));
  EXPECT_EQ(loader.getNumberOfSamples(), -4);
  EXPECT_NE(loader.getAudioBuffer(), nullptr);
}

// The size of the data.

struct DataSize {
  std::int64_t claimed;
  std::size_t present;  // even
  int blockAlign;
  int frames;
};

void PrintTo(const DataSize& row, std::ostream* out) {
  *out << row.claimed << " bytes claimed, " << row.present << " present, block align "
       << row.blockAlign;
}

class WavLoaderDataSize : public TestWithParam<DataSize> {};

TEST_P(WavLoaderDataSize, CountsWholeFramesAsFarAsTheFileReaches) {
  const DataSize& row = GetParam();
  const WavFormat format{.bitsPerSample = 8, .blockAlign = row.blockAlign};
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(withDataSize(wavFile(format, bytesOf(row.present)), row.claimed)));
  EXPECT_EQ(loader.getNumberOfSamples(), row.frames);
  EXPECT_EQ(loader.samples(),
            std::vector<float>(static_cast<std::size_t>(row.frames), of8Bits('j')));
}

INSTANTIATE_TEST_SUITE_P(ClaimedAndPresent, WavLoaderDataSize,
                         Values(DataSize{0, 6, 1, 0}, DataSize{1, 6, 1, 1}, DataSize{5, 6, 1, 5},
                                DataSize{6, 6, 1, 6}, DataSize{7, 6, 1, 6}, DataSize{50, 6, 1, 6},
                                DataSize{0, 0, 1, 0}, DataSize{1, 0, 1, 0},
                                DataSize{0x10002, 6, 1, 6}, DataSize{0x7FFFFFFF, 6, 1, 6},
                                DataSize{0x80000000, 6, 1, 6}, DataSize{0xFFFFFFFF, 6, 1, 6}));

// With the 44 bytes of headers they come to 0xFFFFFFFF and 0x100000000 bytes.
INSTANTIATE_TEST_SUITE_P(EndingAt32Bits, WavLoaderDataSize,
                         Values(DataSize{0xFFFFFFD3, 6, 1, 6}, DataSize{0xFFFFFFD4, 6, 1, 6}));

INSTANTIATE_TEST_SUITE_P(PartialLastFrame, WavLoaderDataSize,
                         Values(DataSize{6, 6, 3, 2}, DataSize{5, 6, 3, 1}, DataSize{2, 6, 3, 0},
                                DataSize{8, 6, 4, 1}, DataSize{6, 6, 7, 0},
                                DataSize{600, 600, 256, 2}, DataSize{600, 600, 65535, 0}));

// Files around 16 MiB.

struct LongFile {
  std::size_t length;
  int bitsPerSample;
  int frames;
  float lastSample;
};

void PrintTo(const LongFile& row, std::ostream* out) {
  *out << row.length << " bytes, " << row.bitsPerSample << " bits";
}

class WavLoaderLongFile : public TestWithParam<LongFile> {};

TEST_P(WavLoaderLongFile, LoadsAsFarAs16MiB) {
  const LongFile& row = GetParam();
  std::string file = wavFile({.bitsPerSample = row.bitsPerSample}, bytesOf(17'000'000));
  file = replaced(file, mostOfAFile - 4, "\x02\x03\x04\x05\x06\x07\x08\x09");
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(std::string_view(file).substr(0, row.length)));
  ASSERT_EQ(loader.getNumberOfSamples(), row.frames);
  EXPECT_EQ(loader.getAudioBuffer()[row.frames - 1], row.lastSample);
}

INSTANTIATE_TEST_SUITE_P(EightBits, WavLoaderLongFile,
                         Values(LongFile{16777215, 8, 16777171, of8Bits(4)},
                                LongFile{16777216, 8, 16777172, of8Bits(5)},
                                LongFile{16777217, 8, 16777172, of8Bits(5)},
                                LongFile{17000000, 8, 16777172, of8Bits(5)}));

INSTANTIATE_TEST_SUITE_P(SixteenBits, WavLoaderLongFile,
                         Values(LongFile{16777215, 16, 8388585, of16Bits(0x0302)},
                                LongFile{16777216, 16, 8388586, of16Bits(0x0504)},
                                LongFile{16777217, 16, 8388586, of16Bits(0x0504)}));

/// A file of which so many bytes of the format chunk and what follows it are among those that
/// count.
std::string fileWithBytesBefore16MiB(std::size_t bytes, WavFormat format) {
  format.chunksBeforeFormat = junk(mostOfAFile - 20 - bytes);
  return wavFile(format, "\x01\x01\x01\x01\x01\x01");
}

class WavLoaderSamplesAt16MiB : public TestWithParam<int> {};

TEST_P(WavLoaderSamplesAt16MiB, LoadAsFarAsThere) {
  const auto frames = static_cast<std::size_t>(GetParam());
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(fileWithBytesBefore16MiB(32 + 2 * frames, {})));
  EXPECT_EQ(loader.getNumberOfSamples(), GetParam());
  EXPECT_EQ(loader.samples(), std::vector<float>(frames, of16Bits(0x0101)));
}

INSTANTIATE_TEST_SUITE_P(EachFrame, WavLoaderSamplesAt16MiB, Values(0, 1, 2));

class WavLoaderHeadersAt16MiB : public TestWithParam<std::size_t> {};

TEST_P(WavLoaderHeadersAt16MiB, CutAFileOf16Bits) {
  expectRejected(fileWithBytesBefore16MiB(GetParam(), {}));
}

TEST_P(WavLoaderHeadersAt16MiB, CutAFileOfFewFrames) {
  expectRejected(fileWithBytesBefore16MiB(GetParam(), {.bitsPerSample = 8, .blockAlign = 65535}));
}

INSTANTIATE_TEST_SUITE_P(EachWord, WavLoaderHeadersAt16MiB, Range<std::size_t>(0, 32, 2));

class WavLoaderDataSizeAt16MiB : public TestWithParam<std::size_t> {};

TEST_P(WavLoaderDataSizeAt16MiB, CutsNoFileOfAnUnreadWidth) {
  const WavFormat format{.bitsPerSample = 40, .blockAlign = 65535};
  expectSilence(fileWithBytesBefore16MiB(GetParam(), format), 1, 65536);
}

INSTANTIATE_TEST_SUITE_P(EachWord, WavLoaderDataSizeAt16MiB, Values(28, 30));

// Frames that are larger or smaller than the block align.

TEST(WavLoader, StepsBySamplesAndNotByBlockAlign) {
  const WavFormat format{.numChannels = 2, .bitsPerSample = 24, .blockAlign = 8};
  const std::string pcm =
      "\x01\x00\x00\xFF\xFF\xFF\x02\x00\x00\xFE\xFF\xFF"s  // frames 0 and 1
      "\x03\x00\x00\xFD\xFF\xFF\x04\x00\x00\xFC\xFF\xFF"s;
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(wavFile(format, pcm)));
  EXPECT_EQ(loader.getNumberOfSamples(), 3);
  EXPECT_EQ(loader.samples(), (std::vector<float>{of24Bits(1), of24Bits(2), of24Bits(3),
                                                  of24Bits(-1), of24Bits(-2), of24Bits(-3)}));
}

TEST(WavLoader, ReadsOnPastTheFileWhereBlockAlignIsTooSmall) {
  const WavFormat format{.numChannels = 2, .blockAlign = 2};
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(wavFile(format, "\x01\x00\xFF\xFF\x02\x00"s)));
  EXPECT_EQ(loader.getNumberOfSamples(), 3);
  EXPECT_EQ(loader.samples(),
            (std::vector<float>{of16Bits(1), of16Bits(2), 0.0F, of16Bits(-1), 0.0F, 0.0F}));
}

TEST(WavLoader, ReadsOnInTheNextChunkWhereBlockAlignIsTooSmall) {
  const WavFormat format{.blockAlign = 1, .chunksAfterData = "\x05\x00\x06\x00"s};
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(wavFile(format, "\x01\x00\x02\x00"s)));
  EXPECT_EQ(loader.samples(),
            (std::vector<float>{of16Bits(1), of16Bits(2), of16Bits(5), of16Bits(6)}));
}

/// A file of silence with a block align of 1, in which the samples start at a chosen place.
struct WideFrames {
  int bitsPerSample;
  std::size_t firstSample;
  int numChannels;
  int frames;

  std::string file() const {
    const WavFormat format{.numChannels = numChannels,
                           .bitsPerSample = bitsPerSample,
                           .blockAlign = 1,
                           .chunksBeforeFormat = junk(firstSample - 52)};
    return wavFile(format, std::string(static_cast<std::size_t>(frames), '\0'));
  }
};

void PrintTo(const WideFrames& row, std::ostream* out) {
  *out << row.bitsPerSample << " bits, samples from byte " << row.firstSample << ", "
       << row.numChannels << " channels, " << row.frames << " frames";
}

class WavLoaderFramesThatFit : public TestWithParam<WideFrames> {};

TEST_P(WavLoaderFramesThatFit, Load) {
  expectSilence(GetParam().file(), GetParam().numChannels, GetParam().frames);
}

// 4096 + 4096 * 4095 is 16,777,216, and 8190 + 4095 * 4095 is one byte less.
INSTANTIATE_TEST_SUITE_P(UpTo16MiB, WavLoaderFramesThatFit,
                         Values(WideFrames{8, 4096, 4096, 4095}, WideFrames{8, 8190, 4095, 4095},
                                WideFrames{16, 4096, 2048, 4095}, WideFrames{24, 4096, 4096, 1365},
                                WideFrames{32, 4096, 1024, 4095}));

INSTANTIATE_TEST_SUITE_P(NotRead, WavLoaderFramesThatFit,
                         Values(WideFrames{40, 4098, 4096, 4100}, WideFrames{0, 4098, 4096, 4100}));

class WavLoaderFramesThatDoNotFit : public TestWithParam<WideFrames> {};

TEST_P(WavLoaderFramesThatDoNotFit, AreRejected) { expectRejected(GetParam().file()); }

INSTANTIATE_TEST_SUITE_P(ByTheFirstByte, WavLoaderFramesThatDoNotFit,
                         Values(WideFrames{8, 4098, 4096, 4095}, WideFrames{8, 8192, 4095, 4095},
                                WideFrames{16, 4098, 2048, 4095}, WideFrames{24, 4098, 4096, 1365},
                                WideFrames{32, 4098, 1024, 4095}));

INSTANTIATE_TEST_SUITE_P(ByAFrame, WavLoaderFramesThatDoNotFit,
                         Values(WideFrames{8, 4096, 4096, 4096}, WideFrames{16, 4096, 2048, 4096},
                                WideFrames{24, 4096, 4096, 1366},
                                WideFrames{32, 4096, 1024, 4096}));

// 65535 * 65538 is 65534 and 32768 * 131072 is 0 in 32 bits: too short a buffer for the samples.
INSTANTIATE_TEST_SUITE_P(WithAWrappedBuffer, WavLoaderFramesThatDoNotFit,
                         Values(WideFrames{40, 52, 65535, 65538}, WideFrames{40, 52, 32768, 131072},
                                WideFrames{8, 52, 65535, 65538}, WideFrames{8, 52, 32768, 131072}));

// One frame less than 0x80000000 floats.
INSTANTIATE_TEST_SUITE_P(WithALargeBuffer, WavLoaderFramesThatDoNotFit,
                         Values(WideFrames{8, 52, 32768, 65535}));

class WavLoaderNegativeFloats : public TestWithParam<WideFrames> {};

TEST_P(WavLoaderNegativeFloats, FailToAllocate) { expectAllocationFails(GetParam().file()); }

// 32768 * 65536 is 0x80000000, 65535 * 65537 is 0xFFFFFFFF.
INSTANTIATE_TEST_SUITE_P(InEachWidth, WavLoaderNegativeFloats,
                         Values(WideFrames{8, 52, 32768, 65536}, WideFrames{8, 52, 65535, 65537},
                                WideFrames{16, 52, 65535, 65537}, WideFrames{24, 52, 65535, 65537},
                                WideFrames{32, 52, 65535, 65537},
                                WideFrames{40, 52, 65535, 65537}));

// Paths that can't be read.

TEST(WavLoader, RejectsAMissingFile) {
  const TemporaryFolder folder;
  expectRejectedPath(folder / "missing.wav");
}

TEST(WavLoader, RejectsAnEmptyPath) { expectRejectedPath(""); }

TEST(WavLoader, RejectsAFolder) {
  const TemporaryFolder folder;
  expectRejectedPath(folder.path());
}

// Loading once more, and what is given back.

TEST(WavLoaderLoadingTwice, TakesTheSecondFile) {
  OpenWavLoader loader;
  ASSERT_TRUE(loader.loadBytes(goodFile()));
  const WavFormat format{.numChannels = 2, .sampleRate = 8000, .bitsPerSample = 8};
  ASSERT_TRUE(loader.loadBytes(wavFile(format, "\x01\x02\x03\x04\x05\x06")));
  EXPECT_EQ(loader.getBitDepth(), 8);
  EXPECT_EQ(loader.getSampleRate(), 8000);
  EXPECT_EQ(loader.numChannels, 2);
  EXPECT_EQ(loader.getNumberOfSamples(), 3);
  EXPECT_EQ(loader.samples(), (std::vector<float>{of8Bits(1), of8Bits(3), of8Bits(5), of8Bits(2),
                                                  of8Bits(4), of8Bits(6)}));
}

class WavLoaderKeepsTheFirstFile : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(loader.loadBytes(goodFile()));
    buffer = loader.audioBuffer;
  }

  void expectUnchanged() const {
    EXPECT_EQ(loader.getAudioBuffer(), buffer);
    EXPECT_EQ(loader.getBitDepth(), 16);
    EXPECT_EQ(loader.getSampleRate(), 44100);
    EXPECT_EQ(loader.numChannels, 1);
    EXPECT_EQ(loader.getNumberOfSamples(), 2);
    EXPECT_EQ(loader.samples(), twoSamplesLoaded);
  }

  OpenWavLoader loader;
  const float* buffer = nullptr;
};

TEST_F(WavLoaderKeepsTheFirstFile, WhereTheSecondIsMissing) {
  const TemporaryFolder folder;
  EXPECT_FALSE(loader.load((folder / "missing.wav").c_str()));
  expectUnchanged();
}

TEST_F(WavLoaderKeepsTheFirstFile, WhereTheSecondHasNoData) {
  const WavFormat format{.numChannels = 2, .sampleRate = 8000, .bitsPerSample = 8};
  EXPECT_FALSE(loader.loadBytes(wavFile(format, "").substr(0, 36)));
  expectUnchanged();
}

TEST_F(WavLoaderKeepsTheFirstFile, WhereTheSecondReadsTooFar) {
  EXPECT_FALSE(loader.loadBytes(WideFrames{8, 4098, 4096, 4095}.file()));
  expectUnchanged();
}

TEST_F(WavLoaderKeepsTheFirstFile, WhereTheSecondCannotBeAllocated) {
  EXPECT_THROW(loader.loadBytes(WrappedSize{40, 8, 1, 1}.file()), std::bad_alloc);
  expectUnchanged();
}

class WavLoaderGivesBack : public testing::Test {
 protected:
  static constexpr int times = 10;
  static constexpr std::size_t samples = 1'000'000;
  static constexpr std::size_t bufferBytes = 4 * samples;

  static std::size_t memoryInUse() {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
  }

  static std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }

  const WavFileOnDisk longFile{wavFile({.bitsPerSample = 8}, bytesOf(samples))};
  const WavFileOnDisk badFile{goodFile().substr(0, 36)};
};

TEST_F(WavLoaderGivesBack, ItsBufferWhenItIsDestroyed) {
  const std::size_t before = memoryInUse();
  for (int i = 0; i < times; ++i) {
    ASSERT_TRUE(WavLoader().load(longFile.path()));
  }
  EXPECT_LT(memoryInUse(), before + bufferBytes);
}

TEST_F(WavLoaderGivesBack, TheEarlierBufferWhenItLoadsAgain) {
  WavLoader loader;
  ASSERT_TRUE(loader.load(longFile.path()));
  const std::size_t before = memoryInUse();
  for (int i = 0; i < times; ++i) {
    ASSERT_TRUE(loader.load(longFile.path()));
  }
  EXPECT_LT(memoryInUse(), before + bufferBytes);
}

TEST_F(WavLoaderGivesBack, TheBytesOfARejectedFile) {
  const std::size_t before = memoryInUse();
  for (int i = 0; i < times; ++i) {
    ASSERT_FALSE(WavLoader().load(badFile.path()));
  }
  EXPECT_LT(memoryInUse(), before + mostOfAFile);
}

TEST_F(WavLoaderGivesBack, EveryFile) {
  const std::ptrdiff_t before = openFiles();
  ASSERT_TRUE(WavLoader().load(longFile.path()));
  ASSERT_FALSE(WavLoader().load(badFile.path()));
  EXPECT_EQ(openFiles(), before);
}

// Ends of the process.

struct OutOfRange {
  std::string name;
  int numChannels;
  std::vector<std::int64_t> samples;  // interleaved
  std::string failing;                // a regular expression

  std::string file() const {
    std::string pcm;
    for (const std::int64_t sample : samples) {
      pcm += littleEndian(sample, 4);
    }
    return wavFile({.numChannels = numChannels, .bitsPerSample = 32}, pcm);
  }
};

void PrintTo(const OutOfRange& row, std::ostream* out) { *out << row.name; }

class WavLoaderRangeDeathTest : public TestWithParam<OutOfRange> {};

TEST_P(WavLoaderRangeDeathTest, EndsByAnAssertion) {
  const WavFileOnDisk file(GetParam().file());
  EXPECT_EXIT(WavLoader().load(file.path()), KilledBySignal(SIGABRT),
              "WavLoader.*load.*" + GetParam().failing);
}

const std::string aboveOne = "v <= 1\\.0";
const std::string belowMinusOne = "v >= -1\\.0";

INSTANTIATE_TEST_SUITE_P(
    Of32BitSamples, WavLoaderRangeDeathTest,
    Values(OutOfRange{"SmallestPositive", 1, {1}, aboveOne},
           OutOfRange{"LargestPositive", 1, {0x7FFFFFFF}, aboveOne},
           OutOfRange{"HighByteOnly", 1, {0x01000000}, aboveOne},
           OutOfRange{"SmallestNegative", 1, {-1}, belowMinusOne},
           OutOfRange{"LargestNegative", 1, {-0x80000000LL}, belowMinusOne},
           OutOfRange{"LastPositive", 1, {0, 0, 0, 5}, aboveOne},
           OutOfRange{"LastNegative", 1, {0, 0, 0, -5}, belowMinusOne},
           OutOfRange{"PositiveFirst", 1, {0, 5, -5}, aboveOne},
           OutOfRange{"NegativeFirst", 1, {0, -5, 5}, belowMinusOne},
           OutOfRange{"RightOnly", 2, {0, 0, 0, 5}, aboveOne},
           OutOfRange{"LeftBeforeRight", 2, {5, -5}, aboveOne},
           OutOfRange{"NegativeRightBeforeLeft", 2, {0, -5, 5, 0}, belowMinusOne},
           OutOfRange{"PositiveRightBeforeLeft", 2, {0, 5, -5, 0}, aboveOne},
           OutOfRange{"ThirdBeforeFirst", 3, {0, 0, -5, 5, 5, 5}, belowMinusOne}),
    nameOfRow);

TEST(WavLoader, ChecksNo32BitSampleOutsideTheWholeFrames) {
  const WavFormat format{.bitsPerSample = 32, .chunksAfterData = bytesOf(4)};
  expectSilence(wavFile(format, "\x00\x00\x00\x00jj"s), 1, 1);
}

/// A 32-bit file whose samples do not fit, with one sample that is not 0.
struct OverrunOf32Bits {
  std::string name;
  WideFrames frames;
  std::size_t sampleAt;
  std::int64_t sample;

  std::string file() const {
    std::string bytes = frames.file();
    bytes.resize(std::max(bytes.size(), sampleAt + 4));
    return replaced(bytes, sampleAt, littleEndian(sample, 4)).substr(0, mostOfAFile);
  }
};

void PrintTo(const OverrunOf32Bits& row, std::ostream* out) { *out << row.name; }

class WavLoaderRangeBeforeOverrunDeathTest : public TestWithParam<OverrunOf32Bits> {};

TEST_P(WavLoaderRangeBeforeOverrunDeathTest, EndsByAnAssertion) {
  const WavFileOnDisk file(GetParam().file());
  EXPECT_EXIT(WavLoader().load(file.path()), KilledBySignal(SIGABRT),
              "WavLoader.*load.*" + (GetParam().sample > 0 ? aboveOne : belowMinusOne));
}

// The file's 1024 * 4096 samples from byte 4096 or 4098 on end 4096 or 4098 bytes past 16 MiB.
// 32768 * 131072 is a buffer of 0 floats in 32 bits, 65535 * 65538 one of 65534.
INSTANTIATE_TEST_SUITE_P(
    Of32BitSamples, WavLoaderRangeBeforeOverrunDeathTest,
    Values(OverrunOf32Bits{"FirstSample", {32, 52, 1, 5242880}, 52, 1},
           OverrunOf32Bits{"FirstSampleNegative", {32, 52, 1, 5242880}, 52, -1},
           OverrunOf32Bits{"LastSampleOfTheFile", {32, 52, 1, 5242880}, 5242928, -1},
           OverrunOf32Bits{"LastSampleThatCounts", {32, 4096, 1024, 4096}, 16777212, 1},
           OverrunOf32Bits{"LastWholeSampleThatCounts", {32, 4098, 1024, 4096}, 16777210, 1},
           OverrunOf32Bits{"FirstOfNoPlace", {32, 52, 32768, 131072}, 52, -1},
           OverrunOf32Bits{"FirstThatHasAPlace", {32, 52, 65535, 65538}, 52, 1},
           OverrunOf32Bits{"FirstThatHasNoPlace", {32, 52, 65535, 65538}, 56, 1}),
    nameOfRow);

class WavLoaderRangeAfterOverrun : public TestWithParam<OverrunOf32Bits> {};

TEST_P(WavLoaderRangeAfterOverrun, IsRejected) { expectRejected(GetParam().file()); }

INSTANTIATE_TEST_SUITE_P(
    Of32BitSamples, WavLoaderRangeAfterOverrun,
    Values(OverrunOf32Bits{"HalfASampleAtTheEnd", {32, 4098, 1024, 4096}, 16777214, 1},
           OverrunOf32Bits{"SecondOfNoPlace", {32, 52, 32768, 131072}, 56, -1},
           OverrunOf32Bits{"SecondThatHasNoPlace", {32, 52, 65535, 65538}, 60, 1}),
    nameOfRow);

class WavLoaderBlockAlign0DeathTest : public TestWithParam<NamedFile> {};

TEST_P(WavLoaderBlockAlign0DeathTest, EndsByAnArithmeticFault) {
  SCOPED_TRACE(described(GetParam().file));
  const WavFileOnDisk file(GetParam().file);
  EXPECT_EXIT(WavLoader().load(file.path()), KilledBySignal(SIGFPE), "^$");
}

INSTANTIATE_TEST_SUITE_P(
    Whatever, WavLoaderBlockAlign0DeathTest,
    Values(NamedFile{"Plain", fileOf({.blockAlign = 0})},
           NamedFile{"NoSamples", wavFile({.blockAlign = 0}, "")},
           NamedFile{"CutInItsDataSize", fileOf({.blockAlign = 0}).substr(0, 40)},
           NamedFile{"NoChannels", fileOf({.numChannels = 0, .blockAlign = 0})},
           NamedFile{"UnknownWidth", fileOf({.bitsPerSample = 40, .blockAlign = 0})},
           NamedFile{"SampleOutOfRange", fileOf({.bitsPerSample = 32, .blockAlign = 0})}),
    nameOfRow);

void loadIgnoringFaults(const WavFileOnDisk& file) {
  std::signal(SIGFPE, SIG_IGN);
  WavLoader().load(file.path());
}

void loadHoldingFaultsBack(const WavFileOnDisk& file) {
  sigset_t faults;
  sigemptyset(&faults);
  sigaddset(&faults, SIGFPE);
  sigprocmask(SIG_BLOCK, &faults, nullptr);
  WavLoader().load(file.path());
}

TEST(WavLoaderDeathTest, BlockAlign0AbortsWhereFaultsAreHeldBack) {
  const WavFileOnDisk file(fileOf({.blockAlign = 0}));
  EXPECT_EXIT(loadHoldingFaultsBack(file), KilledBySignal(SIGABRT), "^$");
}

TEST(WavLoaderDeathTest, BlockAlign0IsAFaultThatCannotBeIgnored) {
  const WavFileOnDisk file(fileOf({.blockAlign = 0}));
  EXPECT_EXIT(loadIgnoringFaults(file), KilledBySignal(SIGFPE), "^$");
}

INSTANTIATE_TEST_SUITE_P(
    BlockAlign0, WavLoaderRejects,
    Values(NamedFile{"WrongRiff", replaced(fileOf({.blockAlign = 0}), 0, "RIFX")},
           NamedFile{"OtherFormat", fileOf({.audioFormat = 3, .blockAlign = 0})},
           NamedFile{"OddWidth", fileOf({.bitsPerSample = 12, .blockAlign = 0})},
           NamedFile{"NoData", fileOf({.blockAlign = 0}).substr(0, 36)},
           NamedFile{"LaterData",
                     fileOf({.blockAlign = 0, .chunksBeforeData = wavChunk("LIST", "INFO")})}),
    nameOfRow);

}  // namespace
