#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "preset/Kestrel7SysexReaderWriter.h"
#include "support/Check.h"
#include "support/MemoryFile.h"
#include "support/SysexModel.h"

namespace {

constexpr char fill = '\xAA';
constexpr std::size_t guardSize = 64;

bool isFill(char byte) { return byte == fill; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile memory;
  static const CapturedOutput output;
  const ExpectedSysex expected = expectedSysex({data, size}, fill);
  memory.write({data, size});
  std::FILE* file = std::fopen(memory.path().c_str(), "rb");
  check(file != nullptr, "the file opens");

  std::array<char, guardSize + 960 + guardSize> guardedBank;
  guardedBank.fill(fill);
  char* const bank = guardedBank.data() + guardSize;
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank);

  checkSame<char>({bank, 960}, expected.bank, "bank");
  check(std::all_of(guardedBank.data(), bank, isFill), "nothing written before the bank");
  check(std::all_of(bank + 960, bank + 960 + guardSize, isFill), "nothing written after the bank");
  checkEqual(std::ftell(file), static_cast<long>(expected.bytesRead), "bytes read");
  check(output.take().empty(), "nothing printed");
  std::fclose(file);
  return 0;
}
