#pragma once

#include <span>
#include <string>

/// The bits that a tape reader holds, worked out from the lengths of the runs of samples with one
/// sign. Bits that a decode does not reach stay as they were.
struct TapeModel {
  std::string bits = std::string(7687, '\0');  // 0 or 1, in the order of the tape

  /// Decodes a recording.
  void decode(std::span<const float> samples);

  /// The 960 bytes of the bank that the bits make up.
  std::string bank() const;
};
