#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "signal/WavFile.h"
#include "support/Banks.h"
#include "support/TapeSimulator.h"

namespace {

/// The folder of one target's seeds.
class SeedFolder {
 public:
  SeedFolder(const std::filesystem::path& seeds, std::string_view target) : folder(seeds / target) {
    std::filesystem::create_directories(folder);
  }

  void add(std::string_view name, std::string_view content) const {
    std::ofstream file(folder / name, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
      throw std::runtime_error("can't write " + (folder / name).string());
    }
  }

 private:
  std::filesystem::path folder;
};

const std::vector<float> rampSamples{0.0F, 0.25F, 0.5F, 1.0F, -0.25F, -0.5F, -1.0F, 0.125F};
const std::vector<float> silentSamples(8, 0.0F);

std::string wav(const WavFormat& format, const std::vector<float>& samples) {
  const std::vector<std::vector<float>> channels(static_cast<std::size_t>(format.numChannels),
                                                 samples);
  return wavFile(format, pcmBytes(channels, format.bitsPerSample));
}

std::string replaced(std::string text, std::size_t position, std::string_view bytes) {
  return text.replace(position, bytes.size(), bytes);
}

// Places in a WAV file whose format chunk comes first.
constexpr std::size_t channelsPosition = 22;
constexpr std::size_t blockAlignPosition = 32;
constexpr std::size_t bitsPosition = 34;
constexpr std::size_t dataSizePosition = 40;

void addAcceptedWavFiles(const SeedFolder& folder) {
  folder.add("8-bits", wav({.bitsPerSample = 8}, rampSamples));
  folder.add("16-bits", wav({}, rampSamples));
  folder.add("24-bits", wav({.bitsPerSample = 24}, rampSamples));
  folder.add("32-bits-silent", wav({.bitsPerSample = 32}, silentSamples));
  folder.add("stereo", wav({.numChannels = 2}, rampSamples));
  folder.add("40-bits", replaced(wav({}, rampSamples), bitsPosition, std::string(1, 40)));
  folder.add("junk-even", wav({.chunksBeforeFormat = wavChunk("JUNK", "abcd")}, rampSamples));
  folder.add("junk-odd", wav({.chunksBeforeFormat = wavChunk("JUNK", "abc")}, rampSamples));
  folder.add("junk-size-wraps",
             replaced(wav({.chunksBeforeFormat = wavChunk("JUNK", "")}, rampSamples), 16,
                      "\xFF\xFF\xFF\xFF"));
  folder.add("partial-last-frame", wav({.bitsPerSample = 24, .blockAlign = 5}, rampSamples));
  folder.add("data-cut-off", wav({}, rampSamples).substr(0, 51));
  folder.add("chunk-after-data", wav({.chunksAfterData = wavChunk("LIST", "abcd")}, rampSamples));
  folder.add("no-channels",
             replaced(wav({}, rampSamples), channelsPosition, std::string_view("\0\0", 2)));
  folder.add("recorded-tape",
             wavFile({.bitsPerSample = 8},
                     pcmBytes({recordTape(dumpSignal("\x5A\xC3", 10), {.silence = 0.0})}, 8)));
}

void addOtherWavFiles(const SeedFolder& folder) {
  const std::string plain = wav({}, rampSamples);
  folder.add("empty", "");
  folder.add("header-cut-off", plain.substr(0, 30));
  folder.add("12-bits", replaced(plain, bitsPosition, "\x0C"));
  folder.add("float-format", wav({.audioFormat = 3}, rampSamples));
  folder.add("long-format-chunk", wav({.formatExtension = "ab"}, rampSamples));
  folder.add("chunk-before-data", wav({.chunksBeforeData = wavChunk("LIST", "abcd")}, rampSamples));
  folder.add("32-bits", wav({.bitsPerSample = 32}, rampSamples));
  folder.add("block-align-0", wav({.blockAlign = 0}, rampSamples));
  // The end of the file within the data size makes the data as long as a 32-bit number gets.
  const std::string cutInDataSize = plain.substr(0, dataSizePosition + 2);
  folder.add("too-many-frames", cutInDataSize);
  folder.add("many-silent-frames", replaced(cutInDataSize, blockAlignPosition, "\xFF\xFF"));
  folder.add("negative-product", replaced(cutInDataSize, blockAlignPosition, "\x01"));
  const auto silentFrames = [&cutInDataSize](std::string_view blockAlignAndBits,
                                             std::string_view channels) {
    return replaced(replaced(cutInDataSize, blockAlignPosition, blockAlignAndBits),
                    channelsPosition, channels);
  };
  folder.add("16777215-frames", silentFrames(std::string_view("\0\1\x28", 3), "\1"));
  folder.add("16843009-frames", silentFrames(std::string_view("\xFF\0\x28", 3), "\1"));
  folder.add("past-the-bytes-that-count", silentFrames("\xFF\xFF\x10", "\x01\x01"));
  folder.add("past-the-sample-buffer", silentFrames("\xFE\xFF\x28", "\xFF\xFF"));
  folder.add("past-the-memory", silentFrames("\xFF\xFF\x28", "\x10\x10"));
}

/// `times` half-periods of `samples`.
std::string halfPeriods(int samples, int times) {
  return {static_cast<char>(samples), static_cast<char>(times)};
}

std::string ones(int count) { return halfPeriods(12, 12 * count); }
std::string zeros(int count) { return halfPeriods(42, 4 * count); }

std::string dataByte(int value) {
  std::string bits;
  for (int bit = 7; bit >= 0; --bit) {
    bits += (value >> bit & 1) != 0 ? ones(1) : zeros(1);
  }
  return bits;
}

std::string repeated(int times, const std::string& text) {
  std::string all;
  for (int i = 0; i < times; ++i) {
    all += text;
  }
  return all;
}

/// The samples of the shortest half-periods that count, four bytes each.
std::string samplesAsFloats() {
  std::vector<float> samples;
  const auto append = [&samples](std::size_t length, int times) {
    for (int i = 0; i < times; ++i) {
      samples.insert(samples.end(), length, i % 2 == 0 ? 0.5F : -0.5F);
    }
  };
  append(5, 120);
  append(35, 4);
  append(5, 24);
  append(35, 5);
  return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)};
}

