#include "transfer/writeTransferFiles.h"

#include <cstdio>
#include <utility>

#include "preset/PresetBank.h"
#include "preset/PresetRecord.h"

std::string transferText(const char* record) {
  std::string text;
  for (const PresetField& field : presetFields) {
    text += field.key;
    text += '=';
    text += std::to_string(presetFieldValue(record, field));
    text += field.kind == FieldKind::FractionOf127 ? "/127\n" : "\n";
  }
  return text;
}

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
    std::fputs(transferText(bank + presetSize * i).c_str(), file);
    std::fclose(file);
  }
  return 0;
}
