
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "preset/K7_PresetRevisionConverter.h"
#include "support/Check.h"
#include "support/MemoryFile.h"
#include "support/TransferModel.h"
#include "transfer/writeTransferFiles.h"

namespace {

using Bank = std::array<char, 960>;
using BankConversion = void (*)(const char* source, char* destination);
using RecordConversion = Record (*)(const Record& source);

/// A folder that lives as long as the process.
class OutputFolder {
 public:
  OutputFolder() {
    std::string name = std::filesystem::temp_directory_path() / "kestrel7-fuzz-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("can't make a temporary folder");
    }
    folder = name;
  }
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;
  ~OutputFolder() { std::filesystem::remove_all(folder); }

  const std::string& path() const { return folder; }

  bool isEmpty() const { return std::filesystem::is_empty(folder); }

 private:
  std::string folder;
};

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

Bank bankOf(Bytes bytes) {
  Bank bank{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), bank.size()), bank.begin());
  return bank;
}

Record recordOf(const Bank& bank, int index) {
  Record record;
  std::copy_n(bank.begin() + 24 * index, record.size(), record.begin());
  return record;
}

/// Checks that the conversion makes of each record what is expected, in place too. Returns the
/// converted bank.
Bank checkConversion(const Bank& source, BankConversion convert, RecordConversion expectedRecord) {
  Bank separate;
  convert(source.data(), separate.data());
  Bank inPlace = source;
  convert(inPlace.data(), inPlace.data());

  checkSame<char>(inPlace, separate, "bank converted in place");
  for (int i = 0; i < 40; ++i) {
    checkSame<char>(recordOf(separate, i), expectedRecord(recordOf(source, i)), "converted record");
  }
  return separate;
}

std::string fileName(int record) {
  return "/preset" + std::to_string(record / 8 + 1) + "-" + std::to_string(record % 8 + 1) + ".txt";
}

void checkTransferFile(const std::string& path, Record record) {
  std::ifstream file(path, std::ios::binary);
  check(file.good(), "a transfer file for each record");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  record[22] &= 0x7F;
  record[23] &= 0x7F;
  checkSame<char>(recordOfTransferFile(text), record, "record in a transfer file");
}

void checkTransferFiles(const Bank& bank, const Request& request) {
  static const OutputFolder folder;
  static const CapturedOutput output;
  const bool isBlocked = request.blockedRecord >= 0 && request.blockedRecord < request.count;
  const std::string obstacle = folder.path() + fileName(std::max(request.blockedRecord, 0));
  if (isBlocked) {
    std::filesystem::create_directory(obstacle);
  }

  const int descriptor = nextDescriptor();
  const int result = writeTransferFiles(bank.data(), request.count, folder.path());

  checkEqual(nextDescriptor(), descriptor, "next descriptor");
  checkEqual(result, isBlocked ? -1 : 0, "result of writing");
  const std::string message = isBlocked ? "can't open " + obstacle + "\n" : "";
  checkSame<char>(output.take(), message, "message");
  const int written = isBlocked ? request.blockedRecord : request.count;
  for (int i = 0; i < written; ++i) {
    const std::string path = folder.path() + fileName(i);
    checkTransferFile(path, recordOf(bank, i));
    std::filesystem::remove(path);
  }
  if (isBlocked) {
    std::filesystem::remove(obstacle);
  }
  check(folder.isEmpty(), "no other file");
}

}  // namespace

/// The first byte chooses how many records are written; the others are the bank.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const Bank bank = bankOf({data + 1, size - 1});
  checkConversion(bank, K7_PresetRevisionConverter::convertBankRev3ToRev1, expectedRev1Record);
  const Bank converted =
      checkConversion(bank, K7_PresetRevisionConverter::convertBankRev1ToRev3, expectedRev3Record);
  checkTransferFiles(converted, requestOf(data[0]));
  return 0;
}
