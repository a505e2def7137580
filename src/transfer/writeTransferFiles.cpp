#include "transfer/writeTransferFiles.h"

#include <cstdio>
#include <utility>

#include "preset/PresetBank.h"
#include "preset/PresetRecord.h"

namespace {

const char* lineFormat(FieldKind kind) {
  return kind == FieldKind::FractionOf127 ? "%s=%d/127\n" : "%s=%d\n";
}

void writeRecord(std::FILE* file, const char* record) {
  for (const PresetField& field : presetFields) {
    std::fprintf(file, lineFormat(field.kind), field.key, presetFieldValue(record, field));
  }
}

}  // namespace

int writeTransferFiles(const char* bank, int count, std::string outputFolder) {
  // The "/" is added even after a folder that ends in one.
  static const std::string separator = "/";
  const std::string pathStart = std::move(outputFolder) + separator + "preset";

  for (int i = 0; i < count; ++i) {
    const std::string path =
        pathStart + to_string(presetGroup(i)) + "-" + to_string(presetNumber(i)) + ".txt";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
      std::printf("can't open %s\n", path.c_str());
      return -1;
    }
    writeRecord(file, bank + presetSize * i);
    std::fclose(file);
  }
  return 0;
}
