#include "core/routing/link_parts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/text/ascii.h"
#include "platform/text/domain_names.h"

// Names in quotes are the URL Standard's own, of its algorithms and states.
namespace corvana {
namespace {

using ascii::isDigit;
using ascii::isLetter;

/// "special" schemes: those of the web and "file".
bool isSpecial(std::string_view scheme) {
  return scheme == "https" || scheme == "http" || scheme == "file" || scheme == "ws" || scheme == "wss" ||
         scheme == "ftp";
}

/// A set of ASCII characters, made for asking about many bytes.
class CharacterSet {
 public:
  constexpr explicit CharacterSet(std::string_view characters) {
    for (const char c : characters) holds_[static_cast<unsigned char>(c)] = true;
  }
  constexpr CharacterSet(const CharacterSet& other, unsigned char firstMore, unsigned char lastMore)
      : CharacterSet(other) {
    for (int c = firstMore; c <= lastMore; ++c) holds_[static_cast<std::size_t>(c)] = true;
  }

  bool holds(char c) const { return holds_[static_cast<unsigned char>(c)]; }
  bool holdsAnyOf(std::string_view text) const { return firstIn(text) < text.size(); }
  /// The text's size when there is none.
  std::size_t firstIn(std::string_view text) const {
    std::size_t i = 0;
    while (i < text.size() && !holds(text[i])) ++i;
    return i;
  }

