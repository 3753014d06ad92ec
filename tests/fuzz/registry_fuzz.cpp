// The registry: any text gives one or a DecodingError, what is written reads as the same, and bookmarks lead nowhere
// bad.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/identity/json_coding.h"
#include "core/registry/registry.h"
#include "platform/files/bookmark.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  const std::string text(reinterpret_cast<const char*>(data), size);
  (void)bookmark::resolve(text, {});
  try {
    const Registry read = Registry::parse(text);
    if (Registry::parse(read.documentText()) != read) std::abort();
    (void)read.searchDirectories();
  } catch (const DecodingError&) {
  }
  return 0;
}
