#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// Takes each four bytes for a sample, as they stand in memory.
std::vector<float> recordingOfFloats(std::string_view bytes);

/// Takes each two bytes for a number of samples and how many half-periods of that length follow
/// each other. A half-period of 0 samples changes the sign as any other does; its second byte
/// chooses the values of the positive and the negative samples from there on. The recording ends
/// before it gets longer than `longest`.
std::vector<float> recordingOfHalfPeriods(std::string_view bytes, std::size_t longest);
