#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include "support/Process.h"

#if defined(__SANITIZE_ADDRESS__)
#define KESTREL7_SANITIZED 1
#elif defined(__has_feature)
#define KESTREL7_SANITIZED __has_feature(address_sanitizer)
#else
#define KESTREL7_SANITIZED 0
#endif

inline constexpr bool isSanitized = KESTREL7_SANITIZED;

/// The most memory that a process gets, in MiB: of address space or, where a sanitizer needs that
/// for itself, half of it for any one buffer.
inline ProcessOptions withMemory(long mebibytes) {
  if (!isSanitized) {
    return {.addressSpace = mebibytes * 1024 * 1024};
  }
  const char* const others = std::getenv("ASAN_OPTIONS");
  return {.environment = {std::string("ASAN_OPTIONS=") + (others == nullptr ? "" : others) +
                          ":allocator_may_return_null=1:abort_on_error=1:max_allocation_size_mb=" +
                          std::to_string(mebibytes / 2)}};
}

/// What a process says that ends for want of memory: the name of the exception or, from a
/// sanitizer, this in its place.
inline ::testing::Matcher<std::string> allocationFailure(const std::string& exception) {
  return ::testing::AnyOf(::testing::HasSubstr(exception),
                          ::testing::HasSubstr("AddressSanitizer: allocator is out of memory"));
}
