#include "platform/application/application_linux.h"

#include <array>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/menu_actions_linux.h"
#include "platform/text/ascii.h"
#include "platform/windows/startup_notification_x11.h"

namespace corvana {
namespace {

constexpr const char* interface = "org.freedesktop.Application";
/// How long a program that the bus has started waits to be told what for.
constexpr std::chrono::seconds idleLimit{10};
/// How long it stays after the last thing that it was started for.
constexpr std::chrono::milliseconds lastWordsTime{200};
/// Each time the running instance may have ended in between.
constexpr int handOverAttempts = 5;

int ignore(sd_bus_message*, void*, sd_bus_error*) noexcept {
  return 0;
}

/// The platform data that a caller sends along: how the user came to call ("Desktop Entry Specification" 1.5).
struct PlatformData {
  std::string startupID;
  std::string activationToken;
};

PlatformData readPlatformData(sd_bus_message* message) {
  PlatformData result;
  if (::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0) return result;
  while (::sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    const char* key = nullptr;
    const char* content = nullptr;
    if (::sd_bus_message_read(message, "s", &key) < 0) return result;
    const std::string_view name = key;
    std::string* place = nullptr;
    if (name == "desktop-startup-id") place = &result.startupID;
    if (name == "activation-token") place = &result.activationToken;
    if (place != nullptr && ::sd_bus_message_peek_type(message, nullptr, &content) > 0 &&
        std::string_view(content) == "s") {
      const char* text = nullptr;
      if (::sd_bus_message_read(message, "v", "s", &text) < 0) return result;
      *place = text;
    } else if (::sd_bus_message_skip(message, "v") < 0) {
      return result;
    }
    if (::sd_bus_message_exit_container(message) < 0) return result;
  }
  (void)::sd_bus_message_exit_container(message);
  return result;
}

void check(int result) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), "cannot write a message");
}

void appendPlatformData(sd_bus_message* message, const LaunchContext& context) {
  check(::sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}"));
  const auto append = [message](const char* key, const std::string& text) {
    if (text.empty() || !ascii::isASCII(text)) return;
    check(::sd_bus_message_append(message, "{sv}", key, "s", text.c_str()));
  };
  append("desktop-startup-id", context.startupID());
  append("activation-token", context.activationToken());
  check(::sd_bus_message_close_container(message));
}

}  // namespace

/// The object on the bus. What callers ask for is done before they are answered, so that a caller who is answered may
/// end.
struct ApplicationLinux::Object {
  static ApplicationLinux& application(void* userData) { return *static_cast<ApplicationLinux*>(userData); }

  static int activate(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    return perform(message, userData, {});
  }

  static int open(sd_bus_message* message, void* userData, sd_bus_error* error) noexcept {
    Opening opening;
    if (::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "s") < 0) return invalid(error);
    const char* url = nullptr;
    while (::sd_bus_message_read(message, "s", &url) > 0) opening.urls.emplace_back(url);
    if (::sd_bus_message_exit_container(message) < 0) return invalid(error);
    return perform(message, userData, opening);
  }

  static int activateAction(sd_bus_message* message, void* userData, sd_bus_error* error) noexcept {
    const char* name = nullptr;
    if (::sd_bus_message_read(message, "s", &name) < 0 || ::sd_bus_message_skip(message, "av") < 0) {
      return invalid(error);
    }
    const auto action = actionNamed(name);
    if (!action) return ::sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS, "There is no action \"%s\"", name);
    return perform(message, userData, {.action = action});
  }

  static int disconnected(sd_bus_message*, void* userData, sd_bus_error*) noexcept {
    application(userData).quit();
    return 0;
  }

  static int perform(sd_bus_message* message, void* userData, const Opening& opening) {
    ApplicationLinux& self = application(userData);
    PlatformData data = readPlatformData(message);
    self.context_.userActed(std::move(data.startupID), std::move(data.activationToken));
    self.open(opening);
    return ::sd_bus_reply_method_return(message, nullptr);
  }

  static int invalid(sd_bus_error* error) {
    return ::sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "The arguments could not be read");
  }

  static constexpr std::array<sd_bus_vtable, 5> table{
      {SD_BUS_VTABLE_START(0),
       SD_BUS_METHOD_WITH_ARGS("Activate", SD_BUS_ARGS("a{sv}", platform_data), SD_BUS_NO_RESULT, activate,
                               SD_BUS_VTABLE_UNPRIVILEGED),
       SD_BUS_METHOD_WITH_ARGS("Open", SD_BUS_ARGS("as", uris, "a{sv}", platform_data), SD_BUS_NO_RESULT, open,
                               SD_BUS_VTABLE_UNPRIVILEGED),
       SD_BUS_METHOD_WITH_ARGS("ActivateAction", SD_BUS_ARGS("s", action_name, "av", parameter, "a{sv}", platform_data),
                               SD_BUS_NO_RESULT, activateAction, SD_BUS_VTABLE_UNPRIVILEGED),
       SD_BUS_VTABLE_END}};
};

