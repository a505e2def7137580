#include "support/TapeInput.h"

#include <cstring>
#include <iterator>
#include <limits>

namespace {

using Limits = std::numeric_limits<float>;

constexpr float positiveValues[] = {0.5F, Limits::denorm_min(), Limits::max(), Limits::infinity()};
constexpr float negativeValues[] = {
    -0.5F, 0.0F, -0.0F, Limits::quiet_NaN(), -Limits::denorm_min(), -Limits::infinity()};

}  // namespace

std::vector<float> recordingOfFloats(std::string_view bytes) {
  std::vector<float> recording(bytes.size() / sizeof(float));
  if (!recording.empty()) {
    std::memcpy(recording.data(), bytes.data(), recording.size() * sizeof(float));
  }
  return recording;
}

std::vector<float> recordingOfHalfPeriods(std::string_view bytes, std::size_t longest) {
  std::vector<float> recording;
  float positive = positiveValues[0];
  float negative = negativeValues[0];
  bool isPositive = true;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto length = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    if (length == 0) {
      positive = positiveValues[second % std::size(positiveValues)];
      negative = negativeValues[second / 16 % std::size(negativeValues)];
      isPositive = !isPositive;
      continue;
    }
    if (recording.size() + std::size_t{length} * second > longest) {
      break;
    }
    for (int halfPeriod = 0; halfPeriod < second; ++halfPeriod) {
      recording.insert(recording.end(), length, isPositive ? positive : negative);
      isPositive = !isPositive;
    }
  }
  recording.shrink_to_fit();
  return recording;
}
