#include "creator/proxy_app_icon.h"

#include <array>
#include <cmath>
#include <optional>

#include "platform/text/ascii.h"
#include "platform/text/markup.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

/// Red, green and blue, each from 0 to 255.
using Colour = std::array<int, 3>;

std::optional<Colour> parse(std::string_view text) {
  Colour colour{};
  if (text.size() != 7 || text.front() != '#') return std::nullopt;
  for (std::size_t i = 0; i < colour.size(); ++i) {
    const int high = ascii::hexadecimalValue(text[1 + 2 * i]);
    const int low = ascii::hexadecimalValue(text[2 + 2 * i]);
    if (high < 0 || low < 0) return std::nullopt;
    colour[i] = high * 16 + low;
  }
  return colour;
}

/// The relative luminance of "Web Content Accessibility Guidelines" 2.2 (W3C), from 0 to 1.
double luminance(const Colour& colour) {
  const auto linear = [](int component) {
    const double value = component / 255.0;
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour[0]) + 0.7152 * linear(colour[1]) + 0.0722 * linear(colour[2]);
}

bool isDark(SymbolStyle style, const Colour& ground) {
  switch (style) {
    case SymbolStyle::light:
      return false;
    case SymbolStyle::dark:
      return true;
    case SymbolStyle::auto_:
      // Black has the greater contrast on it.
      return (luminance(ground) + 0.05) / 0.05 > 1.05 / (luminance(ground) + 0.05);
  }
  return false;
}

}  // namespace

std::string ProxyAppIcon::svg(const StubConfig& config, std::string_view name) {
  const StubConfig standard;
  const bool isValid = parse(config.badgeColorHex).has_value();
  const std::string& ground = isValid ? config.badgeColorHex : standard.badgeColorHex;
  const auto characters = text::characters(name);
  const std::string initial = characters.empty() ? "" : characters.front().utf8;
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 128 128\" width=\"128\" height=\"128\">\n"
         "  <rect x=\"8\" y=\"8\" width=\"112\" height=\"112\" rx=\"26\" fill=\"" +
         ground +
         "\"/>\n"
         "  <text x=\"64\" y=\"89\" text-anchor=\"middle\" font-family=\"sans-serif\" font-weight=\"bold\" "
         "font-size=\"70\" fill=\"" +
         (isDark(config.symbolStyle, *parse(ground)) ? "#000000" : "#FFFFFF") + "\">" + escapedForMarkup(initial) +
         "</text>\n</svg>\n";
}

}  // namespace corvana