ApplicationLinux::ApplicationLinux(EventLoop& loop, SessionBus& bus, LaunchContext& context,
                                   std::string bundleIdentifier, std::function<void(std::function<void()>)> showAbout)
    : loop_(loop),
      bus_(bus),
      context_(context),
      id_(applicationID(bundleIdentifier)),
      showAbout_(std::move(showAbout)),
      activator_(loop),
      shortcuts_(loop, context.startupIDPrefix(),
                 [this](MenuItem::Action action, std::uint32_t time) {
                   context_.userActed("_TIME" + std::to_string(time), {});
                   perform(action);
                 }),
      onTerminate_(loop.onSignal(SIGTERM, [this] { quit(); })),
      onInterrupt_(loop.onSignal(SIGINT, [this] { quit(); })) {}

ApplicationLinux::~ApplicationLinux() = default;

bool ApplicationLinux::handOver(const Opening& opening) {
  if (!exportObject()) return false;
  for (int i = 0; i < handOverAttempts; ++i) {
    if (becomeOnlyInstance()) return false;
    // What the bus has started is told by the bus, which has found the other instance by now.
    if (opening.isToldByBus) return true;
    if (forward(opening)) return true;
  }
  throw std::runtime_error(id_ + " keeps ending and starting");
}

bool ApplicationLinux::exportObject() {
  // Before the name is taken, since whoever sees that may call at once.
  sd_bus_slot* slot = nullptr;
  if (bus_.get() == nullptr || ::sd_bus_add_object_vtable(bus_.get(), &slot, objectPath(id_).c_str(), interface,
                                                          Object::table.data(), this) < 0) {
    return false;
  }
  object_.reset(slot);
  // With the bus, the session has ended; and without its name this would no longer be the only instance.
  if (::sd_bus_match_signal_async(bus_.get(), &slot, nullptr, "/org/freedesktop/DBus/Local",
                                  "org.freedesktop.DBus.Local", "Disconnected", Object::disconnected, ignore,
                                  this) >= 0) {
    disconnection_.reset(slot);
  }
  return true;
}

bool ApplicationLinux::becomeOnlyInstance() {
  const int result = ::sd_bus_request_name(bus_.get(), id_.c_str(), 0);
  // A bus that cannot say does not keep the application from running.
  return result != -EEXIST;
}

