#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "preset/Kestrel7SysexReaderWriter.h"
#include "support/Banks.h"
#include "support/Files.h"

namespace {

constexpr std::size_t bankSize = 960;
constexpr std::size_t roomAfterBank = 64;
constexpr char untouched = '\xAA';

/// An open stdio file that holds `content`, at its start; closed at the end.
class OpenFile {
 public:
  explicit OpenFile(std::string_view content) : handle(std::tmpfile()) {
    std::fwrite(content.data(), 1, content.size(), handle);
    std::rewind(handle);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { std::fclose(handle); }

  std::FILE* get() const { return handle; }

 private:
  std::FILE* handle;
};

struct Reading {
  std::string bank;     // with the room after it
  long position = 0;    // in the file, afterwards
  std::string printed;  // on standard output
};

Reading readBank(std::FILE* file) {
  Reading reading;
  reading.bank.assign(bankSize + roomAfterBank, untouched);
  testing::internal::CaptureStdout();
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, reading.bank.data());
  reading.printed = testing::internal::GetCapturedStdout();
  reading.position = std::ftell(file);
  return reading;
}

Reading readBank(std::string_view content) { return readBank(OpenFile(content).get()); }

/// What `readBank` gives of a reader that filled the first bytes of the bank with `bytes`.
std::string bankBeginningWith(std::string_view bytes) {
  std::string bank(bankSize + roomAfterBank, untouched);
  bank.replace(0, bytes.size(), bytes);
  return bank;
}

/// A bank file whose first two data bytes are `first` and `second`.
std::string fileWithPair(char first, char second) {
  return std::string("\xF0\x7D\x07\x00", 4) + first + second;
}

struct Stop {
  std::size_t offset;     // of the byte where the reading ends
  std::size_t bankBytes;  // read so far
};

class Kestrel7SysexStopTest : public testing::TestWithParam<Stop> {};

struct NibblePair {
  int first;
  int second;
  int expected;
};

class Kestrel7SysexPairTest : public testing::TestWithParam<NibblePair> {};

}  // namespace

TEST(Kestrel7SysexReaderWriter, ReadsFortyMessagesUpToTheLastNibble) {
  const std::string bank = bytesOf(randomBank(1));
  const std::string file = sysexFile(bank);
  ASSERT_EQ(file.size(), 2120U);

  const Reading reading = readBank(file);

  EXPECT_EQ(reading.bank, bankBeginningWith(bank));
  EXPECT_EQ(reading.position, 2119);
  EXPECT_EQ(reading.printed, "");
}

TEST(Kestrel7SysexReaderWriter, FindsPresetsByCountingFiftyThreeBytesEach) {
  // Every byte of preset p says p and its place in the preset, all around the data says 0x7E.
  std::string file(2120, '\x7E');
  std::string bank;
  for (std::size_t preset = 0; preset < 40; ++preset) {
    for (std::size_t byte = 0; byte < 24; ++byte) {
      const auto value = static_cast<unsigned char>(5 * preset + byte);
      file[53 * preset + 4 + 2 * byte] = static_cast<char>(value & 0x0F);
      file[53 * preset + 4 + 2 * byte + 1] = static_cast<char>(value >> 4);
      bank += static_cast<char>(value);
    }
  }

  EXPECT_EQ(readBank(file).bank, bankBeginningWith(bank));
}

TEST(Kestrel7SysexReaderWriter, ReadsNothingOfAnEmptyFile) {
  const Reading reading = readBank("");

  EXPECT_EQ(reading.bank, bankBeginningWith(""));
  EXPECT_EQ(reading.position, 0);
  EXPECT_EQ(reading.printed, "");
}

TEST(Kestrel7SysexReaderWriter, ReadsALongFileLikeItsFirst2119Bytes) {
  const std::string bank = bytesOf(randomBank(2));
  std::string file = sysexFile(bank);
  file.resize(5000, '\x11');

  const Reading reading = readBank(file);

  EXPECT_EQ(reading.bank, bankBeginningWith(bank));
  EXPECT_EQ(reading.position, 2119);
  EXPECT_EQ(reading.printed, "");
}

TEST(Kestrel7SysexReaderWriter, IgnoresTheBytesAroundTheData) {
  const std::string bank = bytesOf(randomBank(3));
  std::string file = sysexFile(bank);
  for (std::size_t preset = 0; preset < 40; ++preset) {
    for (const std::size_t place : {0U, 1U, 2U, 3U, 52U}) {
      file[53 * preset + place] = static_cast<char>(0xFE - preset);
    }
  }

  EXPECT_EQ(readBank(file).bank, bankBeginningWith(bank));
}

