#include "core/identity/uuid.h"

#include "platform/text/ascii.h"
#include "platform/text/uuid.h"

namespace corvana {

UUID UUID::random() {
  return UUID(randomUUID());
}

std::optional<UUID> UUID::parse(std::string_view text) {
  constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (text.size() != form.size()) return std::nullopt;
  std::string upperCase;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] == '-') {
      if (text[i] != '-') return std::nullopt;
      upperCase += '-';
    } else {
      const int value = ascii::hexadecimalValue(text[i]);
      if (value < 0) return std::nullopt;
      upperCase += ascii::upperCaseDigits[static_cast<std::size_t>(value)];
    }
  }
  return UUID(std::move(upperCase));
}

}  // namespace corvana
