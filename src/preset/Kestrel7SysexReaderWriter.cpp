#include "preset/Kestrel7SysexReaderWriter.h"

#include "preset/PresetBank.h"

namespace {

constexpr int leadingBytes = 4;   // before the data of each record
constexpr int trailingBytes = 1;  // after the data of each record
constexpr int largestByteCount = 2998;

/// Reads a bank file byte by byte.
class ByteReader {
 public:
  explicit ByteReader(std::FILE* bankFile) : file(bankFile) {}

  /// Puts the next byte into `byte`. Returns false where the reading ends.
  bool read(signed char& byte) {
    // As a signed character, a byte 0xFF is -1 and ends the reading like the end of the file.
    byte = static_cast<signed char>(std::fgetc(file));
    if (byte == -1) {
      return false;
    }
    // A guard that costs nothing: a whole bank is shorter.
    if (bytesConsumed > largestByteCount) {
      std::printf("file too large to be a k7 sysex bank");
      return false;
    }
    ++bytesConsumed;
    return true;
  }

  /// Skips `count` bytes, whatever they are. Returns false where the reading ends.
  bool skip(int count) {
    signed char byte;
    while (count > 0 && read(byte)) {
      --count;
    }
    return count == 0;
  }

 private:
  std::FILE* file;
  int bytesConsumed = 0;
};

/// The upper half of `low` gets into the byte, that of `high` does not.
char joinNibbles(signed char low, signed char high) { return static_cast<char>(low | high << 4); }

}  // namespace

void Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(std::FILE* file, char* bank) {
  ByteReader reader(file);
  for (int record = 0; record < presetCount; ++record) {
    // The last trailing byte is never read.
    if (!reader.skip(record == 0 ? leadingBytes : trailingBytes + leadingBytes)) {
      return;
    }
    for (int i = 0; i < presetSize; ++i) {
      signed char low;
      signed char high;
      if (!reader.read(low) || !reader.read(high)) {
        return;
      }
      *bank++ = joinNibbles(low, high);
    }
  }
}

void Kestrel7SysexReaderWriter::writeBankSysexFile(std::FILE* /*file*/, const char* /*bank*/) {}
