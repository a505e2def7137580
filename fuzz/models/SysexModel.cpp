#include "models/SysexModel.h"

#include <algorithm>

ExpectedSysex expectedSysex(std::string_view file, char fill) {
  const std::string_view complete = file.substr(0, 2119);
  const std::size_t end = std::min(complete.find('\xFF'), complete.size());

  ExpectedSysex expected{std::string(960, fill), std::min(end + 1, complete.size())};
  for (std::size_t i = 0; i < 960; ++i) {
    const std::size_t offset = 53 * (i / 24) + 4 + 2 * (i % 24);
    if (offset + 1 < end) {
      expected.bank[i] = static_cast<char>(file[offset] | file[offset + 1] << 4);
    }
  }
  return expected;
}
