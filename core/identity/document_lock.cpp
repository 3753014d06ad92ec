#include "core/identity/document_lock.h"

#include <algorithm>
#include <system_error>
#include <thread>

#include "core/identity/corvana.h"

namespace corvana {
namespace {

/// "registry.lock" for "registry.json", in the support directory wherever a link of that name may lead.
FileLock lockFor(const std::filesystem::path& document, std::chrono::milliseconds patience) {
  using namespace std::chrono_literals;
  Corvana::ensureSupportDirectory();
  const std::filesystem::path file = std::filesystem::path(document).replace_extension("lock");
  const auto end = std::chrono::steady_clock::now() + patience;
  std::chrono::milliseconds pause = 1ms;
  while (true) {
    if (auto lock = FileLock::tryLock(file)) return std::move(*lock);
    if (std::chrono::steady_clock::now() >= end) break;
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, 10ms);
  }
  throw std::filesystem::filesystem_error("another program is changing it and does not finish", document,
                                          std::make_error_code(std::errc::device_or_resource_busy));
}

}  // namespace

DocumentLock::DocumentLock(const std::filesystem::path& document, std::chrono::milliseconds patience)
    : lock_(lockFor(document, patience)) {}

}  // namespace corvana
