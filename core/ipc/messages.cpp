#include "core/ipc/messages.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <limits>

namespace corvana {
namespace {

using rapidjson::SizeType;
using rapidjson::Value;

// The fields of each message, named once for reading and writing.

template <class Visitor>
void fields(auto& info, Visitor& visitor) requires std::same_as<std::remove_cvref_t<decltype(info)>, TabGroupInfo> {
  visitor.required("name", info.name);
  visitor.required("isOpen", info.isOpen);
  visitor.required("isSaved", info.isSaved);
  visitor.required("windowCount", info.windowCount);
}

template <class Visitor>
void fields(auto& request, Visitor& visitor) requires std::same_as<std::remove_cvref_t<decltype(request)>, Request> {
  visitor.required("id", request.id);
  visitor.required("op", request.op);
  visitor.optional("profileDirectory", request.profileDirectory);
  visitor.optional("profileName", request.profileName);
  visitor.optional("tabGroup", request.tabGroup);
  visitor.optional("bundleID", request.bundleID);
  visitor.optional("pid", request.pid);
  visitor.optional("urls", request.urls);
  visitor.optional("timeout", request.timeout);
  visitor.optional("protocolVersion", request.protocolVersion);
  visitor.optional("limit", request.limit);
  visitor.optional("includeIncognito", request.includeIncognito);
  visitor.optional("countAppWindows", request.countAppWindows);
  visitor.optional("ownWindow", request.ownWindow);
  visitor.optional("deep", request.deep);
  visitor.optional("stubRevision", request.stubRevision);
}

template <class Visitor>
void fields(auto& response, Visitor& visitor) requires std::same_as<std::remove_cvref_t<decltype(response)>, Response> {
  visitor.required("id", response.id);
  visitor.required("ok", response.ok);
  visitor.optional("action", response.action);
  visitor.optional("chromePID", response.chromePID);
  visitor.optional("windowCount", response.windowCount);
  visitor.optional("confidence", response.confidence);
  visitor.optional("closed", response.closed);
  visitor.optional("remaining", response.remaining);
  visitor.optional("blocked", response.blocked);
  visitor.optional("tabGroups", response.tabGroups);
  visitor.optional("error", response.error);
}

template <class Visitor>
void fields(auto& event, Visitor& visitor) requires std::same_as<std::remove_cvref_t<decltype(event)>, Event> {
  visitor.required("event", event.event);
  visitor.optional("profileDirectory", event.profileDirectory);
  visitor.optional("tabGroup", event.tabGroup);
  visitor.optional("count", event.count);
  visitor.optional("chromeRunning", event.chromeRunning);
  visitor.optional("confidence", event.confidence);
  visitor.optional("trusted", event.trusted);
  visitor.optional("stubRevision", event.stubRevision);
  visitor.optional("improvements", event.improvements);
}

template <class Message>
bool readMessage(const Value& value, Message& message);

std::string_view textOf(const Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

// One function for each type that a field may have; false when the value has another one.

bool read(const Value& value, bool& field) {
  if (!value.IsBool()) return false;
  field = value.GetBool();
  return true;
}

bool read(const Value& value, double& field) {
  if (!value.IsNumber()) return false;
  field = value.GetDouble();
  return std::isfinite(field);
}

bool read(const Value& value, TabGroupInfo& field) {
  return readMessage(value, field);
}

/// The parser has checked the bytes, but not whether "\\udc00", half of a pair, stands alone.
bool isUTF8(std::string_view text) {
  for (std::size_t i = text.find('\xED'); i != std::string_view::npos; i = text.find('\xED', i + 1)) {
    if (static_cast<unsigned char>(text[i + 1]) >= 0xA0) return false;
  }
  return true;
}

bool read(const Value& value, std::string& field) {
  if (!value.IsString() || !isUTF8(textOf(value))) return false;
  field = textOf(value);
  return true;
}

template <std::signed_integral Integer>
bool read(const Value& value, Integer& field) {
  if (!value.IsInt64()) return false;
  const std::int64_t number = value.GetInt64();
  if (number < std::numeric_limits<Integer>::min() || number > std::numeric_limits<Integer>::max()) return false;
  field = static_cast<Integer>(number);
  return true;
}

template <class Enum>
requires std::is_enum_v<Enum>
bool read(const Value& value, Enum& field) {
  if (!value.IsString()) return false;
  std::optional<Enum> found = caseNamed<Enum>(textOf(value));
  if constexpr (requires { EnumNames<Enum>::fallback; }) found = found.value_or(EnumNames<Enum>::fallback);
  if (found) field = *found;
  return found.has_value();
}

template <class Item>
bool read(const Value& value, std::vector<Item>& field) {
  if (!value.IsArray()) return false;
  field.clear();
  for (const Value& item : value.GetArray()) {
    if (!read(item, field.emplace_back())) return false;
  }
  return true;
}

/// The visitor that puts one member of a JSON object into the field of that name.
class MemberReader {
 public:
  MemberReader(std::string_view key, const Value& value) : key_(key), value_(value) {}

  template <class T>
  void required(std::string_view name, T& field) {
    const unsigned bit = nextBit();
    if (name != key_) return;
    isGood_ = read(value_, field);
    found_ = bit;
  }
  template <class T>
  void optional(std::string_view name, std::optional<T>& field) {
    if (name != key_) return;
    if (value_.IsNull()) {
      field.reset();  // a later duplicate wins
    } else {
      isGood_ = read(value_, field.emplace());
    }
  }

  bool isGood() const { return isGood_; }
  /// One bit for each required field; set is that of the member, if it is one.
  unsigned found() const { return found_; }
  /// The bits of all required fields.
  unsigned all() const { return (1U << count_) - 1; }

 private:
  unsigned nextBit() { return 1U << count_++; }

  std::string_view key_;
  const Value& value_;
  bool isGood_ = true;
  unsigned found_ = 0;
  unsigned count_ = 0;
};

template <class Message>
bool readMessage(const Value& value, Message& message) {
  if (!value.IsObject()) return false;
  unsigned found = 0;
  unsigned all = 1;  // an empty object lacks something
  for (const auto& member : value.GetObject()) {
    MemberReader reader(textOf(member.name), member.value);
    fields(message, reader);
    if (!reader.isGood()) return false;
    found |= reader.found();
    all = reader.all();
  }
  return found == all;
}

/// More than these in an exponent make a number zero or infinite, whatever its digits are: no frame is as long.
constexpr std::int64_t maximumDigits = 1'000'000'000;

using Pool = rapidjson::MemoryPoolAllocator<>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Pool>;

/// The number, if it is an integer that fits, however it is written: 1.0 and 1e3 are integers, too, to the last digit.
std::optional<std::int64_t> integerFrom(std::string_view number) {
  std::int64_t plain = 0;
  const char* end = number.data() + number.size();
  if (const auto [rest, error] = std::from_chars(number.data(), end, plain); error == std::errc() && rest == end) {
    return plain;
  }
  const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
  std::string digits(number.substr(0, mark));
  std::int64_t exponent = 0;
  if (mark < number.size()) {
    std::string_view text = number.substr(mark + 1);
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    if (error != std::errc() || rest != text.data() + text.size())
      exponent = text.starts_with('-') ? -maximumDigits : maximumDigits;
    exponent = std::clamp(exponent, -maximumDigits, maximumDigits);
  }
  if (const std::size_t point = digits.find('.'); point != std::string::npos) {
    exponent -= static_cast<std::int64_t>(digits.size() - point - 1);
    digits.erase(point, 1);
  }
  while (digits.ends_with('0')) {
    digits.pop_back();
    ++exponent;
  }
  if (digits.empty() || digits == "-") return 0;
  if (exponent < 0 || exponent > std::numeric_limits<std::int64_t>::digits10) return std::nullopt;
  digits.append(static_cast<std::size_t>(exponent), '0');
  const auto [rest, error] = std::from_chars(digits.data(), digits.data() + digits.size(), plain);
  return error == std::errc() && rest == digits.data() + digits.size() ? std::optional(plain) : std::nullopt;
}

/// Puts what the parser finds into the document. What no field could hold must not cost the message, since nobody may
/// ask for it: what is nested far deeper than any message is left out, and a number that is too large is infinite.
class Builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Builder> {
 public:
  explicit Builder(Document& document) : document_(document) {}

  bool Null() { return isTooDeep() || document_.Null(); }
  bool Bool(bool value) { return isTooDeep() || document_.Bool(value); }
  /// The parser checks how a number is written; what it says is read here.
  bool RawNumber(const char* text, SizeType length, bool /*copies*/) {
    if (isTooDeep()) return true;
    const std::string_view number(text, length);
    if (const auto integer = integerFrom(number)) return document_.Int64(*integer);
    double real = 0;
    if (std::from_chars(text, text + length, real).ec == std::errc::result_out_of_range) {
      const bool isTooSmall = number.find('-', 1) != std::string_view::npos;
      real = isTooSmall ? 0 : std::numeric_limits<double>::infinity();
    }
    return document_.Double(real);
  }
  bool String(const char* text, SizeType length, bool copies) {
    return isTooDeep() || document_.String(text, length, copies);
  }
  bool Key(const char* text, SizeType length, bool copies) {
    return isTooDeep() || document_.Key(text, length, copies);
  }
  bool StartObject() { return enter() ? document_.StartObject() : leaveOut(); }
  bool EndObject(SizeType count) { return leave() || document_.EndObject(count); }
  bool StartArray() { return enter() ? document_.StartArray() : leaveOut(); }
  bool EndArray(SizeType count) { return leave() || document_.EndArray(count); }

 private:
  static constexpr int deepest = 64;

  bool isTooDeep() const { return depth_ > deepest; }
  bool enter() { return ++depth_ <= deepest; }
  /// The outermost of what is left out stands as null, so that what holds it has its count.
  bool leaveOut() { return depth_ > deepest + 1 || document_.Null(); }
  /// Whether what ends was left out.
  bool leave() { return --depth_ >= deepest; }

  Document& document_;
  int depth_ = 0;
};

/// The frame with an empty text in the place of each number that has an exponent beyond what the parser bears: no field
/// takes that for a number, and nobody misses it elsewhere.
std::string withoutHugeExponents(std::string_view frame) {
  std::string result;
  for (std::size_t i = 0; i < frame.size();) {
    std::size_t end = i + 1;
    if (frame[i] == '"') {
      while (end < frame.size() && frame[end] != '"') end += frame[end] == '\\' ? 2 : 1;
      ++end;
    } else if (frame[i] == '-' || (frame[i] >= '0' && frame[i] <= '9')) {
      end = std::min(frame.find_first_not_of("0123456789+-.eE", i), frame.size());
    }
    const std::string_view token = frame.substr(i, end - i);
    i = end;
    const std::size_t mark = token.front() == '"' ? std::string_view::npos : token.find_first_of("eE");
    // Three digits are enough to be too many.
    const bool isHuge = mark != std::string_view::npos && token.size() - mark > 3 && token[mark + 1] != '-';
    result += isHuge ? std::string_view("\"\"") : token;
  }
  return result;
}

/// Calls `use` with the parsed frame, if it is JSON and UTF-8.
template <class Use>
auto withParsed(std::string_view frame, Use use) -> decltype(use(Value())) {
  constexpr unsigned flags =
      rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseIterativeFlag;
  if (frame.find('\0') != std::string_view::npos) return std::nullopt;  // the parser would take it for the end
  // The values of ordinary messages fit in here.
  alignas(std::max_align_t) std::array<char, 4096> memory;
  Pool pool(memory.data(), memory.size());
  Document document(&pool);
  rapidjson::MemoryStream stream(frame.data(), frame.size());
  rapidjson::Reader reader;
  rapidjson::ParseResult result;
  auto parse = [&](Document& target) {
    Builder builder(target);
    result = reader.Parse<flags>(stream, builder);
    return !result.IsError();
  };
  document.Populate(parse);
  if (result.Code() == rapidjson::kParseErrorNumberTooBig) {
    const std::string bearable = withoutHugeExponents(frame);
    if (bearable != frame) return withParsed(bearable, use);
  }
  if (result.IsError()) return std::nullopt;
  return use(document);
}

using Writer = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, rapidjson::CrtAllocator,
                                 rapidjson::kWriteValidateEncodingFlag>;

/// The visitor that writes the fields of a message as members.
class MemberWriter {
 public:
  explicit MemberWriter(Writer& writer) : writer_(writer) { writer_.StartObject(); }

  template <class T>
  void required(std::string_view name, const T& field) {
    writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    isGood_ = write(field) && isGood_;
  }
  template <class T>
  void optional(std::string_view name, const std::optional<T>& field) {
    if (field) required(name, *field);
  }

  /// Ends the object; false when something in it could not be written.
  bool finish() { return writer_.EndObject() && isGood_; }

 private:
  bool write(bool value) { return writer_.Bool(value); }
  bool write(double value) { return writer_.Double(value); }
  bool write(std::signed_integral auto value) { return writer_.Int64(value); }
  bool write(std::string_view value) {
    return writer_.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
  }
  bool write(const std::string& value) { return write(std::string_view(value)); }
  bool write(const TabGroupInfo& value) {
    MemberWriter inner(writer_);
    fields(value, inner);
    return inner.finish();
  }
  template <class Enum>
  requires std::is_enum_v<Enum>
  bool write(Enum value) { return write(nameOf(value)); }
  template <class Item>
  bool write(const std::vector<Item>& items) {
    bool isGood = writer_.StartArray();
    for (const Item& item : items) isGood = write(item) && isGood;
    return writer_.EndArray() && isGood;
  }

  Writer& writer_;
  bool isGood_ = true;
};

template <class Message>
std::optional<std::string> encode(const Message& message) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  MemberWriter members(writer);
  fields(message, members);
  if (!members.finish()) return std::nullopt;
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace

std::optional<std::string> encodeMessage(const Request& message) {
  return encode(message);
}
std::optional<std::string> encodeMessage(const Response& message) {
  return encode(message);
}
std::optional<std::string> encodeMessage(const Event& message) {
  return encode(message);
}

std::optional<Request> decodeRequest(std::string_view frame) {
  return withParsed(frame, [](const Value& element) -> std::optional<Request> {
    Request request;
    if (!readMessage(element, request)) return std::nullopt;
    return request;
  });
}

std::optional<InboundMessage> InboundMessage::decode(std::string_view frame) {
  return withParsed(frame, [](const Value& element) -> std::optional<InboundMessage> {
    if (Event event; readMessage(element, event)) return InboundMessage{std::move(event)};
    if (Response response; readMessage(element, response)) return InboundMessage{std::move(response)};
    return std::nullopt;
  });
}

}  // namespace corvana

std::size_t std::hash<corvana::TabGroupInfo>::operator()(const corvana::TabGroupInfo& info) const noexcept {
  const std::size_t flags = (info.isOpen ? 1U : 0U) + (info.isSaved ? 2U : 0U);
  return (std::hash<std::string>()(info.name) * 31 + std::hash<std::int64_t>()(info.windowCount)) * 31 + flags;
}
