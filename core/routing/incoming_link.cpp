#include "core/routing/incoming_link.h"

#include "core/routing/link_parts.h"
#include "core/routing/link_router.h"
#include "platform/ascii.h"
#include "platform/text.h"

namespace corvana {

IncomingLink::IncomingLink(const URL& url, std::optional<std::string_view> sourceBundleID)
    : isFile(url.isFileURL()), source(text::folded(sourceBundleID.value_or(""))) {
  const auto parts = LinkParts::split(url);
  if (!parts) return;
  if (isFile) {
    filePath = text::folded(LinkRouter::filePath(*parts));
  } else {
    host = parts->host;
    ascii::lowercase(host);
    address = text::folded(LinkRouter::address(*parts));
  }
}

}  // namespace corvana
