// JSON configurations: any text gives a value or an error; a value is written and read back unchanged.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/identity/json_coding.h"
#include "core/stub/stub_config.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    corvana::StubConfig config;
    decode(corvana::parseJSON(std::string_view(reinterpret_cast<const char*>(data), size)), config);
    corvana::StubConfig again;
    decode(corvana::parseJSON(encode(config).dump()), again);
    if (again != config) std::abort();
  } catch (const corvana::DecodingError&) {
  }
  return 0;
}
