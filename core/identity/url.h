#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace corvana {

/// An absolute URL, kept byte for byte as it was given. That it has a scheme is checked, so that a text handed in as a
/// URL can never be taken for an option or a file name by the program that it is passed on to.
class URL {
 public:
  /// Nothing unless the text begins with a scheme and a colon (RFC 3986, section 3.1) and holds no zero byte, plain or
  /// percent-encoded in a file's path.
  static std::optional<URL> absolute(std::string text);

  /// What a launcher hands over on a command line: a URL, or the path of an existing file. Nothing for other texts.
  static std::optional<URL> ofArgument(const std::string& argument);

  /// The file URL of an absolute path.
  static URL file(const std::filesystem::path& path);

  const std::string& absoluteString() const { return text_; }
  bool isFileURL() const;

  /// For a file URL: its path with the percent-encoding undone, always beginning with a slash.
  std::string fileSystemPath() const;

  bool operator==(const URL&) const = default;

 private:
  explicit URL(std::string text) : text_(std::move(text)) {}

  std::string text_;
};

}  // namespace corvana
