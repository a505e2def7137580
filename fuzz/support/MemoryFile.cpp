#include "support/MemoryFile.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

MemoryFile::MemoryFile() : descriptor(memfd_create("fuzz-input", 0)) {
  if (descriptor < 0) {
    throw std::runtime_error("can't make a file in memory");
  }
}

MemoryFile::~MemoryFile() { close(descriptor); }

std::string MemoryFile::path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

void MemoryFile::write(std::string_view content) const {
  const auto size = static_cast<ssize_t>(content.size());
  if (ftruncate(descriptor, 0) != 0 ||
      pwrite(descriptor, content.data(), content.size(), 0) != size) {
    throw std::runtime_error("can't write a file in memory");
  }
}

std::string MemoryFile::read() const {
  struct stat status = {};
  fstat(descriptor, &status);
  std::string content(static_cast<std::size_t>(status.st_size), '\0');
  if (pread(descriptor, content.data(), content.size(), 0) != status.st_size) {
    throw std::runtime_error("can't read a file in memory");
  }
  return content;
}

int nextDescriptor() {
  const int descriptor = dup(STDERR_FILENO);
  close(descriptor);
  return descriptor;
}

CapturedOutput::CapturedOutput() { dup2(descriptor, STDOUT_FILENO); }

std::string CapturedOutput::take() const {
  std::fflush(stdout);
  std::string output = read();
  if (!output.empty()) {
    write({});
    lseek(descriptor, 0, SEEK_SET);
  }
  return output;
}
