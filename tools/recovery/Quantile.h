#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace recovery {

/// The value below which the part `part`, 0.0 to 1.0, of the values lies, the lower one of two.
/// There must be one; their order is lost.
template <typename Value>
Value quantile(std::vector<Value>& values, double part) {
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// The value in the middle of `values`, the upper one of two. There must be one; their order is
/// lost.
template <typename Value>
Value median(std::vector<Value>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace recovery
