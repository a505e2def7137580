#include <gtest/gtest.h>
#include <sys/resource.h>

#include <climits>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "support/Banks.h"
#include "support/Files.h"
#include "transfer/writeTransferFiles.h"

namespace {

constexpr std::string_view textOfZeros =
    "OSC_A_PULSE=0\n"
    "FILT_ATK=0/127\n"
    "OSC_A_SAW=0\n"
    "FILT_DEC=0/127\n"
    "OSC_A_SYNC=0\n"
    "FILT_SUS=0/127\n"
    "OSC_B_SAW=0\n"
    "FILT_REL=0/127\n"
    "OSC_B_TRI=0\n"
    "AMP_ATK=0/127\n"
    "OSC_B_PULSE=0\n"
    "AMP_DEC=0/127\n"
    "OSC_B_KBD=0\n"
    "AMP_SUS=0/127\n"
    "UNISON=0\n"
    "AMP_REL=0/127\n"
    "POLY-MOD_FREQ_A=0\n"
    "FILTER_CUTOFF=0/127\n"
    "POLY-MOD_PW_A=0\n"
    "FILT_ENV_AMT=0/127\n"
    "POLY-MOD_FILT=0\n"
    "MIX_OSC_B=0/127\n"
    "LFO_SAW=0\n"
    "OSC_B_PW=0/127\n"
    "LFO_TRI=0\n"
    "MIX_OSC_A=0/127\n"
    "LFO_SQUARE=0\n"
    "OSC_A_PW=0/127\n"
    "FILT_KBD=0\n"
    "MIX_NOISE=0/127\n"
    "RELEASE=0\n"
    "FILT_RESONANCE=0/127\n"
    "W-MOD_FREQ_A=0\n"
    "GLIDE=0/127\n"
    "W-MOD_FREQ_B=0\n"
    "LFO_FREQ=0/127\n"
    "W-MOD_PW_A=0\n"
    "W-MOD_SOURCE_MIX=0/127\n"
    "W-MOD_PW_B=0\n"
    "P-MOD_OSC_B=0/127\n"
    "W-MOD_FILT=0\n"
    "P-MOD_FILT_ENV=0/127\n"
    "OSC_B_LOW_FREQ=0\n"
    "OSC_A_FREQ=0\n"
    "OSC_B_FREQ=0\n"
    "OSC_B_FINE=0\n";

struct Writing {
  int result = 0;
  std::string printed;  // on standard output
  std::string errors;   // on standard error
};

Writing write(const std::string& bank, int count, const std::string& outputFolder) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Writing writing;
  writing.result = writeTransferFiles(bank.data(), count, outputFolder);
  writing.errors = testing::internal::GetCapturedStderr();
  writing.printed = testing::internal::GetCapturedStdout();
  return writing;
}

void expectSuccess(const Writing& writing) {
  EXPECT_EQ(writing.result, 0);
  EXPECT_EQ(writing.printed, "");
  EXPECT_EQ(writing.errors, "");
}

void expectCannotOpen(const Writing& writing, const std::string& path) {
  EXPECT_EQ(writing.result, -1);
  EXPECT_EQ(writing.printed, "can't open " + path + "\n");
  EXPECT_EQ(writing.errors, "");
}

/// The text of the transfer file of one record.
std::string textOf(const std::string& record) {
  const TemporaryFolder folder;
  expectSuccess(write(record, 1, folder.path()));
  return readFile(folder / "preset1-1.txt");
}

/// The text of a record of zeros but for the number in one line, 1 to 46.
std::string textWithNumber(int line, const std::string& number) {
  std::string text(textOfZeros);
  std::size_t position = 0;
  for (int i = 1; i < line; ++i) {
    position = text.find('\n', position) + 1;
  }
  return text.replace(text.find('=', position) + 1, 1, number);
}

std::string recordWith(int byte, char value) {
  std::string record(24, '\0');
  record[static_cast<std::size_t>(byte)] = value;
  return record;
}

/// A bank of zeros but for the value of byte 0, which is the index of the record.
std::string numberedBank() {
  std::string bank;
  for (int record = 0; record < 40; ++record) {
    bank += recordWith(0, static_cast<char>(record));
  }
  return bank;
}

