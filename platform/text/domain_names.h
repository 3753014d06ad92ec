#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvana {

/// The name of a domain, in UTF-8, as it goes over the wire: mapped and lower-cased by UTS #46, labels that are not
/// ASCII as "xn--...". Strict as browsers are: names of any length, hyphens and empty labels anywhere. Nothing when the
/// name has none, as for code points that are not allowed. Part of the library of Unicode text. Any thread.
std::optional<std::string> domainToASCII(std::string_view utf8);

}  // namespace corvana
