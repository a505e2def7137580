#include <cctype>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "files/SysexFile.h"
#include "platform/Path.h"
#include "preset/Kestrel7SysexReaderWriter.h"
#include "preset/PresetBank.h"
#include "signal/DumpRecording.h"

namespace {

int fail(const std::string& message) {
  std::fprintf(stderr, "Kestrel7SysexToTape: %s\n", message.c_str());
  return 1;
}

/// Reads the bank of the SysEx file. Returns false unless all 40 presets are there.
bool readCompleteBank(std::FILE* file, PresetBank& bank) {
  std::string bytes(sysexBankSize, '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  if (!isCompleteSysexBank(bytes)) {
    return false;
  }
  std::rewind(file);
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
  return true;
}

/// Whether the name ends in ".syx" or ".sysex", in capitals or not.
bool isNamedLikeABank(std::string path) {
  for (char& letter : path) {
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  }
  return path.ends_with(".syx") || path.ends_with(".sysex");
}

/// Whether a recording may be written to `path`: nothing is there, or a WAV file, or something that
/// holds no data, such as a pipe or a device.
bool isFreeForARecording(const std::string& path) {
  std::error_code notThere;
  if (!std::filesystem::is_regular_file(platform::pathOf(path), notThere)) {
    return true;
  }
  std::string header(12, '\0');
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return false;
  }
  header.resize(std::fread(header.data(), 1, header.size(), file));
  std::fclose(file);
  return header.size() == 12 && header.starts_with("RIFF") && header.ends_with("WAVE");
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
  if (std::filesystem::equivalent(platform::pathOf(sysexPath), platform::pathOf(wavPath),
                                  noSuchFile)) {
    return fail(wavPath + " is the bank itself");
  }
  if (isNamedLikeABank(wavPath)) {
    return fail(wavPath + " is named like a bank, not like a recording");
  }
  if (!isFreeForARecording(wavPath)) {
    return fail(wavPath + " is not a WAV file and is not replaced");
  }
  std::FILE* wav = std::fopen(wavPath.c_str(), "wb");
  if (wav == nullptr) {
    return fail("can't open " + wavPath);
  }
  if (!writeFile(wav, dumpRecording({bank.data(), bank.size()}))) {
    return fail("can't write " + wavPath);
  }
  return 0;
}
