// The program as an application of the desktop: on a session bus of the test's own, with several of them in one
// process.
#include "platform/application/application_linux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <memory>
#include <thread>

#include "platform/application/alerts_linux.h"
#include "platform/application/user_notifications_dbus.h"
#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/application_registration_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/property_list.h"
#include "tests/fakes/fake_application.h"
#include "tests/fakes/fake_user_notifications.h"
#include "tests/support/private_bus.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using support::TemporaryHome;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* identifier = "app.corvana.0a1b";

/// Notes down what it is told.
class RecordingDelegate final : public ApplicationDelegate {
 public:
  std::vector<std::string> told;
  TerminateReply reply = TerminateReply::terminateNow;
  std::function<void()> onTold = [] {};

  void applicationWillFinishLaunching() override { note("will finish launching"); }
  void applicationDidFinishLaunching() override { note("did finish launching"); }
  void applicationOpen(const std::vector<std::string>& urls) override {
    for (const std::string& url : urls) note("open " + url);
  }
  void applicationShouldHandleReopen() override { note("reopen"); }
  void openNewWindow() override { note("new window"); }
  void bringToFront() override { note("bring to front"); }
  TerminateReply applicationShouldTerminate() override {
    note("should terminate");
    return reply;
  }
  void applicationWillTerminate() override { note("will terminate"); }

 private:
  void note(std::string what) {
    told.push_back(std::move(what));
    onTold();
  }
};

// Both kinds of application end in the same way.

void withFake(ApplicationDelegate& delegate, const std::function<void(Application&)>& body) {
  fakes::FakeApplication application;
  application.delegate = &delegate;
  body(application);
}

void withoutABus(ApplicationDelegate& delegate, const std::function<void(Application&)>& body) {
  TemporaryHome home;
  home.environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
  EventLoop loop;
  SessionBus bus(loop);
  LaunchContext context(identifier);
  ApplicationLinux application(loop, bus, context, identifier, nullptr);
  EXPECT_FALSE(application.handOver({}));
  loop.post([&] { body(application); });
  EXPECT_EQ(application.run(delegate, {}), 0);
}

TEST(ApplicationContract, EndsWhenItsDelegateAgreesAndOnlyOnce) {
  using enum ApplicationDelegate::TerminateReply;
  for (const auto& with : {withFake, withoutABus}) {
    RecordingDelegate delegate;
    with(delegate, [&delegate](Application& application) {
      delegate.told.clear();
      application.replyToApplicationShouldTerminate(true);
      EXPECT_THAT(delegate.told, IsEmpty()) << "nobody has asked";

      delegate.reply = terminateLater;
      application.terminate();
      application.replyToApplicationShouldTerminate(false);
      application.replyToApplicationShouldTerminate(true);
      EXPECT_THAT(delegate.told, ElementsAre("should terminate")) << "the first reply counts";

      delegate.told.clear();
      delegate.onTold = [&] { application.replyToApplicationShouldTerminate(false); };
      application.terminate();
      delegate.onTold = [] {};
      application.replyToApplicationShouldTerminate(true);
      EXPECT_THAT(delegate.told, ElementsAre("should terminate")) << "a reply may come before the promise of it";

      application.terminate();
      application.terminate();
      EXPECT_THAT(delegate.told, ElementsAre("should terminate", "should terminate", "will terminate"))
          << "its own wish is the reply";
      application.terminate();
      application.replyToApplicationShouldTerminate(true);
      EXPECT_EQ(std::ranges::count(delegate.told, "will terminate"), 1);
    });
  }
}

