#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include "recovery/SpeedTrack.h"

namespace recovery {
namespace {

TEST(SpeedTrack, HoldsTheSpeedThatWas) {
  std::vector<float> samples;  // 2 s of 1,600 Hz and 2 s of 1,900 Hz
  for (int i = 0; i < 64000; ++i) {
    samples.push_back(
        static_cast<float>(std::sin(i * (i < 32000 ? 0.2 : 0.2375) * std::numbers::pi)));
  }
  std::optional<SpeedTrack> track = SpeedTrack::measure(samples, 16000.0);
  ASSERT_TRUE(track);
  EXPECT_NEAR(track->shortHalfPeriod(1.0), 0.5 / 1600.0, 1.0e-6);
  EXPECT_NEAR(track->shortHalfPeriod(3.0), 0.5 / 1900.0, 1.0e-6);
  track->holdAfter(1.5);
  EXPECT_NEAR(track->shortHalfPeriod(3.0), 0.5 / 1600.0, 1.0e-6);
}

}  // namespace
}  // namespace recovery
