#include "signal/DumpRecording.h"

#include "signal/DumpSignal.h"
#include "signal/WavFile.h"

std::string dumpRecording(std::string_view bank) {
  const WavFormat format;
  return wavFile(format, pcmBytes({recordTape(dumpSignal(bank))}, format.bitsPerSample));
}
