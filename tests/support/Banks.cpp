#include "support/Banks.h"

#include <random>

#include "models/SysexModel.h"

PresetBank randomBank(std::uint32_t seed) {
  std::mt19937 random(seed);
  PresetBank bank;
  for (char& byte : bank) {
    byte = static_cast<char>(random() >> 24);
  }
  return bank;
}

std::string bytesOf(const PresetBank& bank) { return {bank.data(), bank.size()}; }

std::string recordWith(std::size_t byte, char value) {
  std::string record(24, '\0');
  record[byte] = value;
  return record;
}

std::string sysexFile(std::string_view bank) {
  std::string file;
  for (std::size_t preset = 0; preset < 40; ++preset) {
    file += "\xF0\x7D\x07";
    file += static_cast<char>(preset);
    for (const char byte : bank.substr(24 * preset, 24)) {
      file += static_cast<char>(byte & 0x0F);
      file += static_cast<char>(byte >> 4 & 0x0F);
    }
    file += '\xF7';
  }
  return file;
}

std::string bankOf(std::string_view sysex) { return expectedSysex(sysex, '\0').bank; }

std::string transferName(int record) {
  return "preset" + std::to_string(record / 8 + 1) + "-" + std::to_string(record % 8 + 1) + ".txt";
}
