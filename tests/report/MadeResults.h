#pragma once

#include <string>
#include <vector>

#include "report/Report.h"

/// The results of a clean recording of `dumpStart` + 27.6 seconds, made by hand: a mono WAV file of
/// 44,100 Hz and 16 bits with one dump that begins with a leader of 100 bits; all bytes of the bank
/// are 0x55, all presets sure, and the converter reads it right.
report::Results madeResults(double dumpStart = 1.0);

/// Makes the preset with the index `record` doubtful for `reason`, its first bit the least sure
/// one.
void makeDoubtful(report::Results& results, int record, recovery::Reason reason);

/// The causes that are stated of the first recording, but for the one that claims nothing.
std::vector<std::string> statedCauses(const report::Results& results);