bool ApplicationLinux::forward(const Opening& opening) {
  const bool opens = !opening.urls.empty();
  const char* method = "Activate";
  if (opens) method = "Open";
  if (opening.action) method = "ActivateAction";
  const BusMessage call = bus_.methodCall(id_.c_str(), objectPath(id_).c_str(), interface, method);
  if (!call) return false;
  if (opening.action) {
    check(::sd_bus_message_append(call.get(), "sav", actionName(*opening.action)->c_str(), 0));
  } else if (opens) {
    check(::sd_bus_message_open_container(call.get(), SD_BUS_TYPE_ARRAY, "s"));
    for (const std::string& url : opening.urls) check(::sd_bus_message_append(call.get(), "s", url.c_str()));
    check(::sd_bus_message_close_container(call.get()));
  }
  appendPlatformData(call.get(), context_);

  sd_bus_error error{};
  const int result = ::sd_bus_call(bus_.get(), call.get(), 0, &error, nullptr);
  const bool hasEnded = ::sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                                                 SD_BUS_ERROR_NO_REPLY) > 0;
  const std::string description = error.message == nullptr ? "" : error.message;
  ::sd_bus_error_free(&error);
  if (result < 0 && !hasEnded) throw std::runtime_error(id_ + " is running but did not answer: " + description);
  return result >= 0;
}

int ApplicationLinux::run(ApplicationDelegate& delegate, const Opening& opening) {
  delegate_ = &delegate;
  if (opening.isToldByBus) {
    idleTimer_ = loop_.after(idleLimit, [this] { loop_.quit(0); });
  } else {
    open(opening);
  }
  return loop_.run();
}

void ApplicationLinux::open(const Opening& opening) {
  // It is Chrome that shows a window, under a start-up ID of its own.
  if (const std::string& startupID = context_.startupID(); !startupID.empty()) {
    loop_.post([startupID] { endStartupNotification(startupID); });
  }
  if (opening.action) return perform(*opening.action);
  if (!didLaunch_) return launch([&] { delegate_->applicationOpen(opening.urls); });
  if (opening.urls.empty()) return delegate_->applicationShouldHandleReopen();
  delegate_->applicationOpen(opening.urls);
}

void ApplicationLinux::perform(MenuItem::Action action) {
  switch (action) {
    case MenuItem::Action::about:
      idleTimer_ = {};
      return showAbout_([this] {
        // It may have been started for nothing else. What takes the alert's place may still have to be sent.
        if (!didLaunch_) idleTimer_ = loop_.after(lastWordsTime, [this] { loop_.quit(0); });
      });
    case MenuItem::Action::openNewWindow:
      return didLaunch_ ? delegate_->openNewWindow() : launch([this] { delegate_->openNewWindow(); });
    case MenuItem::Action::bringToFront:
      return didLaunch_ ? delegate_->bringToFront() : launch([] {});
    case MenuItem::Action::terminate:
      return quit();
    case MenuItem::Action::hide:
      return;
  }
}

void ApplicationLinux::launch(const std::function<void()>& open) {
  idleTimer_ = {};
  didLaunch_ = true;
  delegate_->applicationWillFinishLaunching();
  open();
  delegate_->applicationDidFinishLaunching();
}

void ApplicationLinux::quit() {
  if (!didLaunch_) return loop_.quit(0);
  if (!isQuestionPending_) terminate();
}

void ApplicationLinux::setMainMenu(std::vector<MenuItem> menu) {
  std::erase_if(menu, [](const MenuItem& item) { return !item.action || !actionName(*item.action); });
  // Chrome's start comes first.
  loop_.post([this, menu = std::move(menu)] { shortcuts_.set(menu); });
}

void ApplicationLinux::terminate() {
  if (isQuestionPending_) return replyToApplicationShouldTerminate(true);
  isQuestionPending_ = true;
  if (delegate_->applicationShouldTerminate() == ApplicationDelegate::TerminateReply::terminateNow) {
    replyToApplicationShouldTerminate(true);
  }
}

void ApplicationLinux::replyToApplicationShouldTerminate(bool shouldTerminate) {
  if (!std::exchange(isQuestionPending_, false) || !shouldTerminate || std::exchange(hasEnded_, true)) return;
  // Who starts the application from now on gets a new one.
  if (bus_.get() != nullptr) (void)::sd_bus_release_name_async(bus_.get(), nullptr, id_.c_str(), ignore, nullptr);
  delegate_->applicationWillTerminate();
  loop_.quit(0);
}

void ApplicationLinux::handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) {
  activator_.activate(other.processIdentifier, context_.userTime(), std::move(completion));
}

}  // namespace corvana
