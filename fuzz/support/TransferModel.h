#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

using Record = std::array<char, 24>;

/// The record in the other revision's arrangement, worked out from where each setting stands in
/// both.
Record expectedRev3Record(const Record& rev1);
Record expectedRev1Record(const Record& rev3);

/// Reads a transfer file back into the revision-3 record; bit 7 of bytes 22 and 23 stays 0. Ends
/// the run with a finding at the first line that is not the one that has to stand there.
Record recordOfTransferFile(std::string_view text);
