#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// A new folder below the system's folder for temporary files, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  std::string path() const { return folder.string(); }

  /// The path of `name` in the folder.
  std::string operator/(std::string_view name) const { return (folder / name).string(); }

 private:
  std::filesystem::path folder;
};

/// Writes `content` to the file at `path`, byte for byte; throws if that fails.
void writeFile(const std::string& path, std::string_view content);

/// The bytes of the file at `path`; throws if it can't be read.
std::string readFile(const std::string& path);

/// The paths of all files and folders below `folder`, relative to it and sorted.
std::vector<std::string> filesIn(const std::string& folder);

/// How many files the process has open, always counted alike.
std::ptrdiff_t openFiles();
