#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace corvana::support {

/// Sets environment variables and puts them back at the end.
class Environment {
 public:
  Environment() = default;
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    for (const auto& [name, value] : previous_) apply(name, value);
  }

  /// Nothing as the value takes the variable away.
  void set(const std::string& name, std::optional<std::string> value) {
    const char* old = std::getenv(name.c_str());
    previous_.try_emplace(name, old == nullptr ? std::nullopt : std::optional<std::string>(old));
    apply(name, value);
  }

 private:
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value) {
      ::setenv(name.c_str(), value->c_str(), 1);
    } else {
      ::unsetenv(name.c_str());
    }
  }

  std::map<std::string, std::optional<std::string>> previous_;
};

/// A fresh folder that serves as the home directory, alone in sight: no application or browser of the system is.
class TemporaryHome {
 public:
  TemporaryHome() {
    std::string name = std::filesystem::temp_directory_path() / "corvana-test.XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
    environment.set("HOME", name);
    environment.set("XDG_DATA_DIRS", "/nonexistent");
    for (const char* variable :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "CHROME_CONFIG_HOME", "CHROME_USER_DATA_DIR"}) {
      environment.set(variable, std::nullopt);
    }
  }
  ~TemporaryHome() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

  /// Writes a file below the home directory, with the folders above it.
  std::filesystem::path write(const std::filesystem::path& relative, const std::string& content) const {
    const std::filesystem::path file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

  /// Writes the desktop entry of an application with that Exec line and further lines.
  std::filesystem::path writeDesktopEntry(const std::string& desktopID, const std::string& exec,
                                          const std::string& more = "") const {
    return write(".local/share/applications/" + desktopID,
                 "[Desktop Entry]\nType=Application\nName=Some Browser\nExec=" + exec + "\n" + more);
  }

  Environment environment;

 private:
  std::filesystem::path path_;
};

inline std::string readFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace corvana::support