 private:
  std::array<bool, 256> holds_{};
};

/// "ASCII tab or newline".
constexpr CharacterSet removed("\t\n\r");
/// What separates the parts of a link, if it is of the web and if it is not.
constexpr CharacterSet webSlashes("/\\");
constexpr CharacterSet plainSlash("/");
/// "C0 control".
constexpr CharacterSet controls(CharacterSet(""), 0, 0x1F);
/// "forbidden host code point".
constexpr CharacterSet forbiddenInHosts({"\0\t\n\r #/:<>?@[\\]^|", 17});
/// "forbidden domain code point".
constexpr CharacterSet forbiddenInDomains(CharacterSet(CharacterSet(forbiddenInHosts, '%', '%'), 0, 0x1F), 0x7F, 0x7F);
/// What makes a path more than it looks: dot segments, maybe encoded, and backslashes.
constexpr CharacterSet pathSyntax(".%\\");

const CharacterSet& slashesOf(bool isSpecialScheme) {
  return isSpecialScheme ? webSlashes : plainSlash;
}

/// A number of an IPv4 address: decimal, octal after "0", hexadecimal after "0x". Too large ones saturate.
std::optional<std::uint64_t> parseIPv4Number(std::string_view text) {
  if (text.empty()) return std::nullopt;
  int base = 10;
  if (text.size() >= 2 && text[0] == '0' && ascii::lowercased(text[1]) == 'x') {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() >= 2 && text[0] == '0') {
    base = 8;
    text.remove_prefix(1);
  }
  std::uint64_t number = 0;
  for (const char c : text) {
    const int digit = ascii::hexadecimalValue(c);
    if (digit < 0 || digit >= base) return std::nullopt;
    number = std::min(number * static_cast<unsigned>(base) + static_cast<unsigned>(digit),
                      std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 1);
  }
  return number;
}

/// "ends in a number": such a host is an IPv4 address or none at all.
bool endsInANumber(std::string_view host) {
  if (host.ends_with('.')) host.remove_suffix(1);
  const std::string_view last = host.substr(host.rfind('.') + 1);
  return !last.empty() && (std::ranges::all_of(last, isDigit) || parseIPv4Number(last));
}

/// "IPv4 parser" and "IPv4 serializer".
std::optional<std::string> normalizedIPv4(std::string_view host) {
  if (host.ends_with('.')) host.remove_suffix(1);
  std::uint64_t address = 0;
  for (int count = 1;; ++count) {
    const std::size_t dot = host.find('.');
    const auto number = parseIPv4Number(host.substr(0, dot));
    if (!number || count > 4) return std::nullopt;
    if (dot == std::string_view::npos) {  // the last number fills all bytes that are left
      const int bitsLeft = 8 * (5 - count);
      if (*number >> bitsLeft != 0) return std::nullopt;
      address = (address << bitsLeft) + *number;
      break;
    }
    if (*number > 255) return std::nullopt;
    address = (address << 8) + *number;
    host.remove_prefix(dot + 1);
  }
  std::string result;
  for (int shift = 24; shift >= 0; shift -= 8) {
    result += std::to_string((address >> shift) & 255) + (shift > 0 ? "." : "");
  }
  return result;
}

/// Four decimal numbers at the end of an IPv6 address, as its last two pieces.
std::optional<std::pair<unsigned, unsigned>> parseEmbeddedIPv4(std::string_view text) {
  std::array<unsigned, 4> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::size_t size = 0;
    while (size < text.size() && isDigit(text[size])) {
      if (size > 0 && bytes[i] == 0) return std::nullopt;  // no leading zeros
      bytes[i] = bytes[i] * 10 + static_cast<unsigned>(text[size++] - '0');
      if (bytes[i] > 255) return std::nullopt;
    }
    if (size == 0) return std::nullopt;
    text.remove_prefix(size);
    if (i < 3 && !text.starts_with('.')) return std::nullopt;
    if (i < 3) text.remove_prefix(1);
  }
  if (!text.empty()) return std::nullopt;
  return std::pair(bytes[0] * 256 + bytes[1], bytes[2] * 256 + bytes[3]);
}

/// "IPv6 parser".
std::optional<std::array<unsigned, 8>> parseIPv6(std::string_view text) {
  std::array<unsigned, 8> pieces{};
  std::size_t count = 0;
  std::optional<std::size_t> compress;
  if (text.starts_with(':')) {
    if (!text.starts_with("::")) return std::nullopt;
    text.remove_prefix(2);
    compress = 0;
  }
  while (!text.empty()) {
    if (count == pieces.size()) return std::nullopt;
    if (text.starts_with(':')) {
      if (compress) return std::nullopt;
      text.remove_prefix(1);
      compress = count;
      continue;
    }
    unsigned value = 0;
    std::size_t size = 0;
    while (size < 4 && size < text.size() && ascii::hexadecimalValue(text[size]) >= 0) {
      value = value * 16 + static_cast<unsigned>(ascii::hexadecimalValue(text[size++]));
    }
    if (size < text.size() && text[size] == '.') {
      const auto last = parseEmbeddedIPv4(text);
      if (size == 0 || !last || count > 6) return std::nullopt;
      pieces[count++] = last->first;
      pieces[count++] = last->second;
      break;
    }
    text.remove_prefix(size);
    pieces[count++] = value;
    if (text.empty()) break;
    if (text.size() < 2 || text.front() != ':') return std::nullopt;  // a colon separates, and ends nothing
    text.remove_prefix(1);
  }
  if (!compress) return count == pieces.size() ? std::optional(pieces) : std::nullopt;
  if (count == pieces.size()) return std::nullopt;
  std::array<unsigned, 8> result{};
  const std::size_t tail = count - *compress;
  std::copy_n(pieces.begin(), *compress, result.begin());
  std::copy_n(pieces.begin() + static_cast<std::ptrdiff_t>(*compress), tail,
              result.end() - static_cast<std::ptrdiff_t>(tail));
  return result;
}

/// "IPv6 serializer", in brackets: the longest run of two or more zeros is left out.
std::string serializeIPv6(const std::array<unsigned, 8>& pieces) {
  std::size_t runBegin = pieces.size();
  std::size_t runSize = 1;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    std::size_t size = 0;
    while (i + size < pieces.size() && pieces[i + size] == 0) ++size;
    if (size > runSize) {
      runBegin = i;
      runSize = size;
    }
  }
  std::string result = "[";
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i == runBegin) {
      result += i == 0 ? "::" : ":";
      i += runSize - 1;
      continue;
    }
    std::string digits;
    ascii::appendHexadecimal(digits, static_cast<unsigned char>(pieces[i] >> 8), ascii::lowerCaseDigits);
    ascii::appendHexadecimal(digits, static_cast<unsigned char>(pieces[i] & 0xFF), ascii::lowerCaseDigits);
    result += digits.substr(std::min(digits.find_first_not_of('0'), std::size_t{3}));
    if (i + 1 < pieces.size()) result += ':';
  }
  return result + "]";
}

