#include "platform/files/bundle_copy.h"
#include "platform/process/tools.h"

namespace corvana {

void copyBundle(const std::filesystem::path& source, const std::filesystem::path& destination) {
  (void)runTool("/usr/bin/ditto", {source.string(), destination.string()});
}

void clearQuarantine(const std::filesystem::path& bundle) {
  (void)runTool("/usr/bin/xattr", {"-cr", bundle.string()});
}

}  // namespace corvana
