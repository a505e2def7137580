#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "models/TapeModel.h"
#include "support/Banks.h"
#include "support/Files.h"
#include "support/OpenClasses.h"
#include "support/TapeSimulator.h"

namespace {

/// A new folder that is the working directory as long as this lives.
class WorkingFolder : public TemporaryFolder {
 public:
  WorkingFolder() { std::filesystem::current_path(path()); }
  ~WorkingFolder() { std::filesystem::current_path(before); }

 private:
  std::filesystem::path before = std::filesystem::current_path();
};

/// The name of the diagnostic file of the record with index 0 to 39.
std::string recordName(int record) {
  return "bank" + std::to_string(record / 8 + 1) + "preset" + std::to_string(record % 8 + 1) +
         ".prs";
}

/// The bit-stream dump of 7,687 cells.
std::string dumpOf(const std::string& cells) {
  std::string dump;
  for (std::size_t i = 0; i < 7680; ++i) {
    dump += cells[i];
    dump += i % 8 == 7 ? "\n" : "";
    dump += i % 192 == 191 ? "\n" : "";
  }
  return dump + cells.substr(7679) + "\n";
}

/// A reader that has decoded `bank` and the seven bits after it, and the cells of its bit store.
struct DecodedBank {
  explicit DecodedBank(std::string bytes, const std::string& bitsAfter = "1011001")
      : bank(std::move(bytes)) {
    HalfPeriods signal = dumpSignal(bank, 20);
    signal.resize(signal.size() - 4);
    for (const char bit : bitsAfter) {
      appendBit(signal, bit == '1');
    }
    signal.push_back(HalfPeriod::Short);
    std::vector<float> recording = recordTape(signal);
    reader.readPresetData(recording.data(), static_cast<int>(recording.size()));
    TapeModel model;
    model.decode(recording);
    cells = model.bits;
  }

  std::string bank;
  std::string cells;
  OpenTapeDataReader reader;
};

struct Writer {
  void (TapeDataReader::*save)() const;
  std::string firstFile;
};

const Writer bitStream{&TapeDataReader::savePresetDataAsBitStreamToFile, "myOutput.dat"};
const Writer rawBank{&TapeDataReader::saveRawPresetBankDataToFile, "myOutput.tap"};
const Writer rawRecords{&TapeDataReader::saveIndividualRawPresetDataToFiles, "bank1preset1.prs"};
const Writer writers[] = {bitStream, rawBank, rawRecords};

/// Expects that the three writers make of the bank what it is, file by file, without a word.
void expectFilesOf(const DecodedBank& decoded) {
  const std::ptrdiff_t filesBefore = openFiles();
  testing::internal::CaptureStdout();
  for (const Writer& writer : writers) {
    (decoded.reader.*writer.save)();
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(openFiles(), filesBefore);
  EXPECT_EQ(filesIn(".").size(), 42U);
  EXPECT_EQ(readFile("myOutput.dat"), dumpOf(decoded.cells));
  EXPECT_EQ(readFile("myOutput.tap"), decoded.bank);
  for (int record = 0; record < 40; ++record) {
    EXPECT_EQ(readFile(recordName(record)),
              decoded.bank.substr(24 * static_cast<std::size_t>(record), 24))
        << record;
  }
}

}  // namespace

TEST(DiagnosticFiles, AreTheBitsTheBankAndItsRecords) {
  const WorkingFolder folder;
  expectFilesOf(DecodedBank(bytesOf(randomBank(1))));
  const std::string dump = readFile("myOutput.dat");
  EXPECT_EQ(dump.size(), 8689U);
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 8689 - (7680 + 8));
  EXPECT_EQ(readFile("bank5preset8.prs"), readFile("myOutput.tap").substr(936));
}

TEST(DiagnosticFiles, AreReplacedWhole) {
  const WorkingFolder folder;
  expectFilesOf(DecodedBank(bytesOf(randomBank(2))));
  for (const std::string& name : filesIn(".")) {
    writeFile(name, readFile(name) + std::string(100, 'x'));
  }
  expectFilesOf(DecodedBank(bytesOf(randomBank(3))));
}

TEST(DiagnosticFiles, ShowTheBitsAfterTheDataInTheLastLine) {
  const WorkingFolder folder;
  const struct {
    const char* bitsAfter;
    const char* line;
  } rows[] = {{"", "10000000"},        {"1", "11000000"},        {"0000001", "10000001"},
              {"1011001", "11011001"}, {"01111110", "10111111"}, {"00000001111", "10000000"}};
  for (const auto& [bitsAfter, line] : rows) {
    const DecodedBank decoded(std::string(959, '\0') + '\1', bitsAfter);
    decoded.reader.savePresetDataAsBitStreamToFile();
    std::string lastLine = readFile("myOutput.dat").substr(8689 - 9, 8);
    std::for_each(lastLine.begin(), lastLine.end(), [](char& bit) { bit = "01"[int{bit}]; });
    EXPECT_EQ(lastLine, line) << bitsAfter;
  }
}

TEST(DiagnosticFiles, AreMadeOfTheLowestBits) {
  const WorkingFolder folder;
  DecodedBank decoded(bytesOf(randomBank(4)));
  char* slots = &decoded.reader.presetData[0][0][0];
  std::for_each(slots, slots + 7680, [](char& slot) { slot = static_cast<char>(slot - 2); });
  for (char& cell : decoded.reader.bitStream) {
    cell = static_cast<char>(cell + 0x46);
  }
  expectFilesOf(decoded);
}

// Files that can't be opened

namespace {

/// Saves in a process that ends with status 0, prints what names `file`, and leaves `left` behind.
void expectCannotOpen(const Writer& writer, const std::string& file,
                      const std::vector<std::string>& left) {
  const OpenTapeDataReader reader;
  const TemporaryFolder output;
  const std::string printed = output / "printed";
  const auto saveAndPrintToFile = [&] {
    if (std::freopen(printed.c_str(), "wb", stdout) == nullptr) {
      _exit(2);
    }
    (reader.*writer.save)();
    _exit(1);
  };
  EXPECT_EXIT(saveAndPrintToFile(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(readFile(printed), "can't open " + file + "\n");
  EXPECT_EQ(filesIn("."), left);
}

}  // namespace

TEST(DiagnosticFilesDeathTest, EndTheProcessWhereTheyCannotBeOpened) {
  for (const Writer& writer : writers) {
    SCOPED_TRACE(writer.firstFile);
    const WorkingFolder taken;
    std::filesystem::create_directory(writer.firstFile);
    expectCannotOpen(writer, writer.firstFile, {writer.firstFile});
  }
}

TEST(DiagnosticFilesDeathTest, KeepTheRecordsBeforeTheOneThatCannotBeOpened) {
  const WorkingFolder folder;
  std::filesystem::create_directory(recordName(16));
  std::vector<std::string> left;
  for (int record = 0; record <= 16; ++record) {
    left.push_back(recordName(record));
  }
  expectCannotOpen(rawRecords, "bank3preset1.prs", left);
  EXPECT_EQ(std::filesystem::file_size("bank2preset8.prs"), 24U);
}
