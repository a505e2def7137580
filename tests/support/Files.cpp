#include "support/Files.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "kestrel7-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("can't make a temporary folder");
  }
  folder = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

void writeFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  if (!file.flush()) {
    throw std::runtime_error("can't write " + path);
  }
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("can't read " + path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    names.push_back(entry.path().lexically_relative(folder).string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::ptrdiff_t openFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
