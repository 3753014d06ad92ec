#include "core/identity/json_position.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace corvana {
namespace {

using rapidjson::SizeType;

/// Follows a path, of keys and indices like "[3]", through a text while the parser reads it. Of several members with
/// one name the last counts, as for those who decode it.
class PathFollower : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PathFollower> {
 public:
  PathFollower(const std::vector<std::string>& path, std::string_view text, const rapidjson::MemoryStream& stream)
      : path_(path), text_(text), stream_(stream) {}

  /// Where the value at the path begins; nothing when there is none.
  std::optional<std::size_t> offset() const { return offset_; }

  bool Null() { return scalar(); }
  bool Bool(bool /*value*/) { return scalar(); }
  bool RawNumber(const char* /*text*/, SizeType /*length*/, bool /*copies*/) { return scalar(); }
  bool String(const char* /*text*/, SizeType /*length*/, bool /*copies*/) { return scalar(); }
  bool Key(const char* text, SizeType length, bool /*copies*/) {
    open_.back().element.assign(text, length);
    return advance();
  }
  bool StartObject() { return enter(false); }
  bool StartArray() { return enter(true); }
  bool EndObject(SizeType /*count*/) { return leave(); }
  bool EndArray(SizeType /*count*/) { return leave(); }

 private:
  /// An object or array that is being read.
  struct Container {
    bool isArray;
    /// The path leads into it or through it.
    bool isOnPath;
    std::size_t index = 0;
    /// What the path calls the member that is being read.
    std::string element;
  };

  /// A value begins. Whether the path leads to it or into it.
  bool meet() {
    bool isOnPath = true;
    if (!open_.empty()) {
      Container& parent = open_.back();
      if (parent.isArray) parent.element = "[" + std::to_string(parent.index++) + "]";
      isOnPath = parent.isOnPath && open_.size() <= path_.size() && parent.element == path_[open_.size() - 1];
    }
    if (isOnPath && open_.size() == path_.size()) offset_ = text_.find_first_not_of(" \t\r\n,:", end_);
    return isOnPath;
  }
  bool scalar() {
    (void)meet();
    return advance();
  }
  bool enter(bool isArray) {
    const bool isOnPath = meet();
    open_.push_back({.isArray = isArray, .isOnPath = isOnPath});
    return advance(1);
  }
  bool leave() {
    open_.pop_back();
    return advance(1);
  }
  /// The parser tells of a bracket while it stands before it, of other tokens when it is past them.
  bool advance(std::size_t length = 0) {
    end_ = stream_.Tell() + length;
    return true;
  }

  const std::vector<std::string>& path_;
  std::string_view text_;
  const rapidjson::MemoryStream& stream_;
  std::vector<Container> open_;
  /// Where what was read last ends.
  std::size_t end_ = 0;
  std::optional<std::size_t> offset_;
};

std::optional<std::size_t> offsetOf(const std::vector<std::string>& path, std::string_view text) {
  // Neither nesting nor numbers beyond all measure are the concern of a place.
  constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::MemoryStream stream(text.data(), text.size());
  PathFollower follower(path, text, stream);
  rapidjson::Reader reader;
  return reader.Parse<flags>(stream, follower).IsError() ? std::nullopt : follower.offset();
}

TextPosition positionAt(std::size_t offset, std::string_view text) {
  const std::string_view before = text.substr(0, offset);
  return {.line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1,
          .column = before.size() - (before.rfind('\n') + 1) + 1};
}

}  // namespace

TextPosition positionOf(const DecodingError& error, std::string_view text) {
  if (const auto offset = error.syntaxErrorOffset()) return positionAt(*offset, text);
  return positionOf(error.path(), text);
}

TextPosition positionOf(std::vector<std::string> path, std::string_view text) {
  for (;; path.pop_back()) {
    const auto offset = offsetOf(path, text);
    if (offset || path.empty()) return positionAt(offset.value_or(0), text);
  }
}

}  // namespace corvana
