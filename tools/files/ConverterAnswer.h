#pragma once

#include <string>

#include "files/AudioFile.h"
#include "preset/PresetBank.h"
#include "recovery/Take.h"
#include "report/Report.h"

/// The argument that makes the program load a recording as the converter does and end with its
/// answer, a file name after it. Some files end the converter by a signal, so that it is asked in a
/// process of its own.
inline constexpr const char* loadAsConverterOption = "--load-as-converter";

/// What that process does. Returns its exit status.
int loadAsConverter(const char* path);

/// What the converter does with the recording at `path`, of which `format` tells, and in which
/// `take` was found (null for none), where `bank` is what it should read. The path of standard
/// input is "-".
report::ConverterAnswer askConverter(const std::string& path, const AudioFormat& format,
                                     const recovery::Take* take, const PresetBank& bank);
