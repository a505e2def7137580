#include "files/OutputFiles.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "files/Failure.h"
#include "platform/Path.h"
#include "platform/Platform.h"

namespace fs = std::filesystem;

using platform::nameOf;
using platform::pathOf;
using platform::words;

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(Status::FileFault, "can't write " + path + ": " + reason);
}

[[noreturn]] void failToExist(const std::string& path) {
  fail(path, "it exists; take another name, or --force to replace it");
}

fs::path folderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// Whether two paths name one place, where there need not be a file yet.
bool areSamePlace(const fs::path& a, const fs::path& b) {
  std::error_code noSuchFile;
  return a.filename() == b.filename() && fs::equivalent(folderOf(a), folderOf(b), noSuchFile);
}

/// A file under a name of its own until it is complete.
class TemporaryFile {
 public:
  /// Creates it in the folder of `path`, for which it is meant, and writes `content`.
  TemporaryFile(const std::string& path, const std::string& content) {
    std::FILE* const file = create(folderOf(pathOf(path)));
    if (file == nullptr) {
      fail(path, words(errno) + "; take another folder");
    }
    errno = 0;
    const bool isWritten = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    const int writeError = errno;
    if (std::fclose(file) != 0 || !isWritten) {
      const int error = isWritten ? errno : writeError;
      remove();
      fail(path, words(error) + "; make room or take another folder");
    }
  }
  ~TemporaryFile() { remove(); }
  TemporaryFile(TemporaryFile&& other) noexcept : name(std::exchange(other.name, {})) {}
  TemporaryFile& operator=(TemporaryFile&&) = delete;

  const std::string& path() const { return name; }

 private:
  std::FILE* create(const fs::path& folder) {
    std::random_device random;
    std::FILE* file = nullptr;
    do {
      name = nameOf(folder / (".kestrel7-" + std::to_string(random()) + ".part"));
      file = platform::createNewFile(name);
    } while (file == nullptr && errno == EEXIST);
    return file;
  }

  void remove() const {
    std::error_code isGone;
    fs::remove(pathOf(name), isGone);
  }

  std::string name;
};

}  // namespace

bool isReadFrom(const std::string& input, const std::string& path) {
  if (input == "-") {
    return platform::standardInputIs(path);
  }
  std::error_code noSuchFile;
  return fs::equivalent(pathOf(input), pathOf(path), noSuchFile);
}

void OutputFiles::add(const std::string& path, const std::vector<std::string>& inputs) {
  for (const std::string& other : paths) {
    if (areSamePlace(pathOf(path), pathOf(other))) {
      throw Failure(Status::WrongUsage, path + " is to be written twice; take two names");
    }
  }
  for (const std::string& input : inputs) {
    if (isReadFrom(input, path)) {
      fail(path, "it is a recording that is read; take another name");
    }
  }
  std::error_code error;
  const fs::file_status older = fs::symlink_status(pathOf(path), error);
  if (older.type() == fs::file_type::none) {
    fail(path, error.message());
  }
  if (fs::exists(older)) {
    if (!replacesOlder) {
      failToExist(path);
    }
    if (older.type() != fs::file_type::regular) {
      fail(path, "what is there is not a file; take another name");
    }
  }
  const fs::path folder = folderOf(pathOf(path));
  if (!fs::is_directory(folder, error)) {
    fail(path, "there is no folder " + nameOf(folder) + "; make it or take another");
  }
  if (!platform::mayWriteIn(nameOf(folder))) {
    fail(path, "its folder may not be written to; take another");
  }
  paths.push_back(path);
}

void OutputFiles::write(const std::vector<std::string>& contents) const {
  const platform::SignalsLater untilAllIsDone;
  std::vector<TemporaryFile> files;
  files.reserve(paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    files.emplace_back(paths[i], contents[i]);
  }
  for (std::size_t i = 0; i < paths.size(); ++i) {
    giveName(files[i].path(), paths[i]);
  }
}

void OutputFiles::giveName(const std::string& temporary, const std::string& path) const {
  std::error_code error;
  if (!replacesOlder) {
    // Unlike a renaming, a link never takes the place of a file that came up meanwhile.
    fs::create_hard_link(pathOf(temporary), pathOf(path), error);
    if (!error) {
      return;
    }
    if (fs::exists(fs::symlink_status(pathOf(path), error))) {
      failToExist(path);
    }
    // A file system without links.
  }
  fs::rename(pathOf(temporary), pathOf(path), error);
  if (error) {
    fail(path, error.message() + "; take another name");
  }
}
