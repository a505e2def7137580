#pragma once

#include <string>

#include "files/AudioFile.h"
#include "preset/PresetBank.h"
#include "recovery/Take.h"
#include "report/Report.h"

/// The argument that makes the program load the recording named after it as the converter does, and
/// end with the outcome. Some files end the converter by a signal, so it gets a process of its own.
inline constexpr const char* loadAsConverterOption = "--load-as-converter";

/// What that process does. Returns its exit status.
int loadAsConverter(const char* path);

/// Asks what the converter does with the recording at `path`. `format` describes that, `take` is
/// the dump found in it (null for none), `bank` what is to be read from it. Standard input, "-", is
/// not tried.
report::ConverterAnswer askConverter(const std::string& path, const AudioFormat& format,
                                     const recovery::Take* take, const PresetBank& bank);
