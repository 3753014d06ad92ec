#include "platform/desktop/browser_process_linux.h"

#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <system_error>
#include <utility>

namespace corvana {
namespace {

namespace fs = std::filesystem;

constexpr const char* lockName = "SingletonLock";

bool isDirectory(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

}  // namespace

BrowserProcess::BrowserProcess(EventLoop& loop, std::string bundleIdentifier, Task changed)
    : loop_(loop), bundleIdentifier_(std::move(bundleIdentifier)) {
  look();
  changed_ = std::move(changed);
}

void BrowserProcess::look() {
  end_ = {};
  process_ = {};
  installation_ = BrowserInstallation::find(bundleIdentifier_);
  // Watched before it is looked for, so that no start is missed.
  if (installation_ && !installation_->userDataDirectory.empty()) watchStart();
  std::optional<pid_t> found = installation_ ? installation_->mainProcess() : std::nullopt;
  if (found && !watchEnd(*found)) found.reset();
  if (found) {
    appearance_ = {};
    files_ = {};
  }
  if (std::exchange(id_, found) != found && changed_) changed_();
}

/// False when it has ended already.
bool BrowserProcess::watchEnd(pid_t process) {
  // glibc 2.36 declares pidfd_open without C linkage, so that C++ cannot link to it.
  process_ = UniqueFD(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  // Its number may have become another's before the descriptor was there.
  if (!process_ || installation_->mainProcess() != process) return false;
  try {
    end_ = loop_.whenReadable(process_.get(), [this] { look(); });
  } catch (const std::system_error&) {
    return false;  // out of memory for events
  }
  return true;
}

void BrowserProcess::watchStart() {
  appearance_ = {};
  files_ = UniqueFD(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!files_) return;
  constexpr std::uint32_t events = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  const fs::path& wanted = installation_->userDataDirectory;
  fs::path folder;
  do {  // until what was missing is missing still, now that its appearance would be seen
    folder = wanted;
    awaited_ = lockName;
    while (!isDirectory(folder) && folder.has_relative_path()) {
      awaited_ = folder.filename().string();
      folder = folder.parent_path();
    }
    if (::inotify_add_watch(files_.get(), folder.c_str(), events) < 0) return;
  } while (folder != wanted && isDirectory(folder / awaited_));
  try {
    appearance_ = loop_.whenReadable(files_.get(), [this] { onFiles(); });
  } catch (const std::system_error&) {
    files_ = {};
  }
}

void BrowserProcess::onFiles() {
  alignas(inotify_event) std::array<char, 4096> buffer;
  bool matters = false;
  for (ssize_t length = 0; (length = ::read(files_.get(), buffer.data(), buffer.size())) > 0;) {
    for (ssize_t place = 0; place < length;) {
      const auto& event = *reinterpret_cast<const inotify_event*>(buffer.data() + place);
      place += static_cast<ssize_t>(sizeof event + event.len);
      const bool isAppearance = (event.mask & (IN_CREATE | IN_MOVED_TO)) != 0;
      matters = matters || !isAppearance || awaited_ == event.name;
    }
  }
  if (matters) look();
}

}  // namespace corvana
