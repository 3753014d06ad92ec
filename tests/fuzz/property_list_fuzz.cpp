// Property lists: any bytes give a dictionary or an error; a dictionary is written and read back unchanged.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/stub/stub_config.h"
#include "platform/files/property_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto config = corvana::StubConfig::fromPlist(corvana::PropertyList::parse(bytes));
    if (!config) return 0;
    corvana::StubConfig expected = *config;
    if (!expected.tabGroupName) expected.ownWindow = true;  // not written for a whole profile
    if (corvana::StubConfig::fromPlist(config->plistEntries()) != expected) std::abort();
  } catch (const corvana::PropertyListError&) {
  }
  return 0;
}