/// "opaque-host parser", for schemes that are not special.
std::optional<std::string> parseOpaqueHost(std::string_view text) {
  if (forbiddenInHosts.holdsAnyOf(text)) return std::nullopt;
  std::string result;
  for (const char c : text) {
    if (controls.holds(c) || static_cast<unsigned char>(c) > 0x7E) {
      result += '%';
      ascii::appendHexadecimal(result, static_cast<unsigned char>(c), ascii::upperCaseDigits);
    } else {
      result += c;
    }
  }
  return result;
}

/// "host parser".
std::optional<std::string> parseHost(std::string_view text, bool isSpecialScheme) {
  if (text.starts_with('[')) {
    if (!text.ends_with(']')) return std::nullopt;
    const auto pieces = parseIPv6(text.substr(1, text.size() - 2));
    return pieces ? std::optional(serializeIPv6(*pieces)) : std::nullopt;
  }
  if (!isSpecialScheme) return parseOpaqueHost(text);

  std::string domain = ascii::percentDecoded(text);
  ascii::lowercase(domain);
  if (!ascii::isASCII(domain) || domain.starts_with("xn--") || domain.find(".xn--") != std::string::npos) {
    auto mapped = domainToASCII(domain);
    if (!mapped) return std::nullopt;
    domain = std::move(*mapped);
  }
  if (domain.empty() || forbiddenInDomains.holdsAnyOf(domain)) return std::nullopt;
  if (endsInANumber(domain)) return normalizedIPv4(domain);
  return domain;
}

