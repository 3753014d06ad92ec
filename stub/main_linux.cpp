// The proxy app's executable on Linux: composes the delegate with the system's adapters and serves it.
// Usage: CorvanaStub [URL or file...]

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "core/identity/log.h"
#include "platform/linux/event_loop.h"
#include "platform/linux/system_log.h"
#include "platform/linux/workspace_linux.h"
#include "platform/running_bundle.h"
#include "stub/stub_app_delegate.h"

namespace {

/// What a launcher hands over: a URL, or the path of a file.
std::optional<corvana::URL> urlFrom(const char* argument) {
  if (auto url = corvana::URL::absolute(argument)) return url;
  std::error_code error;
  if (!std::filesystem::exists(argument, error)) return std::nullopt;
  return corvana::URL::file(std::filesystem::absolute(argument));
}

int run(std::vector<corvana::URL> urls) {
  using namespace corvana;
  EventLoop loop;
  const auto quit = [&loop] { loop.quit(0); };
  const Timer onTerminate = loop.onSignal(SIGTERM, quit);
  const Timer onInterrupt = loop.onSignal(SIGINT, quit);
  WorkspaceLinux workspace(loop);
  StubAppDelegate delegate(Bundle{runningBundlePath()}, workspace, loop, quit);
  delegate.applicationOpen(std::move(urls));
  delegate.applicationDidFinishLaunching();
  return loop.run();
}

}  // namespace

int main(int argumentCount, char** arguments) {
  // Whoever started us may have had children reaped automatically, and ours are waited for.
  (void)std::signal(SIGCHLD, SIG_DFL);
  corvana::SystemLog log;
  corvana::Log::setSink(&log);
  try {
    std::vector<corvana::URL> urls;
    for (int i = 1; i < argumentCount; ++i) {
      auto url = urlFrom(arguments[i]);
      if (!url) {
        std::fprintf(stderr, "%s: neither a URL with a scheme nor an existing file: %s\n", arguments[0], arguments[i]);
        return 2;
      }
      urls.push_back(std::move(*url));
    }
    return run(std::move(urls));
  } catch (const std::exception& error) {
    corvana::Log::stub.error("cannot run: ", error.what());
    return 1;
  }
}
