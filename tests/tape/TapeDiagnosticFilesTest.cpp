#include <grp.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "support/Banks.h"
#include "support/Files.h"
#include "tape/TapeDataReader.h"

namespace {

constexpr std::size_t dataBitCount = 7680;
constexpr std::size_t bitStoreCells = 7687;

/// A new folder that is the working directory as long as this lives.
class WorkingFolder : public TemporaryFolder {
 public:
  WorkingFolder() : before(std::filesystem::current_path()) {
    std::filesystem::current_path(path());
  }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;
  ~WorkingFolder() { std::filesystem::current_path(before); }

 private:
  std::filesystem::path before;
};

/// A decoder whose decoded bits are open to the tests.
class OpenReader : public TapeDataReader {
 public:
  using TapeDataReader::bitStream;
  using TapeDataReader::presetData;
};

/// The bits of a bank in the order in which they come from the tape.
std::string bitsOf(const PresetBank& bank) {
  std::string bits;
  for (const char byte : bank) {
    bits += std::bitset<8>(static_cast<unsigned char>(byte)).to_string();
  }
  return bits;
}

/// A decoder that has decoded `bits` behind a leader and a start marker.
TapeDataReader decoderOf(const std::string& bits) {
  std::vector<float> recording;
  float level = 1.0F;
  for (const char bit : std::string(10, '1') + '0' + bits) {
    const std::size_t halfPeriods = bit == '1' ? 12 : 4;
    const std::size_t samples = bit == '1' ? 12 : 42;
    for (std::size_t i = 0; i < halfPeriods; ++i) {
      recording.insert(recording.end(), samples, level);
      level = -level;
    }
  }
  recording.push_back(level);  // closes the last half-period
  TapeDataReader decoder;
  decoder.readPresetData(recording.data(), static_cast<int>(recording.size()));
  return decoder;
}

/// The bit-stream dump of 7,687 cells.
std::string dumpOf(const std::string& cells) {
  std::string dump;
  for (std::size_t i = 0; i < dataBitCount; ++i) {
    dump += static_cast<char>(cells[i] - '0');
    dump += i % 8 == 7 ? "\n" : "";
    dump += i % 192 == 191 ? "\n" : "";
  }
  for (std::size_t i = 7679; i < bitStoreCells; ++i) {
    dump += static_cast<char>(cells[i] - '0');
  }
  return dump + "\n";
}

const std::string bitsBehindTheData = "1011001";

const std::vector<std::string> recordNames{
    "bank1preset1.prs", "bank1preset2.prs", "bank1preset3.prs", "bank1preset4.prs",
    "bank1preset5.prs", "bank1preset6.prs", "bank1preset7.prs", "bank1preset8.prs",
    "bank2preset1.prs", "bank2preset2.prs", "bank2preset3.prs", "bank2preset4.prs",
    "bank2preset5.prs", "bank2preset6.prs", "bank2preset7.prs", "bank2preset8.prs",
    "bank3preset1.prs", "bank3preset2.prs", "bank3preset3.prs", "bank3preset4.prs",
    "bank3preset5.prs", "bank3preset6.prs", "bank3preset7.prs", "bank3preset8.prs",
    "bank4preset1.prs", "bank4preset2.prs", "bank4preset3.prs", "bank4preset4.prs",
    "bank4preset5.prs", "bank4preset6.prs", "bank4preset7.prs", "bank4preset8.prs",
    "bank5preset1.prs", "bank5preset2.prs", "bank5preset3.prs", "bank5preset4.prs",
    "bank5preset5.prs", "bank5preset6.prs", "bank5preset7.prs", "bank5preset8.prs",
};

std::ptrdiff_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

}  // namespace

TEST(BitStreamDump, IsALinePerByteAndTheLastEightCells) {
  const WorkingFolder folder;
  const std::string bits = bitsOf(randomBank(1)) + bitsBehindTheData;

  decoderOf(bits).savePresetDataAsBitStreamToFile();

  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{"myOutput.dat"});
  EXPECT_EQ(readFile("myOutput.dat"), dumpOf(bits));
}

TEST(BitStreamDump, Is8689BytesOfRawBitsAndLineFeeds) {
  const WorkingFolder folder;

  decoderOf(bitsOf(randomBank(2))).savePresetDataAsBitStreamToFile();

  const std::string dump = readFile("myOutput.dat");
  EXPECT_EQ(dump.size(), 8689U);
  EXPECT_EQ(std::set<char>(dump.begin(), dump.end()), (std::set<char>{'\0', '\1', '\n'}));
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 8689 - (7680 + 8));
}

