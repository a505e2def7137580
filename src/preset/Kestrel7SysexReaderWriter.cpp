#include "preset/Kestrel7SysexReaderWriter.h"

#include "preset/PresetBank.h"

namespace {

constexpr int leadingBytes = 4;
constexpr int bytesBetweenPresets = 5;  // a trailing byte and the next four leading bytes
constexpr int nibblesPerPreset = 2 * presetSize;
constexpr int largestByteCount = 2998;

char joinNibbles(signed char low, signed char high) { return static_cast<char>(low | high << 4); }

}  // namespace

void Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(std::FILE* file, char* bank) {
  int bytesConsumed = 0;
  int bytesToSkip = leadingBytes;
  int dataIndex = 0;
  int presetsCompleted = 0;
  int outputPosition = 0;
  signed char pending = 0;

  while (true) {
    // Held as a signed character, a byte 0xFF is -1 and ends the reading like the end of the file.
    const auto byte = static_cast<signed char>(std::fgetc(file));
    if (byte == -1) {
      return;
    }
    // A guard that costs nothing: the last preset is complete long before.
    // GCOVR_EXCL_START no file reaches it
    if (bytesConsumed > largestByteCount) {
      std::printf("file too large to be a k7 sysex bank");
      return;
    }
    // GCOVR_EXCL_STOP
    ++bytesConsumed;
    if (bytesToSkip > 0) {
      --bytesToSkip;
      continue;
    }

    if (dataIndex % 2 == 0) {
      pending = byte;
    } else {
      bank[outputPosition++] = joinNibbles(pending, byte);
    }
    if (++dataIndex == nibblesPerPreset) {
      if (++presetsCompleted == presetCount) {
        return;
      }
      dataIndex = 0;
      bytesToSkip = bytesBetweenPresets;
    }
  }
}

void Kestrel7SysexReaderWriter::writeBankSysexFile(std::FILE* /*file*/, const char* /*bank*/) {}
