#include <gtest/gtest.h>

#include <string>

#include "signal/WavFile.h"

using namespace std::string_literals;

TEST(WavChunk, IsIdSizeAndBodyPaddedToAnEvenLength) {
  EXPECT_EQ(wavChunk("LIST", "body"), "LIST\x04\x00\x00\x00"s + "body");
  EXPECT_EQ(wavChunk("JUNK", "abc"), "JUNK\x03\x00\x00\x00"s + "abc\0"s);
  EXPECT_EQ(wavChunk("JUNK", ""), "JUNK\x00\x00\x00\x00"s);
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

TEST(WavFile, WritesEveryFieldAndEveryPart) {
  const WavFormat format{.audioFormat = 0xFFFE,
                         .numChannels = 0x0302,
                         .sampleRate = 0x07060504,
                         .bitsPerSample = 0x0908,
                         .blockAlign = 2,
                         .chunksBeforeFormat = "one!",
                         .formatExtension = "\x00\x00"s,
                         .chunksBeforeData = "second",
                         .chunksAfterData = "the last"};
  EXPECT_EQ(wavFile(format, "\x05\x06\x07"),
            "RIFF\x3C\x00\x00\x00WAVEone!"s
            "fmt \x12\x00\x00\x00\xFE\xFF\x02\x03\x04\x05\x06\x07\x08\x0A\x0C\x0E\x02\x00\x08\x09"
            "\x00\x00second"
            "data\x03\x00\x00\x00\x05\x06\x07\x00the last"s);
  EXPECT_EQ((WavFormat{.numChannels = 3, .bitsPerSample = 24}.blockAlign), 9);
}

TEST(PcmBytes, RoundToTheNearestCodeAndClip) {
  const struct {
    int bitsPerSample;
    float value;
    std::string bytes;
  } rows[] = {
      {8, 1.0F, "\xFF"s},
      {8, 0.0F, "\x80"s},
      {8, -1.0F, "\x01"s},
      {8, 0.125F, "\x90"s},  // 15.875
      {8, 0.5F, "\xC0"s},    // 63.5, away from zero
      {8, -0.5F, "\x40"s},
      {8, 1.01F, "\xFF"s},
      {8, -1.01F, "\x00"s},
      {16, 1.0F, "\xFF\x7F"s},
      {16, 0.0F, "\x00\x00"s},
      {16, -1.0F, "\x01\x80"s},
      {16, 0.75F, "\xFF\x5F"s},  // 24575.25
      {16, -0.5F, "\x00\xC0"s},
      {16, 1.01F, "\xFF\x7F"s},
      {16, -1.01F, "\x00\x80"s},
      {24, 1.0F, "\xFF\xFF\x7F"s},
      {24, -0.5F, "\x00\x00\xC0"s},
      {24, -1.01F, "\x00\x00\x80"s},
      {32, 1.0F, "\xFF\xFF\xFF\x7F"s},
      {32, -0.5F, "\x00\x00\x00\xC0"s},
      {32, -1.01F, "\x00\x00\x00\x80"s},
  };
  for (const auto& [bitsPerSample, value, bytes] : rows) {
    EXPECT_EQ(pcmBytes({{value}}, bitsPerSample), bytes) << value << ", " << bitsPerSample;
  }
}

TEST(PcmBytes, TakeTheChannelsFrameByFrame) {
  EXPECT_EQ(pcmBytes({{1.0F, 0.0F, -1.0F}, {0.0F, 1.0F, 0.5F}}, 16),
            "\xFF\x7F\x00\x00\x00\x00\xFF\x7F\x01\x80\x00\x40"s);
  EXPECT_EQ(pcmBytes({{}, {}}, 16), "");
}
