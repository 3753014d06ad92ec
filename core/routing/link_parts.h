#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/identity/url.h"

namespace corvana {

/// A link taken apart as browsers take it apart (the URL Standard, url.spec.whatwg.org, without a base URL), so that
/// what rules see as its host is the host that the browser will visit. The link itself is never changed by this.
struct LinkParts {
  /// In lower case.
  std::string scheme;
  /// In the form that browsers show: for the web in lower-case ASCII with an address in its usual notation, for other
  /// schemes percent-encoded. Empty when there is none.
  std::string host;
  /// With the dot segments resolved and the backslashes of web links turned; percent-encoding is left as it was.
  std::string path;
  /// Without the question mark. Percent-encoding is left as it was.
  std::string query;
  /// Where in the link's own text that ends which is read as its host; 0 when it has none, and for files.
  std::size_t hostEnd = 0;

  bool isFile() const { return scheme == "file"; }

  /// Nothing for a link that no browser would open, such as one with an empty host or a port of 99999. Any thread.
  static std::optional<LinkParts> split(const URL& link);
};

}  // namespace corvana
