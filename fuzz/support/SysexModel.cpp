#include "support/SysexModel.h"

#include <algorithm>

ExpectedSysex expectedSysex(Bytes file, char fill) {
  const Bytes complete = file.first(std::min<std::size_t>(file.size(), 2119));
  const auto stop = std::find(complete.begin(), complete.end(), 0xFF);
  const auto end = static_cast<std::size_t>(stop - complete.begin());

  ExpectedSysex expected{.bank = {}, .bytesRead = stop == complete.end() ? end : end + 1};
  expected.bank.fill(fill);
  for (std::size_t preset = 0; preset < 40; ++preset) {
    for (std::size_t byte = 0; byte < 24; ++byte) {
      const std::size_t offset = 53 * preset + 4 + 2 * byte;
      if (offset + 1 < end) {
        expected.bank[24 * preset + byte] = static_cast<char>(file[offset] | file[offset + 1] << 4);
      }
    }
  }
  return expected;
}