/// The names of the transfer files of the first `count` records.
std::vector<std::string> transferNames(int count) {
  static const std::vector<std::string> names{
      "preset1-1.txt", "preset1-2.txt", "preset1-3.txt", "preset1-4.txt", "preset1-5.txt",
      "preset1-6.txt", "preset1-7.txt", "preset1-8.txt", "preset2-1.txt", "preset2-2.txt",
      "preset2-3.txt", "preset2-4.txt", "preset2-5.txt", "preset2-6.txt", "preset2-7.txt",
      "preset2-8.txt", "preset3-1.txt", "preset3-2.txt", "preset3-3.txt", "preset3-4.txt",
      "preset3-5.txt", "preset3-6.txt", "preset3-7.txt", "preset3-8.txt", "preset4-1.txt",
      "preset4-2.txt", "preset4-3.txt", "preset4-4.txt", "preset4-5.txt", "preset4-6.txt",
      "preset4-7.txt", "preset4-8.txt", "preset5-1.txt", "preset5-2.txt", "preset5-3.txt",
      "preset5-4.txt", "preset5-5.txt", "preset5-6.txt", "preset5-7.txt", "preset5-8.txt",
  };
  return {names.begin(), names.begin() + count};
}

std::ptrdiff_t openDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

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

class WriteTransferFilesCountTest : public testing::TestWithParam<int> {};

class WriteTransferFilesNoCountTest : public testing::TestWithParam<int> {};

}  // namespace

TEST(WriteTransferFiles, WritesARecordOfZerosAs46LinesOf670Bytes) {
  ASSERT_EQ(textOfZeros.size(), 670U);

  EXPECT_EQ(textOf(std::string(24, '\0')), textOfZeros);
}

TEST(WriteTransferFiles, WritesARecordOfOnesWithEverySwitchOnAndEveryValue127) {
  const std::string text = textOf(std::string(24, '\xFF'));

  EXPECT_EQ(text.size(), 718U);
  EXPECT_EQ(text,
            "OSC_A_PULSE=1\n"
            "FILT_ATK=127/127\n"
            "OSC_A_SAW=1\n"
            "FILT_DEC=127/127\n"
            "OSC_A_SYNC=1\n"
            "FILT_SUS=127/127\n"
            "OSC_B_SAW=1\n"
            "FILT_REL=127/127\n"
            "OSC_B_TRI=1\n"
            "AMP_ATK=127/127\n"
            "OSC_B_PULSE=1\n"
            "AMP_DEC=127/127\n"
            "OSC_B_KBD=1\n"
            "AMP_SUS=127/127\n"
            "UNISON=1\n"
            "AMP_REL=127/127\n"
            "POLY-MOD_FREQ_A=1\n"
            "FILTER_CUTOFF=127/127\n"
            "POLY-MOD_PW_A=1\n"
            "FILT_ENV_AMT=127/127\n"
            "POLY-MOD_FILT=1\n"
            "MIX_OSC_B=127/127\n"
            "LFO_SAW=1\n"
            "OSC_B_PW=127/127\n"
            "LFO_TRI=1\n"
            "MIX_OSC_A=127/127\n"
            "LFO_SQUARE=1\n"
            "OSC_A_PW=127/127\n"
            "FILT_KBD=1\n"
            "MIX_NOISE=127/127\n"
            "RELEASE=1\n"
            "FILT_RESONANCE=127/127\n"
            "W-MOD_FREQ_A=1\n"
            "GLIDE=127/127\n"
            "W-MOD_FREQ_B=1\n"
            "LFO_FREQ=127/127\n"
            "W-MOD_PW_A=1\n"
            "W-MOD_SOURCE_MIX=127/127\n"
            "W-MOD_PW_B=1\n"
            "P-MOD_OSC_B=127/127\n"
            "W-MOD_FILT=1\n"
            "P-MOD_FILT_ENV=127/127\n"
            "OSC_B_LOW_FREQ=1\n"
            "OSC_A_FREQ=127\n"
            "OSC_B_FREQ=127\n"
            "OSC_B_FINE=127\n");
}

