#include "files/SysexFile.h"

#include <cstddef>

std::string sysexBankFile(const PresetBank& bank) {
  std::string file;
  for (std::size_t record = 0; record < presetCount; ++record) {
    file += "\xF0\x7D\x07";
    file += static_cast<char>(record);
    for (std::size_t i = 0; i < presetSize; ++i) {
      const auto byte = static_cast<unsigned char>(bank[presetSize * record + i]);
      file += static_cast<char>(byte & 0x0F);
      file += static_cast<char>(byte >> 4);
    }
    file += '\xF7';
  }
  return file;
}
