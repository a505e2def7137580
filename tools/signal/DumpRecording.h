#pragma once

#include <string>
#include <string_view>

/// The WAV file of a clean recording of the dump of `bank`, 960 bytes: 44,100 Hz, 16 bits, mono.
std::string dumpRecording(std::string_view bank);
