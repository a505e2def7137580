#include "platform/Platform.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "platform/Shared.h"

namespace platform {

namespace {

constexpr std::size_t longestPart = 1 << 30;  // bytes, more than which some systems refuse
constexpr std::int64_t longestCopy = std::int64_t{4} << 30;  // bytes

void writeFully(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const auto part = ::write(fd, bytes, static_cast<unsigned>(std::min(size, longestPart)));
    if (part < 0 && errno != EINTR) {
      failCopying(words(errno));
    }
    const std::size_t count = part < 0 ? 0 : static_cast<std::size_t>(part);
    bytes += count;
    size -= count;
  }
}

std::size_t readInput(int fd, char* bytes, std::size_t size) {
  try {
    return readFully(fd, bytes, size);
  } catch (const std::system_error& error) {
    throw InputFault(error.code().message(), "look where it comes from");
  }
}

}  // namespace

std::string words(int error) { return std::generic_category().message(error); }

void failWith(int error) { throw std::system_error(error, std::generic_category()); }

void failWithErrno() { failWith(errno); }

std::size_t readFully(int fd, char* bytes, std::size_t size) {
  std::size_t count = 0;
  while (count < size) {
    const auto part =
        ::read(fd, bytes + count, static_cast<unsigned>(std::min(size - count, longestPart)));
    if (part == 0) {
      break;
    }
    if (part < 0 && errno != EINTR) {
      failWithErrno();
    }
    count += part < 0 ? 0 : static_cast<std::size_t>(part);
  }
  return count;
}

void copyInput(int fd, int copy) {
  std::array<char, 65536> block{};
  std::int64_t size = 0;
  while (const std::size_t count = readInput(fd, block.data(), block.size())) {
    size += static_cast<std::int64_t>(count);
    if (size > longestCopy) {
      throw InputFault("more than 4 GiB come from it", "save it as a file and name that");
    }
    writeFully(copy, block.data(), count);
  }
  ::lseek(copy, 0, SEEK_SET);
}

bool standardErrorIsTerminal() { return ::isatty(STDERR_FILENO) != 0; }

Descriptor::~Descriptor() {
  if (fd >= 0) {
    ::close(fd);
  }
}

ChildProcess::~ChildProcess() {
  if (process > 0) {
    output = Descriptor();
    wait();
  }
}

std::size_t ChildProcess::read(char* bytes, std::size_t size) {
  return readFully(output.get(), bytes, size);
}

}  // namespace platform