TEST(WriteTransferFiles, WritesEachFieldOfItsOwnByteAndBits) {
  const std::string record =
      "\xC5\x0A\x93\x1C\xA5\x2E\x37\x80\xC9\x52\xDB\x64"
      "\xED\x76\x7F\xFE\x07\x90\x19\xA2\xAB\x18\xBD\x9F";

  EXPECT_EQ(textOf(record),
            "OSC_A_PULSE=1\n"
            "FILT_ATK=69/127\n"
            "OSC_A_SAW=0\n"
            "FILT_DEC=10/127\n"
            "OSC_A_SYNC=1\n"
            "FILT_SUS=19/127\n"
            "OSC_B_SAW=0\n"
            "FILT_REL=28/127\n"
            "OSC_B_TRI=1\n"
            "AMP_ATK=37/127\n"
            "OSC_B_PULSE=0\n"
            "AMP_DEC=46/127\n"
            "OSC_B_KBD=0\n"
            "AMP_SUS=55/127\n"
            "UNISON=1\n"
            "AMP_REL=0/127\n"
            "POLY-MOD_FREQ_A=1\n"
            "FILTER_CUTOFF=73/127\n"
            "POLY-MOD_PW_A=0\n"
            "FILT_ENV_AMT=82/127\n"
            "POLY-MOD_FILT=1\n"
            "MIX_OSC_B=91/127\n"
            "LFO_SAW=0\n"
            "OSC_B_PW=100/127\n"
            "LFO_TRI=1\n"
            "MIX_OSC_A=109/127\n"
            "LFO_SQUARE=0\n"
            "OSC_A_PW=118/127\n"
            "FILT_KBD=0\n"
            "MIX_NOISE=127/127\n"
            "RELEASE=1\n"
            "FILT_RESONANCE=126/127\n"
            "W-MOD_FREQ_A=0\n"
            "GLIDE=7/127\n"
            "W-MOD_FREQ_B=1\n"
            "LFO_FREQ=16/127\n"
            "W-MOD_PW_A=0\n"
            "W-MOD_SOURCE_MIX=25/127\n"
            "W-MOD_PW_B=1\n"
            "P-MOD_OSC_B=34/127\n"
            "W-MOD_FILT=1\n"
            "P-MOD_FILT_ENV=43/127\n"
            "OSC_B_LOW_FREQ=0\n"
            "OSC_A_FREQ=24\n"
            "OSC_B_FREQ=61\n"
            "OSC_B_FINE=31\n");
}

TEST(WriteTransferFiles, WritesEachSwitchInItsLineAlone) {
  for (int byte = 0; byte < 22; ++byte) {
    EXPECT_EQ(textOf(recordWith(byte, '\x80')), textWithNumber(2 * byte + 1, "1"))
        << "byte " << byte;
  }
}

TEST(WriteTransferFiles, WritesEachValueInItsLineAlone) {
  for (int byte = 0; byte < 22; ++byte) {
    EXPECT_EQ(textOf(recordWith(byte, '\x7F')), textWithNumber(2 * byte + 2, "127"))
        << "byte " << byte;
  }
  EXPECT_EQ(textOf(recordWith(22, '\x7F')), textWithNumber(45, "127"));
  EXPECT_EQ(textOf(recordWith(23, '\x7F')), textWithNumber(46, "127"));
}

TEST(WriteTransferFiles, LeavesOutTheTwoBitsWithoutAKey) {
  EXPECT_EQ(textOf(recordWith(22, '\x80')), textOfZeros);
  EXPECT_EQ(textOf(recordWith(23, '\x80')), textOfZeros);
  EXPECT_EQ(textOf(recordWith(23, '\x9F')), textWithNumber(46, "31"));
}

TEST(WriteTransferFiles, WritesFortyFilesInGroupsOfEight) {
  const TemporaryFolder folder;

  expectSuccess(write(numberedBank(), 40, folder.path()));

  const std::vector<std::string> names = transferNames(40);
  EXPECT_EQ(filesIn(folder.path()), names);
  for (std::size_t record = 0; record < names.size(); ++record) {
    EXPECT_EQ(readFile(folder / names[record]), textWithNumber(2, std::to_string(record)))
        << names[record];
  }
}

TEST(WriteTransferFiles, WritesEveryByteOfEveryRecord) {
  const TemporaryFolder folder;
  const std::string bank = bytesOf(randomBank(1));

  expectSuccess(write(bank, 40, folder.path()));

  for (std::size_t record = 0; record < 40; ++record) {
    const std::string name = transferNames(40)[record];
    EXPECT_EQ(readFile(folder / name), transferText(bank.substr(24 * record, 24))) << name;
  }
}

TEST_P(WriteTransferFilesCountTest, IsTheNumberOfFilesWritten) {
  const int count = GetParam();
  const TemporaryFolder folder;

  expectSuccess(
      write(numberedBank().substr(0, 24 * static_cast<std::size_t>(count)), count, folder.path()));

  EXPECT_EQ(filesIn(folder.path()), transferNames(count));
}

INSTANTIATE_TEST_SUITE_P(Counts, WriteTransferFilesCountTest, testing::Values(1, 2, 8, 9, 39),
                         testing::PrintToStringParamName());

