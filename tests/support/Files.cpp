#include "support/Files.h"

#ifdef _WIN32
#include <io.h>
#endif

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

TemporaryFolder::TemporaryFolder() {
  std::random_device random;
  do {
    folder = std::filesystem::temp_directory_path() / ("kestrel7-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(folder));
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
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
#ifdef _WIN32
  std::ptrdiff_t count = 0;
  for (int descriptor = 0; descriptor < _getmaxstdio(); ++descriptor) {
    count += _get_osfhandle(descriptor) == -1 ? 0 : 1;
  }
  return count;
#else
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
#endif
}
