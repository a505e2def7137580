#pragma once

#include <array>
#include <cstddef>

#include "support/Check.h"

/// What a reader of SysEx bank files has to make of a file.
struct ExpectedSysex {
  std::array<char, 960> bank;
  std::size_t bytesRead;
};

/// Works out the bank that the bytes of `file` make of one that is full of `fill`.
ExpectedSysex expectedSysex(Bytes file, char fill);
