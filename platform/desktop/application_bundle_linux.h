#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// An application that is a bundle "X.app", as the product's own ones are.
struct ApplicationBundle {
  std::filesystem::path path;
  std::string identifier;
  /// The program in Contents/MacOS.
  std::filesystem::path executable;

  /// Nothing when the folder is no bundle with an identifier and an executable.
  static std::optional<ApplicationBundle> read(const std::filesystem::path& path);

  /// The bundle that a program lies in, if its place is that of a bundle's program.
  static std::optional<ApplicationBundle> of(const std::filesystem::path& program);

  /// This user's processes whose program lies in a bundle with that identifier, wherever that is.
  static std::vector<pid_t> processes(std::string_view identifier);

  /// Whether one of them runs from this very bundle.
  bool isRunning() const;
};

}  // namespace corvana
