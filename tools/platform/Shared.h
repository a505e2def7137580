#pragma once

#include <cstddef>
#include <string>

// What the code for each system shares; nothing else uses it.
namespace platform {

/// Throws std::system_error.
[[noreturn]] void failWith(int error);
[[noreturn]] void failWithErrno();

/// Reads until `size` bytes are there or the end is reached. Throws std::system_error.
std::size_t readFully(int fd, char* bytes, std::size_t size);

/// Copies all that can be read from `fd` to `copy`, which is new, and goes back to its beginning.
/// Throws InputFault.
void copyInput(int fd, int copy);

/// Throws InputFault: the temporary file of a copy can't be made or written. Each system has its
/// own words.
[[noreturn]] void failCopying(const std::string& reason);

}  // namespace platform
