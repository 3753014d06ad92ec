#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// What an application's file says about it. Texts are empty where it does not.
struct ApplicationInfo {
  std::string bundleIdentifier;
  /// The name that people know the file by: "Google Chrome" for "Google Chrome.app", a desktop entry's own name.
  std::string name;
  std::string displayName;
  std::string bundleName;
  std::string version;

  bool operator==(const ApplicationInfo&) const = default;
};

/// What the system lets applications be the handlers of: links by their scheme ("https"), and files by their content
/// type, a uniform type identifier ("public.html"; on Linux the media type that stands for the same).
struct Handled {
  enum class Kind { scheme, contentType };

  Kind kind;
  std::string name;

  auto operator<=>(const Handled&) const = default;
};

/// The system's registry of which application opens what. Applications are located as by Workspace. Main thread; calls
/// read files and may take milliseconds.
class ApplicationHandlers {
 public:
  using Completion = std::function<void(std::optional<std::string> error)>;

  virtual ~ApplicationHandlers() = default;

  /// All applications that can open it, in the system's order, the preferred one first.
  virtual std::vector<std::filesystem::path> applications(const Handled& handled) = 0;

  /// The one that does open it.
  virtual std::optional<std::filesystem::path> defaultApplication(const Handled& handled) = 0;

  /// Makes the application the one that opens it; `completion` is called exactly once, on the main thread and never
  /// inside this call, with what went wrong or nothing. The system may ask the user first.
  virtual void setDefaultApplication(const std::filesystem::path& application, const Handled& handled,
                                     Completion completion) = 0;

  /// Nothing when there is no application, or none with an identifier, at that place.
  virtual std::optional<ApplicationInfo> info(const std::filesystem::path& application) = 0;
};

}  // namespace corvana