TEST(ApplicationSignals, ThoseThatEndAProgramAreTheWishToQuitUnlessItsStarterIgnoresThem) {
  struct Row {
    int signal;
    bool isIgnored;
  };
  for (const Row& row : {Row{SIGTERM, false}, {SIGINT, false}, {SIGHUP, false}, {SIGHUP, true}}) {
    const auto before = std::signal(row.signal, row.isIgnored ? SIG_IGN : SIG_DFL);
    // Earlier applications of this process have left it blocked, and it would wait for the next one.
    sigset_t own;
    sigset_t mask;
    ::sigemptyset(&own);
    ::sigaddset(&own, row.signal);
    ::pthread_sigmask(SIG_UNBLOCK, &own, &mask);
    RecordingDelegate delegate;
    withoutABus(delegate, [&](Application& application) {
      delegate.told.clear();
      ASSERT_EQ(::kill(::getpid(), row.signal), 0);
      if (row.isIgnored) application.terminate();
    });
    EXPECT_THAT(delegate.told, ElementsAre("should terminate", "will terminate")) << row.signal;
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    (void)std::signal(row.signal, before);
  }
}

/// A session bus, and the application running on a thread of its own.
class OnTheBus : public testing::Test {
 protected:
  ~OnTheBus() override {
    if (thread_.joinable()) thread_.join();
  }

  /// Runs it until it ends; returns when it has its name.
  void start(const Opening& opening) {
    std::promise<void> ready;
    thread_ = std::thread([&, opening] {
      EventLoop loop;
      SessionBus bus(loop);
      LaunchContext context(identifier);
      ApplicationLinux application(loop, bus, context, identifier, [this](const std::function<void()>& done) {
        delegate.told.push_back("about");
        done();
      });
      EXPECT_FALSE(application.handOver(opening));
      ready.set_value();
      EXPECT_EQ(application.run(delegate, opening), 0);
      lastEnvironment = context.environment();
    });
    ready.get_future().wait();
  }

  /// A second start of the application.
  bool handsOver(const Opening& opening) {
    EventLoop loop;
    SessionBus bus(loop);
    LaunchContext context(identifier);
    ApplicationLinux application(loop, bus, context, identifier, nullptr);
    return application.handOver(opening);
  }

  std::string call(const char* method, const char* types, auto... arguments) {
    EventLoop loop;
    SessionBus bus(loop);
    sd_bus_error error{};
    (void)::sd_bus_call_method(bus.get(), "app.corvana._0a1b", "/app/corvana/_0a1b", "org.freedesktop.Application",
                               method, &error, nullptr, types, arguments...);
    std::string result = error.name == nullptr ? "" : error.name;
    ::sd_bus_error_free(&error);
    return result;
  }

  std::vector<std::string> toldUntilItEnded() {
    thread_.join();
    return delegate.told;
  }

  TemporaryHome home;
  support::PrivateBus privateBus;
  RecordingDelegate delegate;
  std::vector<std::string> lastEnvironment;

 private:
  std::thread thread_;
};

TEST_F(OnTheBus, ASecondStartHandsOverAndIsDone) {
  start({.urls = {"https://first/"}});
  EXPECT_TRUE(handsOver({}));
  EXPECT_TRUE(handsOver({.urls = {"https://a/", "https://b/%20"}}));
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::openNewWindow}));
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::bringToFront}));
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::about}));
  EXPECT_TRUE(handsOver({.isToldByBus = true})) << "the bus tells the first one";
  EXPECT_THROW(handsOver({.urls = {"https://\xff/"}}), std::system_error);
  home.environment.set("DESKTOP_STARTUP_ID", "dock-1_TIME4242");
  home.environment.set("XDG_ACTIVATION_TOKEN", "token");
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::terminate}));
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("will finish launching", "open https://first/", "did finish launching",
                                              "reopen", "open https://a/", "open https://b/%20", "new window",
                                              "bring to front", "about", "should terminate", "will terminate"));
  EXPECT_THAT(lastEnvironment, ElementsAre(testing::EndsWith("_TIME4242"), "XDG_ACTIVATION_TOKEN=token"));
  EXPECT_FALSE(handsOver({})) << "it has ended";
}

