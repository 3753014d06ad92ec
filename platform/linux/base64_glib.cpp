#include <glib.h>

#include <memory>

#include "platform/base64.h"

namespace corvana::base64 {

std::string encode(std::string_view bytes) {
  const std::unique_ptr<char, decltype(&::g_free)> text(
      ::g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), &::g_free);
  return text.get();
}

std::optional<std::string> decode(std::string_view text) {
  gsize size = 0;
  const std::unique_ptr<guchar, decltype(&::g_free)> bytes(::g_base64_decode(std::string(text).c_str(), &size),
                                                           &::g_free);
  std::string result(reinterpret_cast<const char*>(bytes.get()), size);
  // The library passes over what does not belong there.
  if (encode(result) != text) return std::nullopt;
  return result;
}

}  // namespace corvana::base64
