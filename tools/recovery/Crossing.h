#pragma once

namespace recovery {

/// Where a signal crosses zero between two samples of different sign, as a part of the way from the
/// one to the other.
inline double crossingBetween(float before, float after) {
  return static_cast<double>(before) / (static_cast<double>(before) - static_cast<double>(after));
}

}  // namespace recovery
