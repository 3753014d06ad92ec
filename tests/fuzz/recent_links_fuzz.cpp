// The history: any text gives entries or a DecodingError, what is written reads as the same, and any entry can be
// shown.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/identity/json_coding.h"
#include "core/routing/recent_links.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const RecentLink shown{.url = std::string(text)};
  (void)shown.displayHost();
  (void)shown.displayPath();
  try {
    const auto read = RecentLinksStore::parse(text);
    if (RecentLinksStore::parse(RecentLinksStore::documentText(read)) != read) std::abort();
  } catch (const DecodingError&) {
  }
  return 0;
}
