#include "core/routing/incoming_link.h"

#include <utility>

#include "core/routing/link_parts.h"
#include "core/routing/link_router.h"
#include "platform/text/ascii.h"
#include "platform/text/text.h"

namespace corvana {

IncomingLink::IncomingLink(const URL& url, std::optional<std::string_view> sourceBundleID)
    : isFile(url.isFileURL()), source(text::folded(std::string(sourceBundleID.value_or("")))) {
  auto parts = LinkParts::split(url);
  if (!parts) return;
  if (isFile) {
    filePath = text::folded(LinkRouter::filePath(*parts));
  } else {
    address = text::folded(LinkRouter::address(*parts));
    host = std::move(parts->host);
    ascii::lowercase(host);
  }
}

}  // namespace corvana
