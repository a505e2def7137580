#include "recovery/ConverterReading.h"

#include <algorithm>

#include "tape/TapeDataReader.h"

namespace recovery {

namespace {

/// Shows where the searches for the leader and the marker end.
class SearchingReader : public TapeDataReader {
 public:
  int findData(float* sampleBuffer, int count) {
    samples = sampleBuffer;
    numSamples = static_cast<float>(count);
    constexpr int leaderOnes = 10;
    readConsec(leaderOnes - 1);
    waitforZero();
    return readPos;
  }
};

}  // namespace

PresetBank readBySigns(std::vector<float> samples) {
  TapeDataReader reader;
  reader.readPresetData(samples.data(), static_cast<int>(samples.size()));
  PresetBank bank{};
  reader.getRawPresetBankBytes(bank.data());
  return bank;
}

ConverterReading readAsConverter(const float* samples, int count, const PresetBank& bank) {
  std::vector<float> copy(samples, samples + std::max(count, 0));
  const PresetBank read = readBySigns(copy);

  ConverterReading reading;
  for (int preset = 0; preset < presetCount; ++preset) {
    const auto begin = static_cast<std::ptrdiff_t>(presetSize) * preset;
    const bool isRight =
        std::equal(read.begin() + begin, read.begin() + begin + presetSize, bank.begin() + begin);
    reading.isWrong[static_cast<std::size_t>(preset)] = !isRight;
    reading.wrongPresets += isRight ? 0 : 1;
  }
  SearchingReader searching;
  const int dataStart = searching.findData(copy.data(), count);
  reading.dataStart = dataStart < count ? dataStart / static_cast<double>(tapeSampleRate) : -1.0;
  return reading;
}

}  // namespace recovery