TEST_F(OnTheBus, WhatTheBusStartsWaitsToBeToldWhatFor) {
  start({.isToldByBus = true});
  EXPECT_EQ(call("Open", "asa{sv}", 2, "https://a/", "https://b/", 1, "desktop-startup-id", "i", 7), "");
  EXPECT_EQ(call("ActivateAction", "sava{sv}", "quit", 1, "s", "x", 2, "other", "b", 1, "activation-token", "s", "t"),
            "");
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("will finish launching", "open https://a/", "open https://b/",
                                              "did finish launching", "should terminate", "will terminate"));
  EXPECT_THAT(lastEnvironment, Contains("XDG_ACTIVATION_TOKEN=t"));
}

TEST_F(OnTheBus, ANewWindowIsAllThatItIsStartedFor) {
  start({.isToldByBus = true});
  EXPECT_EQ(call("ActivateAction", "sava{sv}", "new-window", 0, 0), "");
  EXPECT_EQ(call("ActivateAction", "sava{sv}", "hide", 0, 0), SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(call("ActivateAction", "sava{sv}", "", 0, 0), SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(call("Open", "s", "https://a/"), SD_BUS_ERROR_INVALID_ARGS);
  EXPECT_EQ(call("Activate", "a{sv}", 0), "");
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::terminate}));
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("will finish launching", "new window", "did finish launching", "reopen",
                                              "should terminate", "will terminate"));
}

TEST_F(OnTheBus, ItEndsWithTheBus) {
  start({});
  privateBus.stop();
  EXPECT_THAT(toldUntilItEnded(),
              ElementsAre("will finish launching", "did finish launching", "should terminate", "will terminate"));
}

TEST_F(OnTheBus, WhatNeedsNoApplicationLaunchesNone) {
  start({.action = MenuItem::Action::about});
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("about"));
  start({.isToldByBus = true});
  EXPECT_EQ(call("ActivateAction", "sava{sv}", "quit", 0, 0), "");
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("about"));
}

