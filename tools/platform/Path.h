#pragma once

#include <filesystem>
#include <string>

namespace platform {

/// The path of that name, which is in UTF-8 on Windows; the same bytes elsewhere.
inline std::filesystem::path pathOf(const std::string& name) {
  return {std::u8string(name.begin(), name.end())};
}

/// The name of a path, as programs and people write it.
inline std::string nameOf(const std::filesystem::path& path) {
  const std::u8string name = path.u8string();
  return {name.begin(), name.end()};
}

}  // namespace platform
