#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "models/SysexModel.h"
#include "preset/Kestrel7SysexReaderWriter.h"
#include "support/Check.h"
#include "support/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile memory;
  static const CapturedOutput output;
  constexpr char fill = '\xAA';
  const std::string guard(64, fill);
  const ExpectedSysex expected = expectedSysex(textOf(data, size), fill);
  memory.write(textOf(data, size));
  std::FILE* file = std::fopen(memory.path().c_str(), "rb");
  if (file == nullptr) {
    std::abort();
  }

  std::string guardedBank(guard.size() + 960 + guard.size(), fill);
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, guardedBank.data() + guard.size());

  checkSame<char>(guardedBank, guard + expected.bank + guard, "bank and what surrounds it");
  checkEqual(std::ftell(file), static_cast<long>(expected.bytesRead), "bytes read");
  check(output.take().empty(), "nothing printed");
  std::fclose(file);
  return 0;
}
