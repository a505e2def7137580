#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "models/TransferModel.h"
#include "preset/K7_PresetRevisionConverter.h"
#include "support/Banks.h"
#include "support/Check.h"
#include "support/Files.h"
#include "support/MemoryFile.h"
#include "transfer/writeTransferFiles.h"

namespace {

/// What an input asks for: how many records to write and, at times, a file that can't be opened.
struct Request {
  int count;
  int blockedRecord;  // -1 for none
};

Request requestOf(std::uint8_t choice) {
  if (choice >= 0xF8) {
    constexpr std::array<int, 4> rareCounts{40, 9, 0, -1};
    return {rareCounts[choice % 4], choice >= 0xFC ? 8 : -1};
  }
  const int count = choice % 3 + 1;
  return {count, choice >= 0x80 ? choice / 4 % count : -1};
}

/// Checks that the conversion makes of the bank what is expected, in place too.
void checkConversion(std::string bank, void (*convert)(const char*, char*),
                     const std::string& expected) {
  std::string separate(bank.size(), '\0');
  convert(bank.data(), separate.data());
  checkSame<char>(separate, expected, "converted bank");
  convert(bank.data(), bank.data());
  checkSame<char>(bank, expected, "bank converted in place");
}

void checkTransferFiles(const std::string& bank, const Request& request) {
  static const TemporaryFolder folder;
  static const CapturedOutput output;
  const bool isBlocked = request.blockedRecord >= 0 && request.blockedRecord < request.count;
  const std::string obstacle = folder / transferName(std::max(request.blockedRecord, 0));
  if (isBlocked) {
    std::filesystem::create_directory(obstacle);
  }

  const int descriptor = nextDescriptor();
  const int result = writeTransferFiles(bank.data(), request.count, folder.path());

  checkEqual(nextDescriptor(), descriptor, "next descriptor");
  checkEqual(result, isBlocked ? -1 : 0, "result of writing");
  checkSame<char>(output.take(), isBlocked ? "can't open " + obstacle + "\n" : "", "message");
  const int written = isBlocked ? request.blockedRecord : request.count;
  for (int i = 0; i < written; ++i) {
    const std::string path = folder / transferName(i);
    const std::string record = bank.substr(24 * static_cast<std::size_t>(i), 24);
    checkSame<char>(readFile(path), expectedTransferText(record), "transfer file");
    std::filesystem::remove(path);
  }
  if (isBlocked) {
    std::filesystem::remove(obstacle);
  }
  check(filesIn(folder.path()).empty(), "no other file");
}

}  // namespace

/// The first byte chooses how many records are written; the others are the bank.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  std::string bank(textOf(data + 1, size - 1).substr(0, 960));
  bank.resize(960);
  checkConversion(bank, K7_PresetRevisionConverter::convertBankRev3ToRev1, expectedRev1(bank));
  checkConversion(bank, K7_PresetRevisionConverter::convertBankRev1ToRev3, expectedRev3(bank));
  checkTransferFiles(expectedRev3(bank), requestOf(data[0]));
  return 0;
}
