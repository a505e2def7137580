#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What a reader of SysEx bank files has to make of a file.
struct ExpectedSysex {
  std::string bank;  // 960 bytes
  std::size_t bytesRead;
};

/// Works out the bank that the bytes of `file` make of one that is full of `fill`.
ExpectedSysex expectedSysex(std::string_view file, char fill);
