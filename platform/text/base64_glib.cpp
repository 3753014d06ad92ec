#include "platform/text/base64.h"
#include "platform/text/pointers_glib.h"

namespace corvana::base64 {

std::string encode(std::string_view bytes) {
  const GMemoryPointer<char> text(::g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
  return text.get();
}

std::optional<std::string> decode(std::string_view text) {
  gsize size = 0;
  const GMemoryPointer<guchar> bytes(::g_base64_decode(std::string(text).c_str(), &size));
  std::string result(reinterpret_cast<const char*>(bytes.get()), size);
  // The library passes over what does not belong there.
  if (encode(result) != text) return std::nullopt;
  return result;
}

}  // namespace corvana::base64
