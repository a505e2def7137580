#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "preset/Kestrel7SysexReaderWriter.h"
#include "preset/PresetBank.h"
#include "signal/TapeSignal.h"
#include "signal/WavFile.h"

namespace {

// Of 40 presets with 4 leading bytes, 48 nibbles and 1 trailing byte each, all but the very last
// byte.
constexpr std::size_t completeBankSize = presetCount * (4 + 2 * presetSize + 1) - 1;

int fail(const std::string& message) {
  std::fprintf(stderr, "Kestrel7SysexToTape: %s\n", message.c_str());
  return 1;
}

/// Reads the bank of the SysEx file. Returns false unless all 40 presets are there.
bool readCompleteBank(std::FILE* file, PresetBank& bank) {
  std::string bytes(completeBankSize, '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  if (bytes.size() < completeBankSize || bytes.find('\xFF') != std::string::npos) {
    return false;
  }
  std::rewind(file);
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
  return true;
}

std::string recordingOf(const PresetBank& bank) {
  const HalfPeriods signal = dumpSignal({bank.data(), bank.size()});
  const WavFormat format;
  return wavFile(format, pcmBytes({recordTape(signal)}, format.bitsPerSample));
}

bool writeFile(std::FILE* file, const std::string& content) {
  const bool isWritten = std::fwrite(content.data(), 1, content.size(), file) == content.size();
  return std::fclose(file) == 0 && isWritten;
}

}  // namespace

/// Writes the tape recording of a SysEx bank file as a WAV file of 44,100 Hz, 16 bits, mono.
int main(int argc, char** argv) {
  if (argc != 3) {
    return fail("usage: Kestrel7SysexToTape bank.syx recording.wav");
  }
  const std::string sysexPath = argv[1];
  const std::string wavPath = argv[2];

  std::FILE* sysex = std::fopen(sysexPath.c_str(), "rb");
  if (sysex == nullptr) {
    return fail("can't open " + sysexPath);
  }
  PresetBank bank{};
  const bool isComplete = readCompleteBank(sysex, bank);
  std::fclose(sysex);
  if (!isComplete) {
    return fail(sysexPath + " is not a complete SysEx bank of 40 presets");
  }

  std::error_code noSuchFile;
  if (std::filesystem::equivalent(sysexPath, wavPath, noSuchFile)) {
    return fail(wavPath + " is the bank itself");
  }
  std::FILE* wav = std::fopen(wavPath.c_str(), "wb");
  if (wav == nullptr) {
    return fail("can't open " + wavPath);
  }
  if (!writeFile(wav, recordingOf(bank))) {
    return fail("can't write " + wavPath);
  }
  return 0;
}
