#include <systemd/sd-id128.h>

#include <system_error>

#include "platform/text/ascii.h"
#include "platform/text/uuid.h"

namespace corvana {

std::string randomUUID() {
  sd_id128_t id;
  if (const int result = ::sd_id128_randomize(&id); result < 0) {
    throw std::system_error(-result, std::generic_category(), "no random numbers");
  }
  std::string text;
  for (std::size_t i = 0; i < sizeof id.bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    ascii::appendHexadecimal(text, id.bytes[i], ascii::upperCaseDigits);
  }
  return text;
}

}  // namespace corvana
