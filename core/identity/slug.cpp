// Apart from the rest of Corvana, so that only programs that make slugs load the Unicode data.
#include "core/identity/corvana.h"
#include "platform/text/text.h"

namespace corvana {

std::string Corvana::slug(std::string_view name) {
  std::string result;
  bool endsWithDash = false;
  for (const text::Character& character : text::characters(text::lowercased(name))) {
    if (character.isLetter || character.isNumber) {
      result += character.utf8;
      endsWithDash = false;
    } else if (!endsWithDash && !result.empty()) {
      result += '-';
      endsWithDash = true;
    }
  }
  if (endsWithDash) result.pop_back();
  return result.empty() ? "app" : result;
}

}  // namespace corvana
