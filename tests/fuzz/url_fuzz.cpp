// URLs: what is taken for one can never be an option, and neither can its path; paths come back unchanged.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/identity/url.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  if (const auto url = corvana::URL::absolute(text)) {
    if (url->absoluteString() != text || text.starts_with('-')) std::abort();
    if (url->isFileURL()) {
      const std::string path = url->fileSystemPath();
      if (!path.starts_with('/') || path.find('\0') != std::string::npos) std::abort();
      if (corvana::URL::file(path).fileSystemPath() != path) std::abort();
    }
  }
  return 0;
}
