#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "recovery/HalfPeriods.h"

namespace recovery {
namespace {

using testing::ElementsAre;

const std::string leader(300, '1');

/// The bits of each chain, and a dot where it ends in silence, in a signal of `leader`, then
/// half-periods: short (s), long (l), such as just pass for short (a, b) or long (c), of a length
/// between (x) or beyond (y), short and a fifth as high (w) or with a turn back at once (t).
/// Silence follows.
std::vector<std::string> chainsOf(const std::string& halfPeriods) {
  std::vector<float> samples;
  float sign = 1.0F;
  for (const char kind : std::string(12 * leader.size(), 's') + halfPeriods) {
    const std::map<char, int> lengths = {{'l', 42}, {'a', 8},  {'b', 18},
                                         {'c', 30}, {'x', 22}, {'y', 80}};
    const int length = lengths.contains(kind) ? lengths.at(kind) : 12;
    for (int i = 0; i < length; ++i) {
      const float height = kind == 'w' ? 0.2F : kind == 't' && i == 1 ? -0.2F : 1.0F;
      samples.push_back(sign * height *
                        static_cast<float>(std::sin((i + 0.5) * std::numbers::pi / length)));
    }
    sign = -sign;
  }
  samples.resize(samples.size() + 4410);
  std::vector<std::string> chains;
  for (const BitChain& chain :
       readChains(samples, 44100.0, SpeedTrack::measure(samples, 44100.0).value())) {
    chains.emplace_back();
    double end = chain.bits.front().start;
    for (const TimedBit& bit : chain.bits) {
      chains.back() += bit.value ? '1' : '0';
      EXPECT_EQ(bit.start, end);
      end = bit.end;
    }
    chains.back() += chain.endsInSilence ? "." : "";
  }
  return chains;
}

TEST(HalfPeriods, MakeChainsOfBits) {
  const std::string one(12, 's');
  const std::string zero = "llll";
  EXPECT_THAT(chainsOf(zero + one + zero + "s"), ElementsAre(leader + "010"));
  EXPECT_THAT(chainsOf("lccl" + one.substr(4) + "abts" + zero + "s"), ElementsAre(leader + "010"));
  EXPECT_THAT(chainsOf(zero + one + "s" + zero + one + "l"), ElementsAre(leader + "0", "01"));
  EXPECT_THAT(chainsOf(zero + std::string(1201, 's') + zero + one + "l"),
              ElementsAre(leader + "0" + std::string(100, '1'), "01"));
  EXPECT_THAT(chainsOf(zero + one + "lll" + one + "l"), ElementsAre(leader + "01", "1"));
  EXPECT_THAT(chainsOf(zero + one + "xsssss" + one + zero + one + "l"),
              ElementsAre(leader + "01", "101"));
  EXPECT_THAT(chainsOf(zero + one + "ylll" + one + zero + "s"), ElementsAre(leader + "01", "10"));
  EXPECT_THAT(chainsOf(zero + one + "xsssss" + one), ElementsAre(leader + "01"));
  // The silence after the last half-period leaves it open where that is weak.
  EXPECT_THAT(chainsOf(zero + "sssssssssssw"), ElementsAre(leader + "01."));
}

}  // namespace
}  // namespace recovery
