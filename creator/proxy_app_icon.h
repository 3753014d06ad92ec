#pragma once

#include <string>
#include <string_view>

#include "core/stub/stub_config.h"

namespace corvana {

struct ProxyAppIcon {
  ProxyAppIcon() = delete;

  /// The icon of an app with that name, as an SVG document: the name's first character on a ground of the badge's
  /// colour. Where the configuration leaves the character's colour open, it is the one that is easier to read.
  static std::string svg(const StubConfig& config, std::string_view name);
};

}  // namespace corvana