TEST(Kestrel7SysexReaderWriter, ShiftsAllDataAfterASurplusByte) {
  const std::string bank = bytesOf(randomBank(4));
  const std::string file = '\0' + sysexFile(bank);

  // The first data byte is the fourth leading byte of preset 0, whose number is 0.
  EXPECT_EQ(readBank(file).bank[0], static_cast<char>((bank[0] & 0x0F) << 4));
}

TEST_P(Kestrel7SysexStopTest, EndsTheReadingAtAByte0xFF) {
  const auto [offset, bankBytes] = GetParam();
  const std::string bank = bytesOf(randomBank(5));
  std::string file = sysexFile(bank);
  file[offset] = '\xFF';

  const Reading reading = readBank(file);

  EXPECT_EQ(reading.bank, bankBeginningWith(bank.substr(0, bankBytes))) << "offset " << offset;
  EXPECT_EQ(reading.position, static_cast<long>(offset) + 1) << "offset " << offset;
  EXPECT_EQ(reading.printed, "");
}

TEST_P(Kestrel7SysexStopTest, EndsTheReadingAtTheEndOfTheFile) {
  const auto [offset, bankBytes] = GetParam();
  const std::string bank = bytesOf(randomBank(6));

  const Reading reading = readBank(sysexFile(bank).substr(0, offset));

  EXPECT_EQ(reading.bank, bankBeginningWith(bank.substr(0, bankBytes))) << "offset " << offset;
  EXPECT_EQ(reading.position, static_cast<long>(offset)) << "offset " << offset;
  EXPECT_EQ(reading.printed, "");
}

INSTANTIATE_TEST_SUITE_P(FirstPreset, Kestrel7SysexStopTest,
                         testing::Values(Stop{0, 0},     // first leading byte
                                         Stop{3, 0},     // last leading byte
                                         Stop{4, 0},     // low nibble of byte 0
                                         Stop{5, 0},     // high nibble of byte 0
                                         Stop{6, 1},     // low nibble of byte 1
                                         Stop{50, 23},   // low nibble of byte 23
                                         Stop{51, 23},   // high nibble of byte 23
                                         Stop{52, 24},   // trailing byte
                                         Stop{53, 24},   // first byte of the next message
                                         Stop{56, 24},   // its last leading byte
                                         Stop{57, 24},   // low nibble of its byte 0
                                         Stop{58, 24},   // high nibble of its byte 0
                                         Stop{59, 25}),  // low nibble of its byte 1
                         [](const auto& row) { return std::to_string(row.param.offset); });

INSTANTIATE_TEST_SUITE_P(LaterPresets, Kestrel7SysexStopTest,
                         testing::Values(Stop{1000, 453},   // in the middle of preset 18
                                         Stop{2065, 935},   // last nibble of preset 38
                                         Stop{2066, 936},   // trailing byte of preset 38
                                         Stop{2070, 936},   // last leading byte of preset 39
                                         Stop{2117, 959},   // low nibble of the last byte
                                         Stop{2118, 959}),  // high nibble of the last byte
                         [](const auto& row) { return std::to_string(row.param.offset); });

TEST(Kestrel7SysexReaderWriter, NeverReadsTheLastTrailingByte) {
  const std::string bank = bytesOf(randomBank(7));
  std::string file = sysexFile(bank);
  file[2119] = '\xFF';

  const Reading reading = readBank(file);

  EXPECT_EQ(reading.bank, bankBeginningWith(bank));
  EXPECT_EQ(reading.position, 2119);
}

TEST(Kestrel7SysexReaderWriter, NeedsNoTrailingByteAtTheEnd) {
  const std::string bank = bytesOf(randomBank(8));

  const Reading reading = readBank(sysexFile(bank).substr(0, 2119));

  EXPECT_EQ(reading.bank, bankBeginningWith(bank));
  EXPECT_EQ(reading.position, 2119);
}

TEST_P(Kestrel7SysexPairTest, JoinsToOneByte) {
  const auto [first, second, expected] = GetParam();
  const std::string file = fileWithPair(static_cast<char>(first), static_cast<char>(second));

  EXPECT_EQ(readBank(file).bank, bankBeginningWith(std::string(1, static_cast<char>(expected))))
      << std::hex << first << ", " << second;
}

