#pragma once

#include <vector>

namespace recovery {

/// Two channels of one tape as one, as long as the first: at each moment each counts by how loud it
/// is there, and the second is shifted by up to 1.5 ms and turned over as it fits the first best.
/// `sampleRate` samples a second.
std::vector<float> mixChannels(const std::vector<float>& first, const std::vector<float>& second,
                               double sampleRate);

}  // namespace recovery