namespace {

struct LastLine {
  const char* bitsBehind;
  const char* line;
};

class BitStreamDumpLastLineTest : public testing::TestWithParam<LastLine> {};

}  // namespace

TEST_P(BitStreamDumpLastLineTest, BeginsWithTheLastDataBit) {
  const WorkingFolder folder;
  const std::string data = std::string(7679, '0') + '1';

  decoderOf(data + GetParam().bitsBehind).savePresetDataAsBitStreamToFile();

  std::string expected = GetParam().line;
  for (char& bit : expected) {
    bit = static_cast<char>(bit - '0');
  }
  EXPECT_EQ(readFile("myOutput.dat").substr(8689 - 9), expected + "\n") << GetParam().bitsBehind;
}

INSTANTIATE_TEST_SUITE_P(BitsBehindTheData, BitStreamDumpLastLineTest,
                         testing::Values(LastLine{"", "10000000"}, LastLine{"1", "11000000"},
                                         LastLine{"0000001", "10000001"},
                                         LastLine{"1011001", "11011001"},
                                         LastLine{"01111110", "10111111"},
                                         LastLine{"00000001111", "10000000"}));

TEST(BitStreamDump, ShowsTheLowestBitOfEachCell) {
  const WorkingFolder folder;
  const std::string bits = bitsOf(randomBank(3)) + bitsBehindTheData;
  OpenReader decoder;
  for (std::size_t i = 0; i < dataBitCount; ++i) {
    decoder.presetData[i / 192][i % 192 / 8][i % 8] = static_cast<char>(bits[i] - '0' - 2);
  }
  for (std::size_t i = 0; i < bitStoreCells; ++i) {
    decoder.bitStream[i] = static_cast<char>(bits[i] - '0' + 0x46);
  }

  decoder.savePresetDataAsBitStreamToFile();

  EXPECT_EQ(readFile("myOutput.dat"), dumpOf(bits));
}

TEST(RawBank, IsThe960BytesOfTheBank) {
  const WorkingFolder folder;
  const PresetBank bank = randomBank(4);

  decoderOf(bitsOf(bank)).saveRawPresetBankDataToFile();

  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{"myOutput.tap"});
  EXPECT_EQ(readFile("myOutput.tap").size(), 960U);
  EXPECT_EQ(readFile("myOutput.tap"), bytesOf(bank));
}

TEST(RawRecords, AreTheBankInFortyFiles) {
  const WorkingFolder folder;
  const PresetBank bank = randomBank(5);

  decoderOf(bitsOf(bank)).saveIndividualRawPresetDataToFiles();

  EXPECT_EQ(filesIn(folder.path()), recordNames);
  for (std::size_t record = 0; record < 40; ++record) {
    EXPECT_EQ(readFile(recordNames[record]), bytesOf(bank).substr(24 * record, 24))
        << recordNames[record];
  }
}

TEST(RawRecords, EndWithTheLastBytesOfTheRawBank) {
  const WorkingFolder folder;
  const TapeDataReader decoder = decoderOf(bitsOf(randomBank(6)));

  decoder.saveRawPresetBankDataToFile();
  decoder.saveIndividualRawPresetDataToFiles();

  EXPECT_EQ(readFile("bank5preset8.prs"), readFile("myOutput.tap").substr(936));
}

TEST(RawFiles, AreMadeOfTheLowestBits) {
  const WorkingFolder folder;
  const PresetBank bank = randomBank(7);
  const std::string bits = bitsOf(bank);
  OpenReader decoder;
  for (std::size_t i = 0; i < dataBitCount; ++i) {
    decoder.presetData[i / 192][i % 192 / 8][i % 8] = static_cast<char>(bits[i] - '0' + 0x72);
  }

  decoder.saveRawPresetBankDataToFile();
  decoder.saveIndividualRawPresetDataToFiles();

  EXPECT_EQ(readFile("myOutput.tap"), bytesOf(bank));
  EXPECT_EQ(readFile("bank3preset2.prs"), bytesOf(bank).substr(17 * 24, 24));
}

// What the three operations have in common