INSTANTIATE_TEST_SUITE_P(Pairs, Kestrel7SysexPairTest,
                         testing::Values(NibblePair{0x0F, 0x03, 0x3F}, NibblePair{0x1F, 0x02, 0x3F},
                                         NibblePair{0x05, 0x7A, 0xA5}, NibblePair{0x0F, 0x0F, 0xFF},
                                         NibblePair{0x00, 0x00, 0x00}, NibblePair{0x0F, 0x00, 0x0F},
                                         NibblePair{0x00, 0x0F, 0xF0}, NibblePair{0xF7, 0x00, 0xF7},
                                         NibblePair{0xF0, 0x00, 0xF0}, NibblePair{0x01, 0xF7, 0x71},
                                         NibblePair{0x01, 0xF0, 0x01}, NibblePair{0x80, 0x01, 0x90},
                                         NibblePair{0xFE, 0xFE, 0xFE},
                                         NibblePair{0x00, 0xFE, 0xE0}));

TEST(Kestrel7SysexReaderWriter, JoinsEveryPairOfBytesAlike) {
  for (unsigned first = 0; first < 0xFF; ++first) {
    // The 255 possible second bytes fill ten records and 15 bytes of an eleventh.
    std::string file;
    std::string joined;
    for (unsigned second = 0; second < 0xFF; ++second) {
      file += second == 0 ? "...." : second % 24 == 0 ? "....." : "";
      file += static_cast<char>(first);
      file += static_cast<char>(second);
      joined += static_cast<char>((first | second * 16) % 256);
    }

    ASSERT_EQ(readBank(file).bank, bankBeginningWith(joined)) << "first byte " << first;
  }
}

TEST(Kestrel7SysexReaderWriter, TakesStartAndEndBytesInsideThePresetAsData) {
  std::string file = sysexFile(std::string(bankSize, '\0'));
  file[4] = '\xF0';
  file[6] = '\xF7';
  file[9] = '\xF7';

  EXPECT_EQ(readBank(file).bank, bankBeginningWith("\xF0\xF7\x70" + std::string(957, '\0')));
}

TEST(Kestrel7SysexReaderWriter, ReadsFromTheCurrentPositionAndLeavesTheFileOpen) {
  const std::string bank = bytesOf(randomBank(9));
  const OpenFile file("before " + sysexFile(bank) + "after");
  std::fseek(file.get(), 7, SEEK_SET);

  const Reading reading = readBank(file.get());

  EXPECT_EQ(reading.bank, bankBeginningWith(bank));
  EXPECT_EQ(reading.position, 7 + 2119);
  EXPECT_EQ(std::fgetc(file.get()), 0xF7);
  EXPECT_EQ(std::fgetc(file.get()), 'a');
}

TEST(Kestrel7SysexReaderWriter, ReadsTwoBanksOneAfterTheOther) {
  const std::string secondBank = bytesOf(randomBank(11));
  const OpenFile file(sysexFile(bytesOf(randomBank(10))) + sysexFile(secondBank));
  readBank(file.get());
  std::fgetc(file.get());  // the end byte that the first reading left

  EXPECT_EQ(readBank(file.get()).bank, bankBeginningWith(secondBank));
}

TEST(Kestrel7SysexReaderWriter, TakesAReadErrorForTheEndOfTheFile) {
  const TemporaryFolder folder;
  std::FILE* unreadable = std::fopen(folder.path().c_str(), "rb");
  ASSERT_NE(unreadable, nullptr);

  const Reading reading = readBank(unreadable);

  EXPECT_EQ(reading.bank, bankBeginningWith(""));
  EXPECT_EQ(reading.printed, "");
  EXPECT_NE(std::ferror(unreadable), 0);
  std::fclose(unreadable);
}

TEST(Kestrel7SysexReaderWriter, WritesNothing) {
  const TemporaryFolder folder;
  writeFile(folder / "bank.syx", "as it was");
  std::FILE* file = std::fopen((folder / "bank.syx").c_str(), "r+b");
  ASSERT_NE(file, nullptr);
  const std::string bank = bytesOf(randomBank(12));

  testing::internal::CaptureStdout();
  Kestrel7SysexReaderWriter::writeBankSysexFile(file, bank.data());

  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(std::ftell(file), 0);
  EXPECT_EQ(std::fclose(file), 0);
  EXPECT_EQ(readFile(folder / "bank.syx"), "as it was");
}