void addTapeRecordings(const SeedFolder& folder) {
  const auto add = [&folder](std::string_view name, const std::string& first,
                             const std::string& second = "", char forms = '\0') {
    const auto size = static_cast<int>(first.size());
    folder.add(name, forms + halfPeriods(size % 256, size / 256) + first + second);
  };
  const std::string start = ones(10) + zeros(1);
  const std::string fastBits = halfPeriods(5, 108) + halfPeriods(35, 4);  // nine ones and a zero

  add("short-dump", start + dataByte(0x5A) + dataByte(0xC3) + ones(1));
  add("two-dumps", start + dataByte(0x96) + ones(1), start + zeros(3) + ones(1));
  add("more-than-a-bank", start + repeated(775, fastBits) + ones(1), "", '\xFC');
  add("shortest-half-periods", halfPeriods(5, 120) + halfPeriods(35, 4) + ones(1) + zeros(1));
  add("longest-half-periods", halfPeriods(19, 120) + halfPeriods(49, 4) + ones(1) + zeros(1));
  // Before the first sample there is a negative one, so a negative half-period there is longer.
  add("begins-negative", halfPeriods(0, 0) + halfPeriods(4, 1) + halfPeriods(5, 119) +
                             halfPeriods(35, 4) + ones(1) + zeros(1));
  add("begins-negative-too-long", halfPeriods(0, 0) + halfPeriods(19, 1) + halfPeriods(5, 119) +
                                      halfPeriods(35, 4) + ones(1) + zeros(1));
  add("ends-of-the-classes", start + halfPeriods(4, 12) + halfPeriods(5, 12) + halfPeriods(19, 12) +
                                 halfPeriods(20, 12) + halfPeriods(34, 4) + halfPeriods(35, 4) +
                                 halfPeriods(49, 4) + halfPeriods(50, 4));
  add("leader-begins-anew",
      ones(9) + zeros(1) + ones(9) + halfPeriods(42, 3) + ones(1) + zeros(3) + ones(2));
  add("unfinished-groups", start + halfPeriods(12, 11) + halfPeriods(42, 3) + halfPeriods(12, 25) +
                               halfPeriods(42, 9) + ones(1));
  add("glitches", start + halfPeriods(12, 6) + halfPeriods(1, 3) + halfPeriods(12, 6) +
                      halfPeriods(42, 2) + halfPeriods(25, 2) + halfPeriods(42, 2) + ones(1));
  add("not-a-number-for-negative", halfPeriods(0, 0x31) + start + dataByte(0x0F) +
                                       halfPeriods(0, 0) + halfPeriods(0, 0x12) + dataByte(0xF0));
  add("floats", samplesAsFloats(), "", '\1');
  add("silence", halfPeriods(255, 1), halfPeriods(255, 1));
}

