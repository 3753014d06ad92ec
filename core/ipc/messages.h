#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/identity/enum_names.h"

/// The messages between proxy apps and the background helper. Each is one JSON object on one line; its keys are the
/// names of the fields. Optional fields are left out when empty, and read as empty when missing or null; unknown keys
/// are ignored. An integer field takes any JSON number whose value is an integer in range, so 1.0 and 1e3, too.
namespace corvana {

struct IPC {
  IPC() = delete;
  static constexpr std::int64_t protocolVersion = 2;
};

/// How far a window count can be trusted; `unclassified` counts include windows that could not be told apart.
enum class CountConfidence { certain, unclassified };

template <>
struct EnumNames<CountConfidence> {
  static constexpr std::array<EnumName<CountConfidence>, 2> rows{
      {{CountConfidence::certain, "certain"}, {CountConfidence::unclassified, "unclassified"}}};
};

struct TabGroupInfo {
  std::string name;
  bool isOpen = false;
  bool isSaved = false;
  std::int64_t windowCount = 0;

  bool operator==(const TabGroupInfo&) const = default;
};

/// From a proxy app to the helper.
struct Request {
  enum class Op { hello, activate, noteLaunch, closeWindows, status, listTabGroups, bye };

  /// Chosen by the sender, unique on its connection.
  std::int64_t id = 0;
  Op op = Op::hello;
  std::optional<std::string> profileDirectory;
  std::optional<std::string> profileName;
  std::optional<std::string> tabGroup;
  std::optional<std::string> bundleID;
  std::optional<std::int32_t> pid;
  std::optional<std::vector<std::string>> urls;
  /// How long the helper may take, in seconds.
  std::optional<double> timeout;
  std::optional<std::int64_t> protocolVersion;
  std::optional<std::int64_t> limit;
  std::optional<bool> includeIncognito;
  std::optional<bool> countAppWindows;
  std::optional<bool> ownWindow;
  std::optional<bool> deep;
  std::optional<std::int64_t> stubRevision;

  bool operator==(const Request&) const = default;
};

template <>
struct EnumNames<Request::Op> {
  using enum Request::Op;
  static constexpr std::array<EnumName<Request::Op>, 7> rows{{{hello, "hello"},
                                                              {activate, "activate"},
                                                              {noteLaunch, "noteLaunch"},
                                                              {closeWindows, "closeWindows"},
                                                              {status, "status"},
                                                              {listTabGroups, "listTabGroups"},
                                                              {bye, "bye"}}};
};

/// The helper's answer to the request with the same id.
struct Response {
  enum class Action { raised, nothingToRaise, openedGroup, groupNotFound, acknowledged };

  std::int64_t id = 0;
  bool ok = false;
  std::optional<Action> action;
  std::optional<std::int32_t> chromePID;
  std::optional<std::int64_t> windowCount;
  std::optional<CountConfidence> confidence;
  std::optional<std::int64_t> closed;
  std::optional<std::int64_t> remaining;
  std::optional<bool> blocked;
  std::optional<std::vector<TabGroupInfo>> tabGroups;
  /// For people.
  std::optional<std::string> error;

  bool operator==(const Response&) const = default;
};

template <>
struct EnumNames<Response::Action> {
  using enum Response::Action;
  static constexpr std::array<EnumName<Response::Action>, 5> rows{{{raised, "raised"},
                                                                   {nothingToRaise, "nothingToRaise"},
                                                                   {openedGroup, "openedGroup"},
                                                                   {groupNotFound, "groupNotFound"},
                                                                   {acknowledged, "acknowledged"}}};
};

/// From the helper to proxy apps, unasked.
struct Event {
  /// A kind that this program does not know reads as `unknown`: a newer helper keeps its older proxy apps.
  enum class Kind { windows, axPermission, shuttingDown, routingHistoryChanged, stubOutdated, unknown };

  Kind event = Kind::unknown;
  std::optional<std::string> profileDirectory;
  std::optional<std::string> tabGroup;
  std::optional<std::int64_t> count;
  std::optional<bool> chromeRunning;
  std::optional<CountConfidence> confidence;
  std::optional<bool> trusted;
  std::optional<std::int64_t> stubRevision;
  std::optional<std::vector<std::string>> improvements;

  bool operator==(const Event&) const = default;
};

template <>
struct EnumNames<Event::Kind> {
  using enum Event::Kind;
  static constexpr Event::Kind fallback = unknown;
  static constexpr std::array<EnumName<Event::Kind>, 6> rows{{{windows, "windows"},
                                                              {axPermission, "axPermission"},
                                                              {shuttingDown, "shuttingDown"},
                                                              {routingHistoryChanged, "routingHistoryChanged"},
                                                              {stubOutdated, "stubOutdated"},
                                                              {unknown, "unknown"}}};
};

/// The message as one compact JSON object, without a line feed; nothing when a text in it is not UTF-8 or a number is
/// not finite. Any thread.
std::optional<std::string> encodeMessage(const Request& message);
std::optional<std::string> encodeMessage(const Response& message);
std::optional<std::string> encodeMessage(const Event& message);

/// The message in one frame; nothing when it does not decode. Any thread.
std::optional<Request> decodeRequest(std::string_view frame);

/// What a client can read. An object with a valid "event" is always an event, whatever else it holds.
struct InboundMessage {
  std::variant<Response, Event> content;

  static std::optional<InboundMessage> decode(std::string_view frame);

  bool operator==(const InboundMessage&) const = default;
};

}  // namespace corvana

template <>
struct std::hash<corvana::TabGroupInfo> {
  std::size_t operator()(const corvana::TabGroupInfo& info) const noexcept;
};
