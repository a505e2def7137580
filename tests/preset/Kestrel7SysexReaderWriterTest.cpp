#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "models/SysexModel.h"
#include "preset/Kestrel7SysexReaderWriter.h"
#include "support/Banks.h"
#include "support/Files.h"

namespace {

constexpr char untouched = '\xAA';

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

/// An open file that holds `content`, at its start.
File fileOf(std::string_view content) {
  File file(std::tmpfile());
  std::fwrite(content.data(), 1, content.size(), file.get());
  std::rewind(file.get());
  return file;
}

/// The bank that is read from `file`, without a word and with nothing written behind it.
std::string bankFrom(std::FILE* file) {
  std::string bank(960 + 64, untouched);
  testing::internal::CaptureStdout();
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(bank.substr(960), std::string(64, untouched));
  return bank.substr(0, 960);
}

/// Expects that a file of `content` gives what the model says, and is read as far.
void expectAsModelled(std::string_view content) {
  const ExpectedSysex expected = expectedSysex(content, untouched);
  const File file = fileOf(content);
  EXPECT_EQ(bankFrom(file.get()), expected.bank);
  EXPECT_EQ(std::ftell(file.get()), static_cast<long>(expected.bytesRead));
}

const std::string bank = bytesOf(randomBank(1));
const std::string complete = sysexFile(bank);

}  // namespace

TEST(Kestrel7SysexReaderWriter, ReadsFortyMessagesUpToTheLastNibble) {
  ASSERT_EQ(complete.size(), 2120U);
  for (const std::string& content :
       {complete, complete.substr(0, 2119), complete + std::string(2880, '\x11'),
        complete.substr(0, 2119) + '\xFF'}) {
    const File file = fileOf(content);
    EXPECT_EQ(bankFrom(file.get()), bank);
    EXPECT_EQ(std::ftell(file.get()), 2119);
  }
}

TEST(Kestrel7SysexReaderWriter, FindsPresetsByCountingAlone) {
  std::string otherFrames = complete;
  for (std::size_t i = 0; i < complete.size(); ++i) {
    otherFrames[i] = i % 53 < 4 || i % 53 == 52 ? static_cast<char>(0xFE - i % 40) : complete[i];
  }
  EXPECT_EQ(bankFrom(fileOf(otherFrames).get()), bank);
  expectAsModelled('\0' + complete);
  expectAsModelled(complete.substr(1));
}

TEST(Kestrel7SysexReaderWriter, EndsAtTheEndOfTheFileOrAByte0xFF) {
  // Every byte of the first message and its neighbour, and some places of later ones.
  for (std::size_t offset = 0; offset < 2119; offset += offset < 60 ? 1 : 47) {
    SCOPED_TRACE(offset);
    std::string stopped = complete;
    stopped[offset] = '\xFF';
    expectAsModelled(stopped);
    expectAsModelled(complete.substr(0, offset));
  }
  EXPECT_EQ(bankFrom(fileOf("").get()), std::string(960, untouched));
  EXPECT_EQ(bankFrom(fileOf('\xFF' + complete).get()), std::string(960, untouched));
  EXPECT_EQ(bankFrom(fileOf(complete.substr(0, 1000)).get()),
            bank.substr(0, 453) + std::string(507, untouched));
}

TEST(Kestrel7SysexReaderWriter, JoinsTwoBytesToOne) {
  const struct {
    const char* pair;
    char joined;
  } rows[] = {{"\x0F\x03", '\x3F'}, {"\x1F\x02", '\x3F'}, {"\x05\x7A", '\xA5'},
              {"\x0F\x0F", '\xFF'}, {"\xF7\x10", '\xF7'}, {"\xF0\x10", '\xF0'},
              {"\x01\xF7", '\x71'}, {"\x01\xF0", '\x01'}, {"\xFE\xFE", '\xFE'}};
  for (const auto& [pair, joined] : rows) {
    EXPECT_EQ(bankFrom(fileOf(std::string("....") + pair).get()),
              joined + std::string(959, untouched));
  }
  for (int first = 0; first < 0xFF; ++first) {
    std::string content;
    for (int second = 0; second < 0xFF; ++second) {
      content += second % 24 == 0 ? "....." : "";
      content += {static_cast<char>(first), static_cast<char>(second)};
    }
    SCOPED_TRACE(first);
    expectAsModelled(content.substr(1));
  }
}

TEST(Kestrel7SysexReaderWriter, ReadsFromTheCurrentPositionAndLeavesTheFileOpen) {
  const std::string second = bytesOf(randomBank(2));
  const File file = fileOf("before " + complete + sysexFile(second));
  std::fseek(file.get(), 7, SEEK_SET);
  EXPECT_EQ(bankFrom(file.get()), bank);
  EXPECT_EQ(std::fgetc(file.get()), 0xF7);
  EXPECT_EQ(bankFrom(file.get()), second);
  EXPECT_EQ(std::ftell(file.get()), 7 + 2120 + 2119);
}

TEST(Kestrel7SysexReaderWriter, TakesAReadErrorForTheEndOfTheFile) {
  const TemporaryFolder folder;
  const File unreadable(std::fopen(folder.path().c_str(), "rb"));
  ASSERT_NE(unreadable, nullptr);
  EXPECT_EQ(bankFrom(unreadable.get()), std::string(960, untouched));
}

TEST(Kestrel7SysexReaderWriter, WritesNothingAndLeavesThePositionAlone) {
  const TemporaryFolder folder;
  writeFile(folder / "bank.syx", "as it was");
  File file(std::fopen((folder / "bank.syx").c_str(), "r+b"));
  ASSERT_NE(file, nullptr);
  std::fseek(file.get(), 3, SEEK_SET);
  Kestrel7SysexReaderWriter::writeBankSysexFile(file.get(), bank.data());
  EXPECT_EQ(std::ftell(file.get()), 3);
  file.reset();
  EXPECT_EQ(readFile(folder / "bank.syx"), "as it was");
}