void addSysexFiles(const SeedFolder& folder) {
  const std::string complete = sysexFile(bytesOf(randomBank(1)));
  folder.add("complete", complete);
  folder.add("two-banks", complete + complete);
  folder.add("cut-off", complete.substr(0, 1000));
  folder.add("cut-off-between-nibbles", complete.substr(0, 53 + 4 + 7));
  folder.add("ends-with-the-data", complete.substr(0, 2119));
  folder.add("stopped-in-data", replaced(complete, 53 * 20 + 4 + 11, "\xFF"));
  folder.add("stopped-in-a-header", replaced(complete, 53 * 39 + 2, "\xFF"));
  folder.add("upper-bits", replaced(complete, 4, "\x1F\x02\x05\x7A\x80\x90\xF7\xF0"));
  folder.add("first-byte-stops", "\xFF");
}

void addBanks(const SeedFolder& folder) {
  const auto add = [&folder](std::string_view name, char count, const std::string& bank) {
    folder.add(name, count + bank);
  };
  const std::string bank = bytesOf(randomBank(2));
  add("one-record", '\x00', bank.substr(0, 24));
  add("two-records", '\x01', bank.substr(0, 48));
  add("three-records", '\x02', bank);
  add("all-records", '\xF8', bank);
  add("no-record", '\xFA', bank.substr(0, 24));
  add("negative-count", '\xFB', bank.substr(0, 24));
  add("second-file-blocked", '\x86', bank.substr(0, 72));
  add("ninth-file-blocked", '\xFD', bank);
  add("every-bit-0", '\x00', std::string(24, '\0'));
  add("every-bit-1", '\x00', std::string(24, '\xFF'));
}

/// How many recordings, in what blocks; what kind of one; then what that kind takes.
void addRecoveryInputs(const SeedFolder& folder) {
  const std::string oneInBlocks("\0\x09", 2);
  // Speed, noise, beginning, end, leader; six places with what happens there; the bank
  const auto dump = [](std::string_view faults, std::string_view places) {
    return std::string(1, '\0') + std::string(faults) + std::string(places) + "Brass";
  };
  const std::string nowhere(12, '\0');
  const std::string complete = dump(std::string_view("\x80\x08\0\xFF\x40", 5), nowhere);
  folder.add("dump", oneInBlocks + complete);
  folder.add("noisy-fast-dump",
             oneInBlocks + dump(std::string_view("\xA0\x80\0\xFF\x20", 5), nowhere));
  folder.add("dump-without-end",
             oneInBlocks + dump(std::string_view("\x80\x08\0\xA0\x40", 5), nowhere));
  folder.add("dump-without-beginning",
             oneInBlocks + dump(std::string_view("\x80\x08\x60\xFF\x40", 5), nowhere));
  folder.add("holes-and-infinities",
             oneInBlocks + dump(std::string_view("\x80\x08\0\xFF\x40", 5),
                                "\x30\x12\x50\x07\x70\x08\x90\x09\xB0\x0A\xD0\x30"));
  folder.add("two-takes", "\x06\x40" + complete + complete);
  folder.add("noise", oneInBlocks + std::string("\x04\0\x01\x02\x03\xC0", 6));
  folder.add("floats", oneInBlocks + "\x05\x03\x02" + samplesAsFloats());
  folder.add("half-periods", oneInBlocks + "\x06\x03\x01" + ones(10) + zeros(1) + dataByte(0x5A));
}

void makeSeeds(const std::filesystem::path& seeds) {
  const SeedFolder wavFiles(seeds, "WavLoaderFuzzer");
  addAcceptedWavFiles(wavFiles);
  addOtherWavFiles(wavFiles);
  addTapeRecordings(SeedFolder(seeds, "TapeReaderFuzzer"));
  addSysexFiles(SeedFolder(seeds, "SysexReaderFuzzer"));
  addBanks(SeedFolder(seeds, "TransferFilesFuzzer"));
  addRecoveryInputs(SeedFolder(seeds, "RecoveryFuzzer"));
}

}  // namespace

/// Writes the seeds of all targets into a folder.
int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: makeSeeds folder\n");
    return 1;
  }
  try {
    makeSeeds(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "makeSeeds: %s\n", error.what());
    return 1;
  }
  return 0;
}
