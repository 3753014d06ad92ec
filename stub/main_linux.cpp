// The proxy app's executable on Linux: composes the delegate with the system's adapters and serves it.
// Usage: CorvanaStub [URL or file...]
//        CorvanaStub --action=ACTION   does what the menu's entry does; one that is running does it, if there is one
//        CorvanaStub --told-by-bus     waits to be told by the session bus, which has started it, what to do

#include <malloc.h>

#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "core/identity/log.h"
#include "core/identity/url.h"
#include "core/ipc/helper_link.h"
#include "core/stub/menu_builder.h"
#include "platform/application/alerts_linux.h"
#include "platform/application/application_linux.h"
#include "platform/application/user_notifications_dbus.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/menu_actions_linux.h"
#include "platform/desktop/running_bundle.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/log/system_log_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "platform/loop/session_bus_linux.h"
#include "platform/windows/window_list_x11.h"
#include "stub/stub_app_delegate.h"

namespace {

using namespace corvana;

/// A command line that was not understood.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What a launcher hands over: a URL, or the path of a file.
std::string urlFrom(const char* argument) {
  const auto url = URL::ofArgument(argument);
  if (!url) throw UsageError(std::string("neither a URL with a scheme nor an existing file: ") + argument);
  return url->absoluteString();
}

Opening openingFrom(int argumentCount, char** arguments) {
  constexpr std::string_view actionOption = "--action=";
  Opening opening;
  for (int i = 1; i < argumentCount; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--told-by-bus") {
      opening.isToldByBus = true;
    } else if (argument.starts_with(actionOption)) {
      opening.action = actionNamed(argument.substr(actionOption.size()));
      if (!opening.action) throw UsageError("there is no such action: " + std::string(argument));
    } else {
      opening.urls.push_back(urlFrom(arguments[i]));
    }
  }
  if (!opening.urls.empty() && (opening.action || opening.isToldByBus)) {
    throw UsageError("URLs cannot be combined with an option");
  }
  return opening;
}

/// A damaged Info.plist is the delegate's to report; the app runs without.
PropertyDictionary infoDictionary(const Bundle& bundle) {
  try {
    return bundle.infoDictionary().value_or(PropertyDictionary());
  } catch (const std::runtime_error&) {
    return {};
  }
}

/// What tells an app from others whose Info.plist does not: where it is, so that it still runs only once.
std::string identifierOfPath(const Bundle& bundle) {
  return "app.corvana.damaged-" + std::to_string(std::hash<std::string>()(bundle.path.string()));
}

/// What the app is, and its shortcuts, which no menu shows.
Alert aboutAlert(const StubConfig& config, const std::string& name) {
  std::string text = "The app of " + config.subject() + ", made with Corvana.\n\nIn the windows that it opens:";
  for (const MenuItem& item : MenuBuilder::menu(name)) {
    if (!item.action || !actionName(*item.action) || item.keyEquivalent == 0) continue;
    const auto key = static_cast<char>(std::toupper(static_cast<unsigned char>(item.keyEquivalent)));
    text += "\nSuper+" + std::string(1, key) + ": " + item.title;
  }
  return {.messageText = name, .informativeText = text};
}

int run(const Opening& opening) {
  const Bundle bundle{runningBundlePath()};
  const PropertyDictionary plist = infoDictionary(bundle);
  const std::string identifier = Bundle::identifier(plist).value_or(identifierOfPath(bundle));
  const std::string name = Bundle::displayName(plist).value_or(std::string(StubAppDelegate::defaultDisplayName));

  EventLoop loop;
  LaunchContext context(identifier);
  SessionBus bus(loop);
  UserNotificationsDBus notifications(bus, context, identifier, name);
  notifications.onFailure = [](const std::string& title, const std::string& body) {
    Log::stub.error("could not show: ", title, ": ", body);
  };
  AlertsLinux alerts(loop, context, notifications, name);
  std::optional<StubAppDelegate> delegate;
  const auto showAbout = [&](std::function<void()> done) {
    alerts.runModal(aboutAlert(delegate->config(), name), std::move(done));
  };
  ApplicationLinux application(loop, bus, context, identifier, showAbout);
  if (application.handOver(opening)) return 0;
  if (bus.get() == nullptr) {
    Log::stub.notice("there is no session bus; nothing can be handed to this app while it runs");
  }

  WorkspaceLinux workspace(loop, context);
  workspace.onNotice([](const std::string& text) { Log::stub.notice(text); });
  WindowListX11 windows;
  ReadQueueLinux readQueue("app.corvana.link");
  HelperLink link(loop, readQueue, workspace);
  delegate.emplace(bundle, StubAppDelegate::System{.mainQueue = loop,
                                                   .clock = loop,
                                                   .workspace = workspace,
                                                   .windows = windows,
                                                   .application = application,
                                                   .notifications = notifications,
                                                   .alerts = alerts,
                                                   .link = link});
  // What the start needed is given back to the system: this program stays all day, and there may be many of it.
  const Timer afterStart = loop.after(std::chrono::seconds(1), [] { (void)::malloc_trim(0); });
  return application.run(*delegate, opening);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  // Whoever started us may have had children reaped automatically, and ours are waited for.
  (void)std::signal(SIGCHLD, SIG_DFL);
  (void)std::signal(SIGPIPE, SIG_IGN);  // an X server that ends is no reason to end
  (void)::mallopt(M_ARENA_MAX, 1);      // the second thread allocates too little to have memory of its own for that
  SystemLog log;
  Log::setSink(&log);
  try {
    return run(openingFrom(argumentCount, arguments));
  } catch (const UsageError& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 2;
  } catch (const std::exception& error) {
    Log::stub.error("cannot run: ", error.what());
    return 1;
  }
}
