#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "recovery/Bank.h"
#include "recovery/DumpSearch.h"

/// What the recovery core finds in a recording.
struct Found {
  std::vector<recovery::Take> takes;
  recovery::RecordingFacts facts;
};

/// Searches interleaved samples, which the core gets so many frames at a time.
inline Found search(const std::vector<float>& samples, double sampleRate, int channels,
                    std::size_t framesAtATime = 65536) {
  recovery::DumpSearch dumps(sampleRate, channels);
  const auto step = static_cast<std::size_t>(std::max(1, channels));
  const std::size_t frames = samples.size() / step;
  for (std::size_t i = 0; i < frames; i += framesAtATime) {
    dumps.add(samples.data() + i * step, std::min(framesAtATime, frames - i));
  }
  std::vector<recovery::Take> takes = dumps.finish();
  return {std::move(takes), dumps.facts()};
}

/// Whether a preset was read as it is in `bank`, 960 bytes.
inline bool isRight(const recovery::BankReading& reading, std::string_view bank,
                    std::size_t preset) {
  const std::size_t at = presetSize * preset;
  return bank.substr(at, presetSize) == std::string_view(reading.bank.data() + at, presetSize);
}
