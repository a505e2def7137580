#include "files/SysexFile.h"

namespace {

constexpr char messageStart = '\xF0';
constexpr char messageEnd = '\xF7';

}  // namespace

bool isCompleteSysexBank(std::string_view bytes) {
  if (bytes.size() < sysexBankSize - 1 || bytes.find('\xFF') < sysexBankSize - 1) {
    return false;
  }
  for (std::size_t start = 0; start < sysexBankSize; start += sysexMessageSize) {
    const std::size_t end = start + sysexMessageSize - 1;
    if (bytes[start] != messageStart || (end < bytes.size() && bytes[end] != messageEnd)) {
      return false;
    }
  }
  return true;
}

std::string sysexBankFile(const PresetBank& bank) {
  std::string file;
  for (std::size_t record = 0; record < presetCount; ++record) {
    file += messageStart;
    file += "\x7D\x07";
    file += static_cast<char>(record);
    for (std::size_t i = 0; i < presetSize; ++i) {
      const auto byte = static_cast<unsigned char>(bank[presetSize * record + i]);
      file += static_cast<char>(byte & 0x0F);
      file += static_cast<char>(byte >> 4);
    }
    file += messageEnd;
  }
  return file;
}
