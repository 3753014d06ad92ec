#include "platform/application/application_linux.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/desktop/application_calls_linux.h"
#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/menu_actions_linux.h"
#include "platform/windows/startup_notification_x11.h"

namespace corvana {
namespace {

/// How long a program that the bus has started waits to be told what for.
constexpr std::chrono::seconds idleLimit{10};
/// How long it stays after the last thing that it was started for.
constexpr std::chrono::milliseconds lastWordsTime{200};
/// Each time the running instance may have ended in between.
constexpr int handOverAttempts = 5;

int ignore(sd_bus_message*, void*, sd_bus_error*) noexcept {
  return 0;
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
    PlatformData data = applicationCalls::readPlatformData(message);
    self.context_.userActed(std::move(data.startupID), std::move(data.activationToken));
    self.asked_ = Asked{.call = message, .claimedSource = std::move(data.source)};
    self.open(opening);
    self.asked_.reset();
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
      bundleIdentifier_(std::move(bundleIdentifier)),
      id_(applicationID(bundleIdentifier_)),
      showAbout_(std::move(showAbout)),
      activator_(loop),
      shortcuts_(loop, context.startupIDPrefix(),
                 [this](MenuItem::Action action, std::uint32_t time) {
                   context_.userActed("_TIME" + std::to_string(time), {});
                   perform(action);
                 }),
      onTerminate_(loop.onSignal(SIGTERM, [this] { quit(); })),
      onInterrupt_(loop.onSignal(SIGINT, [this] { quit(); })) {
  // Whoever started us with nohup wants us to outlive the terminal.
  struct sigaction hangUp {};
  if (::sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
    onHangUp_.emplace(loop.onSignal(SIGHUP, [this] { quit(); }));
  }
}

ApplicationLinux::~ApplicationLinux() = default;

bool ApplicationLinux::handOver(const Opening& opening) {
  if (!exportObject()) return false;
  for (int i = 0; i < handOverAttempts; ++i) {
    if (becomeOnlyInstance()) return false;
    // What the bus has started is told by the bus, which has found the other instance by now.
    if (opening.isToldByBus) return true;
    if (forward(bus_, context_, id_, opening, Start::none)) return true;
  }
  throw std::runtime_error(id_ + " keeps ending and starting");
}

bool ApplicationLinux::exportObject() {
  // Before the name is taken, since whoever sees that may call at once.
  sd_bus_slot* slot = nullptr;
  if (bus_.get() == nullptr ||
      ::sd_bus_add_object_vtable(bus_.get(), &slot, objectPath(id_).c_str(), applicationCalls::interface,
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

bool ApplicationLinux::handOverTo(const SessionBus& bus, const LaunchContext& context,
                                  std::string_view bundleIdentifier, const Opening& opening) {
  return forward(bus, context, applicationID(bundleIdentifier), opening, Start::byBus);
}

bool ApplicationLinux::forward(const SessionBus& bus, const LaunchContext& context, const std::string& id,
                               const Opening& opening, Start start) {
  const PlatformData data{
      .startupID = context.startupID(), .activationToken = context.activationToken(), .source = opening.source};
  const BusMessage call = opening.action ? applicationCalls::activateAction(bus, id, *actionName(*opening.action), data)
                                         : applicationCalls::open(bus, id, opening.urls, data);
  if (!call) return false;
  if (start == Start::byBus) (void)::sd_bus_message_set_auto_start(call.get(), 1);

  sd_bus_error error{};
  const int result = ::sd_bus_call(bus.get(), call.get(), 0, &error, nullptr);
  const bool hasEnded = applicationCalls::sayNobodyDidIt(error);
  const std::string description = error.message == nullptr ? "" : error.message;
  ::sd_bus_error_free(&error);
  if (result == -ETIMEDOUT && !hasEnded) {
    // The call is in its queue, and nothing takes it out again.
    throw std::runtime_error(id +
                             " is running but does not answer, as when it is stopped; it has been told, and will "
                             "do what it was told when it goes on");
  }
  if (result < 0 && !hasEnded) throw std::runtime_error(id + " is running but did not answer: " + description);
  return result >= 0;
}

std::optional<OpeningSource> ApplicationLinux::openingSource() {
  if (!asked_) return std::nullopt;
  pid_t caller = ::getpid();  // it was started for that
  if (asked_->call != nullptr) {
    sd_bus_creds* rawCredentials = nullptr;
    if (::sd_bus_query_sender_creds(asked_->call, SD_BUS_CREDS_PID, &rawCredentials) < 0) return std::nullopt;
    const BusCredentials credentials(rawCredentials);
    if (::sd_bus_creds_get_pid(credentials.get(), &caller) < 0) return std::nullopt;
  }
  // Whoever may call here could as well start a program under another's name; one in a sandbox could not.
  if (!asked_->claimedSource.empty() && !CallingApplications::isSandboxed(caller)) {
    return CallingApplications::named(asked_->claimedSource);
  }
  if (!callers_) callers_.emplace(bundleIdentifier_);
  return callers_->find(caller);
}

int ApplicationLinux::run(ApplicationDelegate& delegate, const Opening& opening) {
  delegate_ = &delegate;
  if (opening.isToldByBus) {
    idleTimer_ = loop_.after(idleLimit, [this] { loop_.quit(0); });
  } else {
    asked_ = Asked{.call = nullptr, .claimedSource = opening.source};
    open(opening);
    asked_.reset();
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