bool isPort(std::string_view text) {
  std::uint64_t number = 0;
  for (const char c : text) {
    if (!isDigit(c)) return false;
    number = std::min(number * 10 + static_cast<unsigned>(c - '0'), std::uint64_t{65'536});
  }
  return number <= 65'535;
}

/// "authority state" to "port state": user information, host and port, of which the host is kept. `hostEnd` becomes
/// where the text of the host ends.
std::optional<std::string> parseAuthority(std::string_view authority, bool isSpecialScheme, const char*& hostEnd) {
  std::string_view hostAndPort = authority;
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) hostAndPort.remove_prefix(at + 1);
  const std::size_t bracket = hostAndPort.find(']');
  const bool isBracketed = hostAndPort.find('[') < bracket && bracket != std::string_view::npos;
  const std::size_t colon = hostAndPort.find(':', isBracketed ? bracket : 0);
  const std::string_view host = hostAndPort.substr(0, colon);
  const bool hasMore = at != std::string_view::npos || colon != std::string_view::npos;
  if (host.empty() && (isSpecialScheme || hasMore)) return std::nullopt;
  if (colon != std::string_view::npos && !isPort(hostAndPort.substr(colon + 1))) return std::nullopt;
  hostEnd = host.data() + host.size();
  return parseHost(host, isSpecialScheme);
}

/// "Windows drive letter".
bool isDriveLetter(std::string_view text) {
  return text.size() == 2 && isLetter(text[0]) && (text[1] == ':' || text[1] == '|');
}

/// How many dots a "single-dot" or "double-dot URL path segment" stands for; 0 for any other segment.
int dotsIn(std::string_view segment) {
  int dots = 0;
  while (!segment.empty() && dots < 3) {
    if (segment.starts_with('.')) {
      segment.remove_prefix(1);
    } else if (segment.size() >= 3 && segment[0] == '%' && segment[1] == '2' && ascii::lowercased(segment[2]) == 'e') {
      segment.remove_prefix(3);
    } else {
      return 0;
    }
    ++dots;
  }
  return segment.empty() && dots < 3 ? dots : 0;
}

/// "path state", from after the slash that begins the path.
std::string parsePath(std::string_view rest, bool isSpecialScheme, bool isFile) {
  std::string path;
  path.reserve(rest.size() + 1);
  if (!isFile && !pathSyntax.holdsAnyOf(rest)) return path.append("/").append(rest);

  while (true) {
    const std::size_t end = slashesOf(isSpecialScheme).firstIn(rest);
    const std::string_view segment = rest.substr(0, end);
    const bool isLast = end == rest.size();
    const int dots = dotsIn(segment);
    if (dots == 2) {
      // A drive letter cannot be left.
      const bool isDrive = isFile && path.size() == 3 && isDriveLetter(std::string_view(path).substr(1));
      if (!path.empty() && !isDrive) path.resize(path.rfind('/'));
    }
    if (dots == 0) {
      const bool isDrive = isFile && path.empty() && isDriveLetter(segment);
      path.append("/").append(segment);
      if (isDrive) path.back() = ':';
    } else if (isLast) {
      path += '/';
    }
    if (isLast) return path;
    rest.remove_prefix(end + 1);
  }
}

/// "file state" to "file host state": the host, and what is left for the path with its slash.
std::optional<std::pair<std::string, std::string_view>> parseFileHost(std::string_view rest) {
  if (rest.size() < 2 || !webSlashes.holds(rest[0]) || !webSlashes.holds(rest[1])) {
    return std::pair(std::string(), rest);
  }
  rest.remove_prefix(2);
  const std::size_t end = webSlashes.firstIn(rest);
  const std::string_view text = rest.substr(0, end);
  if (text.empty() || isDriveLetter(text)) return std::pair(std::string(), rest);
  auto host = parseHost(text, true);
  if (!host) return std::nullopt;
  return std::pair(*host == "localhost" ? std::string() : std::move(*host), rest.substr(end));
}

/// The place in the text that `place` stands for in what is left when some characters are removed from it.
std::size_t placeBefore(std::size_t place, std::string_view text) {
  std::size_t i = 0;
  for (; place > 0; ++i) place -= removed.holds(text[i]) ? 0 : 1;
  return i;
}

std::optional<LinkParts> parse(std::string_view text) {
  LinkParts parts;
  const std::size_t colon = text.find(':');
  parts.scheme = text.substr(0, colon);
  ascii::lowercase(parts.scheme);
  std::string_view rest = text.substr(colon + 1);
  rest = rest.substr(0, rest.find('#'));
  const std::size_t question = rest.find('?');
  if (question != std::string_view::npos) {
    parts.query = rest.substr(question + 1);
    rest = rest.substr(0, question);
  }

  const bool isSpecialScheme = isSpecial(parts.scheme);
  if (parts.isFile()) {
    auto host = parseFileHost(rest);
    if (!host) return std::nullopt;
    parts.host = std::move(host->first);
    rest = host->second;
  } else if (isSpecialScheme || rest.starts_with("//")) {
    // However many slashes a web link has, what follows them is its authority.
    while (isSpecialScheme && !rest.empty() && webSlashes.holds(rest.front())) rest.remove_prefix(1);
    if (!isSpecialScheme) rest.remove_prefix(2);
    const std::size_t end = slashesOf(isSpecialScheme).firstIn(rest);
    const char* hostEnd = nullptr;
    auto host = parseAuthority(rest.substr(0, end), isSpecialScheme, hostEnd);
    if (!host) return std::nullopt;
    parts.host = std::move(*host);
    if (!parts.host.empty()) parts.hostEnd = static_cast<std::size_t>(hostEnd - text.data());
    rest.remove_prefix(end);
    if (rest.empty() && !isSpecialScheme) return parts;
  } else if (!rest.starts_with('/')) {
    parts.path = rest;  // "opaque path"
    return parts;
  }
  if (!rest.empty() && slashesOf(isSpecialScheme).holds(rest.front())) rest.remove_prefix(1);
  parts.path = parsePath(rest, isSpecialScheme, parts.isFile());
  return parts;
}

}  // namespace

std::optional<LinkParts> LinkParts::split(const URL& link) {
  std::string_view text = link.absoluteString();
  while (!text.empty() && (controls.holds(text.back()) || text.back() == ' ')) text.remove_suffix(1);
  if (!removed.holdsAnyOf(text)) return parse(text);
  std::string clean(text);
  std::erase_if(clean, [](char c) { return removed.holds(c); });
  auto parts = parse(clean);
  if (parts) parts->hostEnd = placeBefore(parts->hostEnd, text);
  return parts;
}

}  // namespace corvana
