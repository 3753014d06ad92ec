#include <systemd/sd-id128.h>

#include <system_error>

#include "platform/uuid.h"

namespace corvana {

std::string randomUUID() {
  sd_id128_t id;
  if (const int result = ::sd_id128_randomize(&id); result < 0) {
    throw std::system_error(-result, std::generic_category(), "no random numbers");
  }
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < sizeof id.bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits[id.bytes[i] >> 4];
    text += digits[id.bytes[i] & 0xF];
  }
  return text;
}

}  // namespace corvana
