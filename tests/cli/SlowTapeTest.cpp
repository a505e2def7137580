#include <gtest/gtest.h>

#include <string>

#include "cli/ProgramTest.h"
#include "signal/WavFile.h"
#include "support/TapeSimulator.h"

using SlowTape = ConverterTest;

TEST_F(SlowTape, GivesZerosAfterTheLastPresetThatIsOnIt) {
  const std::string preset = "\x81" + std::string(23, '\x02');
  const std::string bank = preset + std::string(39 * 24, '\0');
  const TapeConditions slow{.speed = 0.9};
  give("dump.wav", wavFile({}, pcmBytes({recordTape(dumpSignal(preset), slow)}, 16)));
  expectOutcome({"dump.wav", "out"},
                {.output = "reading tape data..\n", .written = transferFiles("out", bank)});
}