TEST_P(WriteTransferFilesNoCountTest, WritesNoFileWhateverTheFolder) {
  const TemporaryFolder folder;

  expectSuccess(write("", GetParam(), folder.path()));
  expectSuccess(write("", GetParam(), folder / "missing"));

  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Counts, WriteTransferFilesNoCountTest, testing::Values(0, -1, INT_MIN));

TEST(WriteTransferFiles, OverwritesALongerFileFromScratch) {
  const TemporaryFolder folder;
  writeFile(folder / "preset1-1.txt", std::string(5000, 'x'));

  expectSuccess(write(std::string(24, '\0'), 1, folder.path()));

  EXPECT_EQ(readFile(folder / "preset1-1.txt"), textOfZeros);
}

TEST(WriteTransferFiles, WritesTheSameOnASecondCallToAnotherFolder) {
  const TemporaryFolder first;
  const TemporaryFolder second;

  expectSuccess(write(numberedBank(), 40, first.path()));
  expectSuccess(write(numberedBank(), 9, second.path()));

  EXPECT_EQ(filesIn(second.path()), transferNames(9));
}

TEST(WriteTransferFiles, WritesToAFolderThatEndsInASlash) {
  const TemporaryFolder folder;

  expectSuccess(write(std::string(24, '\0'), 1, folder.path() + "/"));

  EXPECT_EQ(readFile(folder / "preset1-1.txt"), textOfZeros);
}

TEST(WriteTransferFiles, NamesTheFirstFileOfAMissingFolder) {
  const TemporaryFolder folder;

  expectCannotOpen(write(numberedBank(), 40, folder / "missing"),
                   folder.path() + "/missing/preset1-1.txt");

  EXPECT_EQ(filesIn(folder.path()), std::vector<std::string>{});
}

TEST(WriteTransferFiles, KeepsTheDoubledSlash) {
  const TemporaryFolder folder;

  expectCannotOpen(write(numberedBank(), 40, folder / "missing/"),
                   folder.path() + "/missing//preset1-1.txt");
}

TEST(WriteTransferFiles, TakesAnEmptyFolderForTheRoot) {
  // What a sanitizer opens when the writer runs for the first time must be open before the limit.
  const TemporaryFolder folder;
  expectSuccess(write(std::string(24, '\0'), 1, folder.path()));

  Writing writing;
  testing::internal::CaptureStdout();
  {
    const NoMoreFiles limit;
    writing.result = writeTransferFiles(numberedBank().data(), 40, "");
  }
  writing.printed = testing::internal::GetCapturedStdout();

  expectCannotOpen(writing, "/preset1-1.txt");
}

TEST(WriteTransferFiles, StopsAtAFileThatCannotBeOpened) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "preset3-1.txt");

  expectCannotOpen(write(numberedBank(), 40, folder.path()), folder / "preset3-1.txt");

  EXPECT_EQ(filesIn(folder.path()), transferNames(17));
  for (std::size_t record = 0; record < 16; ++record) {
    EXPECT_EQ(readFile(folder / transferNames(16)[record]),
              textWithNumber(2, std::to_string(record)))
        << "record " << record;
  }
}

TEST(WriteTransferFiles, DoesNotNoticeAFullDevice) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("/dev/full", folder / "preset1-1.txt");

  expectSuccess(write(numberedBank(), 2, folder.path()));

  EXPECT_EQ(readFile(folder / "preset1-2.txt"), textWithNumber(2, "1"));
}

TEST(WriteTransferFiles, ClosesEveryFile) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "preset5-8.txt");
  const std::ptrdiff_t before = openDescriptors();

  expectCannotOpen(write(numberedBank(), 40, folder.path()), folder / "preset5-8.txt");

  EXPECT_EQ(openDescriptors(), before);
}

TEST(ToString, IsPlainDecimal) {
  EXPECT_EQ(to_string(0), "0");
  EXPECT_EQ(to_string(7), "7");
  EXPECT_EQ(to_string(-7), "-7");
  EXPECT_EQ(to_string(1234567), "1234567");
  EXPECT_EQ(to_string(INT_MAX), "2147483647");
  EXPECT_EQ(to_string(INT_MIN), "-2147483648");
}

TEST(ToString, TakesWhatAStreamTakes) {
  EXPECT_EQ(to_string('x'), "x");
  EXPECT_EQ(to_string(0.5), "0.5");
  EXPECT_EQ(to_string(std::string("a b")), "a b");
}
