#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/resource.h>
#endif

#include <climits>
#include <cstddef>
#include <filesystem>
#include <string>

#include "support/Banks.h"
#include "support/Files.h"
#include "transfer/writeTransferFiles.h"

namespace {

const std::string zeroRecord(24, '\0');
const std::string bank = bytesOf(randomBank(1));

/// Expects the result of writing `count` records to `outputFolder`, and what is printed.
void expectWriting(const std::string& records, int count, const std::string& outputFolder,
                   int result, const std::string& printed) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(writeTransferFiles(records.data(), count, outputFolder), result);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
}

void expectSuccess(const std::string& records, int count, const std::string& outputFolder) {
  expectWriting(records, count, outputFolder, 0, "");
}

void expectCannotOpen(const std::string& outputFolder, const std::string& path) {
  expectWriting(bank, 40, outputFolder, -1, "can't open " + path + "\n");
}

/// Expects the files of the first `count` records of `records` in `folder`.
void expectFiles(const TemporaryFolder& folder, const std::string& records, int count) {
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(readFile(folder / transferName(i)),
              expectedTransferText(records.substr(24 * static_cast<std::size_t>(i), 24)))
        << transferName(i);
  }
}

std::string textOf(const std::string& record) {
  const TemporaryFolder folder;
  expectSuccess(record, 1, folder.path());
  return readFile(folder / "preset1-1.txt");
}

#ifndef _WIN32
/// Lets no file be opened as long as it lives.
class NoMoreFiles {
 public:
  NoMoreFiles() {
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  NoMoreFiles(const NoMoreFiles&) = delete;
  NoMoreFiles& operator=(const NoMoreFiles&) = delete;
  ~NoMoreFiles() { setrlimit(RLIMIT_NOFILE, &before); }

 private:
  rlimit before{};
};
#endif

}  // namespace

TEST(WriteTransferFiles, WritesALineForEachSetting) {
  EXPECT_EQ(textOf(zeroRecord).size(), 670U);
  EXPECT_EQ(textOf(std::string(24, '\xFF')).size(), 718U);
  EXPECT_TRUE(textOf(recordWith(0, '\xC5')).starts_with("OSC_A_PULSE=1\nFILT_ATK=69/127\n"));
  const std::string tuning = textOf(zeroRecord.substr(0, 21) + "\x18\xFF\x9F");
  EXPECT_TRUE(
      tuning.ends_with("\nOSC_B_LOW_FREQ=0\nOSC_A_FREQ=24\nOSC_B_FREQ=127\n"
                       "OSC_B_FINE=31\n"));
  for (std::size_t byte = 0; byte < 24; ++byte) {
    for (const char value : {'\x80', '\x7F', '\x2A'}) {
      const std::string record = recordWith(byte, value);
      EXPECT_EQ(textOf(record), expectedTransferText(record)) << "byte " << byte;
    }
  }
}

TEST(WriteTransferFiles, WritesFortyFilesInGroupsOfEight) {
  const TemporaryFolder folder;
  expectSuccess(bank, 40, folder.path());
  EXPECT_EQ(filesIn(folder.path()).size(), 40U);
  expectFiles(folder, bank, 40);
  EXPECT_EQ(readFile(folder / "preset1-8.txt"), expectedTransferText(bank.substr(7 * 24, 24)));
  EXPECT_EQ(readFile(folder / "preset2-1.txt"), expectedTransferText(bank.substr(8 * 24, 24)));
  EXPECT_EQ(readFile(folder / "preset5-8.txt"), expectedTransferText(bank.substr(39 * 24, 24)));
}

TEST(WriteTransferFiles, WritesAsManyFilesAsAskedFor) {
  for (const int count : {INT_MIN, -1, 0, 1, 2, 8, 9, 39}) {
    const TemporaryFolder folder;
    expectSuccess(bank, count, folder.path());
    EXPECT_EQ(filesIn(folder.path()).size(), count < 0 ? 0U : static_cast<std::size_t>(count));
    expectFiles(folder, bank, count);
  }
  expectSuccess(bank, 0, "/missing");
}

TEST(WriteTransferFiles, ReplacesEachFileWhole) {
  const TemporaryFolder folder;
  for (int i = 0; i < 40; ++i) {
    writeFile(folder / transferName(i), std::string(5000, 'x'));
  }
  expectSuccess(bank, 40, folder.path());
  expectFiles(folder, bank, 40);
  const std::string other = bytesOf(randomBank(2));
  expectSuccess(other, 40, folder.path());
  expectFiles(folder, other, 40);
}

TEST(WriteTransferFiles, NamesTheFileThatCannotBeOpenedAndStops) {
  const TemporaryFolder folder;
  expectCannotOpen(folder / "missing", folder / "missing/preset1-1.txt");
  EXPECT_TRUE(filesIn(folder.path()).empty());
  std::filesystem::create_directory(folder / "preset3-1.txt");
  const std::ptrdiff_t filesBefore = openFiles();
  expectCannotOpen(folder.path(), folder.path() + "/preset3-1.txt");
  EXPECT_EQ(openFiles(), filesBefore);
  EXPECT_EQ(filesIn(folder.path()).size(), 17U);
  expectFiles(folder, bank, 16);
}

TEST(WriteTransferFiles, AlwaysAddsASlash) {
  const TemporaryFolder folder;
  expectSuccess(zeroRecord, 1, folder.path() + "/");
  expectFiles(folder, zeroRecord, 1);
  expectCannotOpen(folder / "missing/", (folder / "missing/") + "/preset1-1.txt");
}

#ifndef _WIN32  // which has neither a limit of open files nor a full device
TEST(WriteTransferFiles, AddsASlashToNoFolderToo) {
  // What is printed comes to light when files can be opened again.
  testing::internal::CaptureStdout();
  {
    const NoMoreFiles limit;
    EXPECT_EQ(writeTransferFiles(bank.data(), 40, ""), -1);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "can't open /preset1-1.txt\n");
}

TEST(WriteTransferFiles, DoesNotNoticeAFullDevice) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("/dev/full", folder / "preset1-1.txt");
  expectSuccess(bank, 2, folder.path());
  EXPECT_EQ(readFile(folder / "preset1-2.txt"), expectedTransferText(bank.substr(24, 24)));
}
#endif

TEST(ToString, IsWhatAStreamMakesOfTheValue) {
  EXPECT_EQ(to_string(0), "0");
  EXPECT_EQ(to_string(INT_MAX), "2147483647");
  EXPECT_EQ(to_string(INT_MIN), "-2147483648");
  EXPECT_EQ(to_string(std::string("a b")), "a b");
}
