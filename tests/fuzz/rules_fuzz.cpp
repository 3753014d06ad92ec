// Rule documents: any text gives one or a DecodingError, and what is written reads as the same.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/identity/json_coding.h"
#include "core/routing/rule_document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  try {
    const RuleSet read = RuleSet::parse({reinterpret_cast<const char*>(data), size});
    if (RuleSet::parse(read.documentText()) != read) std::abort();
  } catch (const DecodingError&) {
  }
  return 0;
}
