#pragma once

#include <string>
#include <vector>

/// Whether the recording `input`, "-" for standard input, is read from the file at `path`.
bool isReadFrom(const std::string& input, const std::string& path);

/// Files that appear under their names only when all of them are complete.
class OutputFiles {
 public:
  /// With `replaceOlder`, files that are there are replaced.
  explicit OutputFiles(bool replaceOlder) : replacesOlder(replaceOlder) {}

  /// Checks that a file can be made at `path`: it is not read as one of `inputs` ("-" is standard
  /// input), was not added before, and does not exist unless older files are replaced. Creates
  /// nothing. Throws Failure.
  void add(const std::string& path, const std::vector<std::string>& inputs);

  /// Writes a content for each path, in the order of `add`. Throws Failure; no file has changed
  /// then, unless one that could be written could not be given its name.
  void write(const std::vector<std::string>& contents) const;

 private:
  void giveName(const std::string& temporary, const std::string& path) const;

  bool replacesOlder;
  std::vector<std::string> paths;
};