/// A bundle of that application whose program notes down that it was started.
std::filesystem::path writeBundle(const TemporaryHome& home) {
  home.write("W.app/Contents/Info.plist", PropertyList::xml({{"CFBundleIdentifier", {std::string(identifier)}},
                                                             {"CFBundleExecutable", {std::string("Stub")}}}));
  const auto program =
      home.write("W.app/Contents/MacOS/Stub", "#!/bin/sh\nprintf '%s\\n' \"$@\" >> \"$HOME/started\"\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  return home.path() / "W.app";
}

/// Opens the bundle over the bus; gives what went wrong.
std::optional<OpenError> openBundle(const std::filesystem::path& bundle, const std::vector<std::string>& arguments) {
  EventLoop loop;
  SessionBus bus(loop);
  LaunchContext context("app.corvana.test");
  context.userActed("x_TIME77", "token");
  WorkspaceLinux workspace(loop, context, 1s, &bus, 200ms);
  std::optional<std::optional<OpenError>> result;
  workspace.openApplication(bundle, {.arguments = arguments, .createsNewApplicationInstance = true},
                            [&](std::optional<OpenError> error) {
                              EXPECT_FALSE(result) << "reported twice";
                              result = std::move(error);
                            });
  EXPECT_FALSE(result) << "reported inside the call";
  loop.runUntil([&] { return result.has_value(); });
  return *result;
}

TEST_F(OnTheBus, ABundlesApplicationIsCalledAndItsProgramNotStarted) {
  const auto bundle = writeBundle(home);
  start({});
  EXPECT_FALSE(openBundle(bundle, {"https://a/", "https://b/%20"}));
  EXPECT_FALSE(openBundle(bundle, {}));
  EXPECT_FALSE(std::filesystem::exists(home.path() / "started"));
  EXPECT_TRUE(handsOver({.action = MenuItem::Action::terminate}));
  EXPECT_THAT(toldUntilItEnded(), ElementsAre("will finish launching", "did finish launching", "open https://a/",
                                              "open https://b/%20", "reopen", "should terminate", "will terminate"));
}

TEST_F(OnTheBus, ABundlesProgramIsStartedWhereNobodyCanBeCalled) {
  const auto bundle = writeBundle(home);
  EXPECT_FALSE(openBundle(bundle, {"https://nobody/"}));
  EXPECT_FALSE(openBundle(bundle, {"--option", "https://option/"}));
  EXPECT_FALSE(openBundle(bundle, {"https://\xff/"})) << "no text for the bus";
  EXPECT_EQ(support::readFile(home.path() / "started"), "https://nobody/\n--option\nhttps://option/\nhttps://\xff/\n");
}

TEST_F(OnTheBus, AnApplicationThatDoesNotAnswerHasWhatItWasGiven) {
  const auto bundle = writeBundle(home);
  EventLoop loop;
  SessionBus deaf(loop);
  ASSERT_GE(::sd_bus_request_name(deaf.get(), "app.corvana._0a1b", 0), 0);
  EXPECT_FALSE(openBundle(bundle, {"https://a/"}));
  EXPECT_FALSE(std::filesystem::exists(home.path() / "started")) << "it would be opened twice";
}

/// The desktop's notification service, on a connection of its own in the same loop.
class NotificationService {
 public:
  explicit NotificationService(EventLoop& loop, bool hasMarkup) : bus_(loop), hasMarkup_(hasMarkup) {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("GetCapabilities", "", "as", capabilities, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", notify, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("CloseNotification", "u", "", close, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};
    sd_bus_slot* slot = nullptr;
    EXPECT_GE(::sd_bus_add_object_vtable(bus_.get(), &slot, path, name, table, this), 0);
    object_.reset(slot);
    EXPECT_GE(::sd_bus_request_name(bus_.get(), name, 0), 0);
  }

  void signal(const char* signal, const char* types, auto... arguments) {
    EXPECT_GE(::sd_bus_emit_signal(bus_.get(), path, name, signal, types, arguments...), 0);
  }

  /// Titles and bodies as they came.
  std::vector<std::string> shown;
  /// The numbers of those that were withdrawn.
  std::vector<std::uint32_t> closed;

 private:
  static constexpr const char* name = "org.freedesktop.Notifications";
  static constexpr const char* path = "/org/freedesktop/Notifications";

  static int capabilities(sd_bus_message* call, void* self, sd_bus_error*) {
    const bool hasMarkup = static_cast<NotificationService*>(self)->hasMarkup_;
    return ::sd_bus_reply_method_return(call, "as", 2, "body", hasMarkup ? "body-markup" : "actions");
  }
  static int notify(sd_bus_message* call, void* self, sd_bus_error*) {
    auto& shown = static_cast<NotificationService*>(self)->shown;
    const char *application = nullptr, *icon = nullptr, *title = nullptr, *body = nullptr;
    std::uint32_t replaced = 0;
    EXPECT_GT(::sd_bus_message_read(call, "susss", &application, &replaced, &icon, &title, &body), 0);
    shown.push_back(std::string(application) + ": " + title + "|" + body);
    return ::sd_bus_reply_method_return(call, "u", static_cast<std::uint32_t>(shown.size() + 6));
  }

  static int close(sd_bus_message* call, void* self, sd_bus_error*) {
    std::uint32_t number = 0;
    EXPECT_GT(::sd_bus_message_read(call, "u", &number), 0);
    static_cast<NotificationService*>(self)->closed.push_back(number);
    return ::sd_bus_reply_method_return(call, "");
  }

  SessionBus bus_;
  bool hasMarkup_;
  BusSlot object_;
};

TEST(Notifications, AreShownAsTheServiceReadsThemAndTellOfTheirClicks) {
  const support::PrivateBus bus;
  EventLoop loop;
  SessionBus own(loop);
  LaunchContext context(identifier);
  UserNotificationsDBus notifications(own, context, identifier, "W");
  int taps = 0;
  notifications.setTapHandler([&taps] { ++taps; });
  {
    NotificationService plain(loop, false);
    notifications.post("“R” & <S>", "A & <b>");
    loop.runUntil([&] { return plain.shown.size() == 1; });
    EXPECT_THAT(plain.shown, ElementsAre("W: “R” & <S>|A & <b>"));
  }
  NotificationService service(loop, true);
  notifications.post("“R” & <S>", "A & <b>");
  notifications.post("Second", "");
  loop.runUntil([&] { return service.shown.size() == 2; });
  EXPECT_THAT(service.shown, ElementsAre("W: “R” & <S>|A &amp; &lt;b&gt;", "W: Second|"));

  (void)context.environment();  // takes what it may have
  service.signal("ActionInvoked", "us", 99, "default");
  service.signal("ActionInvoked", "us", 7, "other");
  service.signal("ActivationToken", "us", 99, "another's");
  service.signal("ActivationToken", "us", 7, "token");
  service.signal("ActionInvoked", "us", 7, "default");
  loop.runUntil([&] { return taps == 1; });
  EXPECT_THAT(context.environment(), Contains("XDG_ACTIVATION_TOKEN=token"));
  EXPECT_THAT(context.environment(), Not(Contains("XDG_ACTIVATION_TOKEN=token"))) << "it serves once";
  service.signal("NotificationClosed", "uu", 7, 2);
  service.signal("ActionInvoked", "us", 7, "default");
  service.signal("ActionInvoked", "us", 8, "default");
  loop.runUntil([&] { return taps == 2; });
}

TEST(Notifications, GoWithTheApplication) {
  const support::PrivateBus bus;
  EventLoop loop;
  SessionBus own(loop);
  LaunchContext context(identifier);
  auto notifications = std::make_unique<UserNotificationsDBus>(own, context, identifier, "W");
  int taps = 0;
  notifications->setTapHandler([&taps] { ++taps; });
  NotificationService service(loop, true);
  for (const char* title : {"First", "Second"}) notifications->post(title, "");
  loop.runUntil([&] { return service.shown.size() == 2; });
  service.signal("ActionInvoked", "us", 8, "default");
  service.signal("NotificationClosed", "uu", 7, 2);
  service.signal("ActionInvoked", "us", 8, "default");
  loop.runUntil([&] { return taps == 2; });
  notifications.reset();
  loop.runUntil([&] { return !service.closed.empty(); });
  EXPECT_THAT(service.closed, ElementsAre(8)) << "the other one is gone";
}

TEST(Notifications, WhatCannotBeShownIsSaid) {
  std::vector<std::string> failures;
  const auto post = [&failures] {
    EventLoop loop;
    SessionBus own(loop);
    LaunchContext context(identifier);
    UserNotificationsDBus notifications(own, context, identifier, "W");
    notifications.onFailure = [&](const std::string& title, const std::string& body) {
      failures.push_back(title + "|" + body);
    };
    const std::size_t before = failures.size();
    notifications.post("Title", "Body");
    loop.runUntil([&] { return failures.size() > before; });
  };
  {
    const support::PrivateBus withoutService;
    post();
  }
  TemporaryHome home;
  home.environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
  post();
  EXPECT_THAT(failures, ElementsAre("Title|Body", "Title|Body"));
}

class AlertsTest : public testing::Test {
 protected:
  /// Makes a program in the search path, which has no other, that notes down its arguments.
  void install(const std::string& name, const std::string& then = "") {
    const auto file =
        home.write("bin/" + name, "#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" > \"$HOME/arguments\"\n" + then);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    home.environment.set("PATH", (home.path() / "bin").string());
  }
  std::string show(const Alert& alert) {
    AlertsLinux alerts(loop, context, notifications, "W");
    bool isDismissed = false;
    alerts.runModal(alert, [&] { isDismissed = true; });
    loop.runUntil([&] { return isDismissed; });
    return support::readFile(home.path() / "arguments");
  }

  TemporaryHome home;
  EventLoop loop;
  LaunchContext context{identifier};
  fakes::FakeUserNotifications notifications;
};

TEST_F(AlertsTest, AreShownByTheDesktopsOwnProgram) {
  const Alert alert{"A & B <c>", "Text\nof two lines"};
  home.environment.set("PATH", "/nonexistent");
  EXPECT_EQ(show(alert), "");
  EXPECT_THAT(notifications.posted, ElementsAre(std::pair("A & B <c>", "Text\nof two lines")));

  install("kdialog");
  EXPECT_THAT(show(alert), testing::EndsWith("/kdialog\n--title\nW\n--ok-label\nOK\n--msgbox\n<qt><b>A &amp; B "
                                             "&lt;c&gt;</b><br><br>Text<br>of two lines</qt>\n"));
  install("zenity");
  EXPECT_THAT(show(alert), HasSubstr("/zenity\n--info\n--title=W\n--text=<b>A &amp; B &lt;c&gt;</b>\n\nText\nof two "
                                     "lines\n--ok-label=OK\n"));
  home.environment.set("XDG_CURRENT_DESKTOP", "KDE");
  EXPECT_THAT(show(alert), HasSubstr("/kdialog\n"));
  EXPECT_EQ(notifications.posted.size(), 1u);
}

TEST_F(AlertsTest, AreShownInALocaleThatHasTheirCharacters) {
  install("zenity", "printf '%s' \"$LC_ALL\" > \"$HOME/locale\"\n");
  for (const auto& [locale, seen] : {std::pair("C", "C.UTF-8"), {"nowhere", "C.UTF-8"}, {"C.utf8", "C.utf8"}}) {
    home.environment.set("LC_ALL", locale);
    show({"“A”", "B"});
    EXPECT_EQ(support::readFile(home.path() / "locale"), seen) << locale;
  }
}

TEST_F(AlertsTest, GoWithTheApplication) {
  home.environment.set("XDG_CURRENT_DESKTOP", std::nullopt);
  install("zenity", "echo $$ > \"$HOME/ready\"\nwhile read line; do :; done < \"$HOME/block\"\n");
  ::mkfifo((home.path() / "ready").c_str(), 0600);
  ::mkfifo((home.path() / "block").c_str(), 0600);
  auto alerts = std::make_unique<AlertsLinux>(loop, context, notifications, "W");
  alerts->runModal({"A", "B"}, [] { ADD_FAILURE() << "nobody has dismissed it"; });
  const pid_t dialog = std::stoi(support::readFile(home.path() / "ready"));
  EXPECT_EQ(::kill(dialog, 0), 0);
  alerts.reset();
  int status = 0;
  EXPECT_EQ(::waitpid(dialog, &status, 0), dialog);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST(Registration, TheDesktopFindsWhatIsRegisteredUntilItIsGone) {
  TemporaryHome home;
  home.environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
  const std::string name = "100 % \"W\" $HOME & sons' \\";
  const auto bundle = home.path() / (name + ".app");
  home.write(name + ".app/Contents/Info.plist", PropertyList::xml({{"CFBundleIdentifier", {std::string(identifier)}},
                                                                   {"CFBundleExecutable", {std::string("Stub")}},
                                                                   {"CFBundleDisplayName", {name}},
                                                                   {"CFBundleIconFile", {std::string("Icon")}},
                                                                   {"CVNProfileName", {std::string("Work")}}}));
  home.write(name + ".app/Contents/Resources/Icon.svg", "");
  const auto program = home.write(name + ".app/Contents/MacOS/Stub", "");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);

  ApplicationRegistrationLinux registration;
  EXPECT_THROW(registration.add(home.path(), "", {}), std::runtime_error);
  registration.add(bundle, "Opens it",
                   {{"About", MenuItem::Action::about},
                    {},
                    {"Open New Window", MenuItem::Action::openNewWindow, 'n'},
                    {"Hide", MenuItem::Action::hide, 'h'}});
  EventLoop loop;
  LaunchContext context(identifier);
  WorkspaceLinux workspace(loop, context);
  EXPECT_EQ(workspace.urlForApplication(identifier), bundle);
  const auto entry = DesktopEntry::find("app.corvana._0a1b.desktop");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->name, name);
  EXPECT_EQ(entry->icon, bundle / "Contents/Resources/Icon.svg");
  EXPECT_THAT(entry->commandLine(std::vector<std::string>{"https://a/"}), ElementsAre(program, "https://a/"));
  const std::string text = support::readFile(entry->file);
  EXPECT_THAT(text, HasSubstr("\nStartupWMClass=app.corvana._0a1b\n"));
  EXPECT_THAT(text, HasSubstr("\nActions=about;new-window;\n"));
  EXPECT_THAT(text, HasSubstr("\n[Desktop Action new-window]\nName=Open New Window\n"));
  EXPECT_THAT(text, Not(HasSubstr("MimeType"))) << "it would become the default browser just by being there";

  std::filesystem::remove_all(bundle);
  EXPECT_FALSE(workspace.urlForApplication(identifier));
  registration.remove(identifier);
  registration.remove(identifier);
  EXPECT_FALSE(std::filesystem::exists(entry->file));
  EXPECT_TRUE(std::filesystem::is_empty(home.path() / ".local/share/dbus-1/services"));
}

TEST(Registration, ABrowserCanBeTheDefaultButIsNotByBeingThere) {
  TemporaryHome home;
  home.environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
  const auto bundle = home.path() / "A B/Helper.app";
  home.write("A B/Helper.app/Contents/Info.plist",
             PropertyList::xml({{"CFBundleIdentifier", {std::string("app.corvana.helper")}},
                                {"CFBundleExecutable", {std::string("Helper")}}}));
  const auto program = home.write("A B/Helper.app/Contents/MacOS/Helper", "");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  ApplicationRegistrationLinux registration;
  registration.addBrowser(bundle, "Sends links on");
  const auto entry = DesktopEntry::find("app.corvana.helper.desktop");
  ASSERT_TRUE(entry);
  EXPECT_TRUE(entry->isWithoutDisplay);
  const auto forwarder = home.path() / ".local/share/app.corvana.helper/open-link";
  EXPECT_EQ(entry->exec, forwarder.string() + " --forward %U") << "xdg-open reads no quotes";
  EXPECT_EQ(std::filesystem::canonical(forwarder), program);
  const std::string text = support::readFile(entry->file);
  EXPECT_THAT(text, HasSubstr("\nMimeType=x-scheme-handler/http;x-scheme-handler/https;text/html;"));
  EXPECT_THAT(text, HasSubstr("\nDBusActivatable=true\n"));

  const auto service = home.path() / ".local/share/dbus-1/services/app.corvana.helper.service";
  const auto date = std::filesystem::last_write_time(entry->file);
  const auto serviceDate = std::filesystem::last_write_time(service);
  registration.addBrowser(bundle, "Sends links on");
  EXPECT_EQ(std::filesystem::last_write_time(entry->file), date) << "nothing has changed";
  EXPECT_EQ(std::filesystem::last_write_time(service), serviceDate);
  registration.remove("app.corvana.helper");
  EXPECT_FALSE(std::filesystem::exists(forwarder.parent_path()));
  EXPECT_FALSE(std::filesystem::exists(entry->file));
}

TEST(ApplicationID, IsAValidNameOnTheBus) {
  EXPECT_EQ(applicationID("app.corvana.0a1b"), "app.corvana._0a1b");
  EXPECT_EQ(applicationID("app.corvana.a0-b"), "app.corvana.a0-b");
  EXPECT_EQ(applicationID("0.1.ü"), "_0._1.__");
  EXPECT_EQ(objectPath("app.corvana._0-b"), "/app/corvana/_0_b");
}

}  // namespace
}  // namespace corvana
