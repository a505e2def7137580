#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "recovery/Take.h"
#include "recovery/WaveDecoder.h"
#include "support/Random.h"

namespace recovery {
namespace {

/// The values `values`, so many times: sines of two cycles in 56 samples for a zero and of six in
/// 48 for a one.
struct Signal {
  void append(std::string_view values, int times) {
    for (std::size_t i = 0; i < values.size() * static_cast<std::size_t>(times); ++i) {
      const bool isOne = values[i % values.size()] == '1';
      const int length = isOne ? 48 : 56;
      const double halfPeriods = isOne ? 12.0 : 4.0;
      bits.push_back({static_cast<int>(tape.samples.size()), length, isOne, 0.0F, 1.0F, 1.0F});
      for (int n = 0; n < length; ++n) {
        tape.samples.push_back(
            static_cast<float>(std::sin(halfPeriods * std::numbers::pi * n / length)));
      }
    }
  }

  /// A decoder that has learned the waves of the bits.
  WaveDecoder decoder() {
    tape.zeroLength = 56.0;
    tape.samples.resize(tape.samples.size() + 200);
    Waves waves(lengthsOf(tape));
    EXPECT_TRUE(waves.learn(tape.samples, bits));
    return {tape, waves, 1.0e-4, 1.0};
  }

  TapeSignal tape;
  std::vector<PathBit> bits;
};

std::vector<PathBit> weighedBits(WaveDecoder& decoder) {
  decoder.weigh(decoder.forward());
  std::vector<PathBit> bits = decoder.forward();
  decoder.setMargins(bits);
  return bits;
}

TEST(WaveDecoder, WeighsScoresByTheNoiseAround) {
  // Of a one: 48 samples of 1 / 0.015, halved, over 2 or the noise in its samples, which is
  // 0.1 / (1.1 * 0.015); an excess of it counts in three bits to either side, by a seventh.
  const struct {
    std::size_t from, to;  // the bits with noise, 10 dB below the tones
    std::size_t bit;
    double margin;
  } rows[] = {{0, 0, 102, 800.0},
              {0, 240, 106, 240.0},
              {102, 103, 102, 180.0},
              {102, 103, 105, 560.0},
              {102, 103, 106, 800.0}};
  for (const auto& [from, to, bit, margin] : rows) {
    Signal signal;
    signal.append("01101011", 30);
    Random random(1);
    for (std::size_t k = from; k < to; ++k) {
      for (int i = 0; i < signal.bits[k].length; ++i) {
        signal.tape.samples[static_cast<std::size_t>(signal.bits[k].start + i)] +=
            0.2236F * random.normal();
      }
    }
    WaveDecoder decoder = signal.decoder();
    const std::vector<PathBit> bits = weighedBits(decoder);
    EXPECT_NEAR(bits[bit].margin, margin, 0.25 * margin) << bit << " of " << from << " to " << to;
  }
}

TEST(WaveDecoder, MeasuresHowFarLengthsStray) {
  Signal signal;
  signal.append("01", 50);
  for (std::size_t k = 0; k < signal.bits.size(); ++k) {
    signal.bits[k].length += k % 4 < 2 ? 2 : -2;
  }
  EXPECT_NEAR(signal.decoder().measureSlack(signal.bits), 1.5, 0.001);  // three quarters
}

TEST(WaveDecoder, HoldsFirmBitsWhereTheyAre) {
  for (const float fit : {0.9F, 0.5F}) {
    Signal signal;
    signal.append("0001", 8);
    signal.append("1", 60);
    WaveDecoder decoder = signal.decoder();
    std::vector<PathBit> moved = decoder.forward();
    for (std::size_t k = 50; k < 90; ++k) {
      moved[k].start += 8;  // a cycle, after which the tone is the same
      moved[k].fit = fit;
    }
    decoder.weigh(moved);
    EXPECT_EQ(decoder.forward()[70].start == moved[70].start, fit > 0.7F);
  }
}

std::string valuesOf(const std::vector<PathBit>& bits) {
  std::string values;
  for (const PathBit& bit : bits) {
    values += bit.value ? '1' : '0';
  }
  return values;
}

/// The weak stretches of bits, 96 to 102 of them ones, of which those from `from` on are silent.
std::vector<WeakStretch> stretchesOf(std::size_t from, std::size_t to) {
  Signal signal;
  signal.append("01101011", 12);
  signal.append("1", 7);
  signal.append("01101011", 18);
  const auto samples = signal.tape.samples.begin();
  std::fill(samples + signal.bits[from].start, samples + signal.bits[to].start, 0.0F);
  WaveDecoder decoder = signal.decoder();
  return decoder.findWeakStretches(weighedBits(decoder));
}

TEST(WaveDecoder, ReadsWeakStretchesInOtherWays) {
  const std::vector<WeakStretch> ofOneBit = stretchesOf(20, 21);
  ASSERT_EQ(ofOneBit.size(), 1U);
  EXPECT_EQ(ofOneBit[0].begin, 18U);
  EXPECT_EQ(valuesOf(ofOneBit[0].readings[farthestSlip].bits), "10101");
  EXPECT_EQ(valuesOf(ofOneBit[0].other), "10001");

  // Seven ones last as long as six zeros.
  const std::vector<WeakStretch> ofSeven = stretchesOf(96, 103);
  ASSERT_EQ(ofSeven.size(), 1U);
  EXPECT_EQ(valuesOf(ofSeven[0].readings[farthestSlip].bits), "1100000001");
  EXPECT_EQ(valuesOf(ofSeven[0].readings[farthestSlip + 1].bits), "11111111101");
  EXPECT_LT(ofSeven[0].readings[farthestSlip + 1].cost, 1.0F);
  EXPECT_GT(ofSeven[0].readings[farthestSlip - 1].cost, sureMargin);

  EXPECT_EQ(stretchesOf(60, 161).size(), 0U);  // No dump goes on there.
}

}  // namespace
}  // namespace recovery
