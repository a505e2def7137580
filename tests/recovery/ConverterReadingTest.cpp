#include <gtest/gtest.h>

#include <vector>

#include "recovery/ConverterReading.h"
#include "support/Banks.h"
#include "support/TapeSimulator.h"

namespace recovery {
namespace {

TEST(ConverterReadingTest, NamesTheWrongPresets) {
  PresetBank bank = randomBank(1);
  const std::vector<float> samples = recordTape(dumpSignal(bytesOf(bank), 20), {.silence = 0.5});
  bank[24 * 7] ^= 1;
  bank[24 * 39 + 23] ^= 1;
  const ConverterReading reading =
      readAsConverter(samples.data(), static_cast<int>(samples.size()), bank);
  EXPECT_EQ(reading.wrongPresets, 2);
  EXPECT_TRUE(reading.isWrong[7]);
  EXPECT_TRUE(reading.isWrong[39]);
  // Half a second, 20 one bits of 144 samples, a zero of 168
  EXPECT_NEAR(reading.dataStart, 0.5 + (20 * 144 + 168) / 44100.0, 0.001);
  EXPECT_EQ(readAsConverter(samples.data(), 20000, bank).dataStart, -1.0);
}

}  // namespace
}  // namespace recovery