namespace {

using Save = void (TapeDataReader::*)() const;

struct Operation {
  const char* name;
  Save save;
  std::string firstFile;
  std::string (*contentOf)(const PresetBank& bank);  // of the first file
};

std::string wholeDumpOf(const PresetBank& bank) { return dumpOf(bitsOf(bank) + bitsBehindTheData); }

std::string firstRecordOf(const PresetBank& bank) { return bytesOf(bank).substr(0, 24); }

const Operation operations[] = {
    {"BitStream", &TapeDataReader::savePresetDataAsBitStreamToFile, "myOutput.dat", wholeDumpOf},
    {"RawBank", &TapeDataReader::saveRawPresetBankDataToFile, "myOutput.tap", bytesOf},
    {"RawRecords", &TapeDataReader::saveIndividualRawPresetDataToFiles, "bank1preset1.prs",
     firstRecordOf},
};

std::ostream& operator<<(std::ostream& stream, const Operation& operation) {
  return stream << operation.name;
}

class TapeDiagnosticFilesTest : public testing::TestWithParam<Operation> {
 protected:
  void save() const { (decoder.*GetParam().save)(); }

  const WorkingFolder folder;
  const PresetBank bank = randomBank(8);
  const TapeDataReader decoder = decoderOf(bitsOf(bank) + bitsBehindTheData);
};

/// Ends in a process of its own with what is printed in the file "printed" of another folder.
class TapeDiagnosticFilesDeathTest : public TapeDiagnosticFilesTest {
 protected:
  [[noreturn]] void saveAndPrintToFile() const {
    if (std::freopen((output / "printed").c_str(), "wb", stdout) == nullptr) {
      _exit(2);
    }
    save();
    std::puts("went on");
    std::fflush(stdout);
    _exit(1);
  }

  /// The same as a user who may write to `output` alone.
  [[noreturn]] void saveAsOrdinaryUser() const {
    constexpr int nobody = 65534;
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 ||
                           setuid(nobody) != 0 || prctl(PR_SET_DUMPABLE, 1) != 0)) {
      _exit(3);
    }
    saveAndPrintToFile();
  }

  std::string printed() const { return readFile(output / "printed"); }

  const TemporaryFolder output;
};

}  // namespace

TEST_P(TapeDiagnosticFilesTest, AreOverwrittenFromScratch) {
  writeFile(GetParam().firstFile, std::string(20000, 'x'));

  save();
  EXPECT_EQ(readFile(GetParam().firstFile), GetParam().contentOf(bank));
  save();
  EXPECT_EQ(readFile(GetParam().firstFile), GetParam().contentOf(bank));
}

TEST_P(TapeDiagnosticFilesTest, AreWrittenWithoutAWord) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();

  save();

  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_P(TapeDiagnosticFilesTest, AreClosed) {
  const std::ptrdiff_t before = openDescriptors();

  save();

  EXPECT_EQ(openDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Operations, TapeDiagnosticFilesTest, testing::ValuesIn(operations),
                         [](const auto& row) { return row.param.name; });

TEST_P(TapeDiagnosticFilesDeathTest, EndTheProcessWithStatus0WhereAFolderTakesTheName) {
  std::filesystem::create_directory(GetParam().firstFile);

  EXPECT_EXIT(saveAndPrintToFile(), testing::ExitedWithCode(0), "");

  EXPECT_EQ(printed(), "can't open " + GetParam().firstFile + "\n");
  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{GetParam().firstFile});
}

TEST_P(TapeDiagnosticFilesDeathTest, EndTheProcessWithStatus0WhereTheFolderCannotBeWritten) {
  using std::filesystem::perms;
  std::filesystem::permissions(folder.path(), perms::owner_read | perms::owner_exec |
                                                  perms::others_read | perms::others_exec);
  std::filesystem::permissions(output.path(), perms::all);

  EXPECT_EXIT(saveAsOrdinaryUser(), testing::ExitedWithCode(0), "");

  EXPECT_EQ(printed(), "can't open " + GetParam().firstFile + "\n");
  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Operations, TapeDiagnosticFilesDeathTest, testing::ValuesIn(operations),
                         [](const auto& row) { return row.param.name; });

namespace {

class RawRecordsDeathTest : public TapeDiagnosticFilesDeathTest {};

}  // namespace

TEST_P(RawRecordsDeathTest, KeepTheFilesBeforeTheOneThatCannotBeOpened) {
  std::filesystem::create_directory("bank3preset1.prs");

  EXPECT_EXIT(saveAndPrintToFile(), testing::ExitedWithCode(0), "");

  EXPECT_EQ(printed(), "can't open bank3preset1.prs\n");
  EXPECT_EQ(filesIn(folder.path()),
            std::vector<std::string>(recordNames.begin(), recordNames.begin() + 17));
  for (std::size_t record = 0; record < 16; ++record) {
    EXPECT_EQ(std::filesystem::file_size(recordNames[record]), 24U) << recordNames[record];
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, RawRecordsDeathTest, testing::Values(operations[2]));
