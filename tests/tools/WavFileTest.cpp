#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "signal/WavFile.h"

namespace {

using namespace std::string_literals;
using testing::TestWithParam;
using testing::Values;

TEST(WavChunk, PutsIdAndSizeBeforeTheBody) {
  EXPECT_EQ(wavChunk("LIST", "body"),
            "LIST\x04\x00\x00\x00"
            "body"s);
}

TEST(WavChunk, PadsAnOddBodyAndDoesNotCountThePadding) {
  EXPECT_EQ(wavChunk("JUNK", "abc"),
            "JUNK\x03\x00\x00\x00"
            "abc\x00"s);
}

TEST(WavChunk, MayBeEmpty) { EXPECT_EQ(wavChunk("JUNK", ""), "JUNK\x00\x00\x00\x00"s); }

TEST(WavChunk, WritesTheLowByteOfTheSizeFirst) {
  EXPECT_EQ(wavChunk("JUNK", std::string(0x030201, 'x')).substr(0, 8), "JUNK\x01\x02\x03\x00"s);
}

TEST(WavFile, Is16BitMonoOf44100HertzByDefault) {
  EXPECT_EQ(wavFile({}, "\x01\x00\xFE\xFF"s),
            "RIFF\x28\x00\x00\x00WAVE"s
            "fmt \x10\x00\x00\x00"
            "\x01\x00"          // integer PCM
            "\x01\x00"          // 1 channel
            "\x44\xAC\x00\x00"  // 44,100 frames a second
            "\x88\x58\x01\x00"  // 88,200 bytes a second
            "\x02\x00"          // 2 bytes a frame
            "\x10\x00"          // 16 bits
            "data\x04\x00\x00\x00\x01\x00\xFE\xFF"s);
}

TEST(WavFile, WritesEveryFieldLowByteFirst) {
  const WavFormat format{.audioFormat = 0xFFFE,
                         .numChannels = 0x0302,
                         .sampleRate = 0x07060504,
                         .bitsPerSample = 0x0908,
                         .blockAlign = 2};
  EXPECT_EQ(wavFile(format, ""),
            "RIFF\x24\x00\x00\x00WAVE"s
            "fmt \x10\x00\x00\x00\xFE\xFF\x02\x03\x04\x05\x06\x07\x08\x0A\x0C\x0E\x02\x00\x08\x09"
            "data\x00\x00\x00\x00"s);
}

TEST(WavFile, PutsEachPartInItsPlaceAndCountsIt) {
  const WavFormat format{.chunksBeforeFormat = "one!",
                         .formatExtension = "\x00\x00"s,
                         .chunksBeforeData = "second",
                         .chunksAfterData = "the last"};
  EXPECT_EQ(wavFile(format, "\x05\x06"),
            "RIFF\x3A\x00\x00\x00WAVEone!"s
            "fmt \x12\x00\x00\x00\x01\x00\x01\x00\x44\xAC\x00\x00\x88\x58\x01\x00\x02\x00\x10\x00"
            "\x00\x00second"
            "data\x02\x00\x00\x00\x05\x06the last"s);
}

TEST(WavFile, PadsAnOddNumberOfSampleBytes) {
  const std::string file = wavFile({.bitsPerSample = 8}, "\x05\x06\x07");
  EXPECT_EQ(file.substr(0, 8), "RIFF\x28\x00\x00\x00"s);
  EXPECT_EQ(file.substr(36), "data\x03\x00\x00\x00\x05\x06\x07\x00"s);
}

TEST(WavFormat, TakesItsBlockAlignFromChannelsAndWidth) {
  EXPECT_EQ((WavFormat{.numChannels = 3, .bitsPerSample = 24}.blockAlign), 9);
  EXPECT_EQ((WavFormat{.numChannels = 2, .bitsPerSample = 8}.blockAlign), 2);
}

struct Sample {
  int bitsPerSample;
  float value;
  std::string bytes;
};

void PrintTo(const Sample& row, std::ostream* out) {
  *out << row.value << " in " << row.bitsPerSample << " bits";
}

class PcmBytes : public TestWithParam<Sample> {};

TEST_P(PcmBytes, OfOneSample) {
  EXPECT_EQ(pcmBytes({{GetParam().value}}, GetParam().bitsPerSample), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(
    FullScale, PcmBytes,
    Values(Sample{8, 1.0F, "\xFF"s}, Sample{8, 0.0F, "\x80"s}, Sample{8, -1.0F, "\x01"s},
           Sample{16, 1.0F, "\xFF\x7F"s}, Sample{16, 0.0F, "\x00\x00"s},
           Sample{16, -1.0F, "\x01\x80"s}, Sample{24, 1.0F, "\xFF\xFF\x7F"s},
           Sample{24, 0.0F, "\x00\x00\x00"s}, Sample{24, -1.0F, "\x01\x00\x80"s},
           Sample{32, 1.0F, "\xFF\xFF\xFF\x7F"s}, Sample{32, 0.0F, "\x00\x00\x00\x00"s},
           Sample{32, -1.0F, "\x01\x00\x00\x80"s}));

// 63.5, 16383.5, 4194303.5 and 1073741823.5 steps.
INSTANTIATE_TEST_SUITE_P(RoundsHalvesAwayFromZero, PcmBytes,
                         Values(Sample{8, 0.5F, "\xC0"s}, Sample{8, -0.5F, "\x40"s},
                                Sample{16, 0.5F, "\x00\x40"s}, Sample{16, -0.5F, "\x00\xC0"s},
                                Sample{24, 0.5F, "\x00\x00\x40"s},
                                Sample{24, -0.5F, "\x00\x00\xC0"s},
                                Sample{32, 0.5F, "\x00\x00\x00\x40"s},
                                Sample{32, -0.5F, "\x00\x00\x00\xC0"s}));

// 0.125, 0.25 and 0.75 of 127 are 15.875, 31.75 and 95.25; of 32767 4095.875, 8191.75 and 24575.25.
INSTANTIATE_TEST_SUITE_P(RoundsToTheNearest, PcmBytes,
                         Values(Sample{8, 0.125F, "\x90"s}, Sample{8, -0.25F, "\x60"s},
                                Sample{8, 0.75F, "\xDF"s}, Sample{16, 0.125F, "\x00\x10"s},
                                Sample{16, -0.25F, "\x00\xE0"s}, Sample{16, 0.75F, "\xFF\x5F"s}));

INSTANTIATE_TEST_SUITE_P(ClipsAtTheWidestCodes, PcmBytes,
                         Values(Sample{8, 1.01F, "\xFF"s}, Sample{8, -1.01F, "\x00"s},
                                Sample{8, 100.0F, "\xFF"s}, Sample{8, -100.0F, "\x00"s},
                                Sample{16, 1.01F, "\xFF\x7F"s}, Sample{16, -1.01F, "\x00\x80"s},
                                Sample{24, 1.01F, "\xFF\xFF\x7F"s},
                                Sample{24, -1.01F, "\x00\x00\x80"s},
                                Sample{32, 1.01F, "\xFF\xFF\xFF\x7F"s},
                                Sample{32, -1.01F, "\x00\x00\x00\x80"s}));

TEST(PcmBytesOfChannels, TakeTurnsFrameByFrame) {
  EXPECT_EQ(pcmBytes({{1.0F, 0.0F, -1.0F}, {0.0F, 1.0F, 0.5F}}, 16),
            "\xFF\x7F\x00\x00\x00\x00\xFF\x7F\x01\x80\x00\x40"s);
}

TEST(PcmBytesOfChannels, AreNoneWithoutSamples) { EXPECT_EQ(pcmBytes({{}, {}}, 16), ""); }

}  // namespace
