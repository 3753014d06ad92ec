// What the desktop is asked for through GIO, which looks at the environment once: all tests share one home directory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/property_list.h"
#include "platform/files/trash_gio.h"
#include "platform/files/user_defaults_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "tests/fakes/fake_application_handlers.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

const Handled https{Handled::Kind::scheme, "https"};
const Handled html{Handled::Kind::contentType, "public.html"};

/// A desktop with browsers of all kinds.
class Desktop final : public testing::Environment {
 public:
  void SetUp() override {
    home_ = std::make_unique<support::TemporaryHome>();
    const std::string handler = "MimeType=x-scheme-handler/https;text/html;\n";
    std::string all;
    for (const auto& [id, more] : std::map<std::string, std::string>{
             {"chromium.desktop", ""},
             {"com.google.Chrome.desktop", "NoDisplay=true\n"},  // comes with the next one
             {"google-chrome.desktop", ""},
             {"firefox-esr.desktop", ""},
             {"invisible.desktop", "NoDisplay=true\n"},
             {"deleted.desktop", "Hidden=true\n"},
             {"uninstalled.desktop", "TryExec=/nonexistent/browser\n"},
             {"org.example.browser.desktop", ""},
             {"vendor/browser.desktop", ""},
             {"app.corvana.helper.desktop", "NoDisplay=true\n"}}) {
      home_->writeDesktopEntry(id, "/bin/true %U", handler + more);
      all += (id == "vendor/browser.desktop" ? "vendor-browser.desktop" : id) + ";";
    }
    home_->write(".local/share/applications/mimeinfo.cache",
                 "[MIME Cache]\nx-scheme-handler/https=" + all + "\ntext/html=" + all + "\n");
    home_->write(".config/mimeapps.list", "[Default Applications]\nx-scheme-handler/https=firefox-esr.desktop\n");
  }
  void TearDown() override { home_.reset(); }

  static fs::path entry(const std::string& id) { return home_->path() / ".local/share/applications" / id; }
  static const support::TemporaryHome& home() { return *home_; }

 private:
  static inline std::unique_ptr<support::TemporaryHome> home_;
};

const auto* const desktop = testing::AddGlobalTestEnvironment(new Desktop);

/// The same world with the real adapter and with the fake.
class GIOWorld {
 public:
  ApplicationHandlers& handlers() { return handlers_; }
  static fs::path place(const std::string& name) { return Desktop::entry(name); }
  void deliverAnswers() {
    bool isDone = false;
    loop_.post([&isDone] { isDone = true; });
    loop_.runUntil([&isDone] { return isDone; });
  }

 private:
  EventLoop loop_;
  ApplicationHandlersGIO handlers_{loop_};
};

class FakeWorld {
 public:
  FakeWorld() {
    for (const auto& [place, id] : std::map<std::string, std::string>{{"chromium.desktop", "org.chromium.Chromium"},
                                                                      {"firefox-esr.desktop", "org.mozilla.firefox"}}) {
      handlers_.infos[place] = {.bundleIdentifier = id, .name = "Some Browser"};
      for (const Handled& handled : {https, html}) handlers_.handlers[handled].push_back(place);
    }
    handlers_.defaults[https] = "firefox-esr.desktop";
  }
  ApplicationHandlers& handlers() { return handlers_; }
  static fs::path place(const std::string& name) { return name; }
  void deliverAnswers() { handlers_.deliverAnswers(); }

 private:
  fakes::FakeApplicationHandlers handlers_;
};

template <class World>
class HandlersContract : public testing::Test {};
using Worlds = testing::Types<GIOWorld, FakeWorld>;
TYPED_TEST_SUITE(HandlersContract, Worlds, );

TYPED_TEST(HandlersContract, TheDefaultIsFirstAndCanBeAnother) {
  TypeParam world;
  ApplicationHandlers& handlers = world.handlers();
  const fs::path firefox = world.place("firefox-esr.desktop");
  const fs::path chromium = world.place("chromium.desktop");
  EXPECT_EQ(handlers.defaultApplication(https), firefox);
  EXPECT_EQ(handlers.applications(https).at(0), firefox);
  EXPECT_EQ(handlers.info(firefox)->bundleIdentifier, "org.mozilla.firefox");
  EXPECT_EQ(handlers.info(firefox)->name, "Some Browser");
  EXPECT_FALSE(handlers.info(world.place("none.desktop")));

  std::vector<std::string> answers;
  const auto answer = [&answers](const std::optional<std::string>& error) {
    answers.push_back(error.value_or("done"));
  };
  handlers.setDefaultApplication(chromium, https, answer);
  handlers.setDefaultApplication(world.place("none.desktop"), html, answer);
  EXPECT_TRUE(answers.empty()) << "not inside the call";
  world.deliverAnswers();
  EXPECT_THAT(answers, ElementsAre("done", HasSubstr("none.desktop")));
  EXPECT_EQ(handlers.defaultApplication(https), chromium);
  EXPECT_EQ(handlers.applications(https).at(0), chromium);
  handlers.setDefaultApplication(firefox, https, answer);
  world.deliverAnswers();
  EXPECT_EQ(handlers.applications(https).at(0), firefox);
  const Handled unclaimed{Handled::Kind::scheme, "unclaimed"};
  EXPECT_TRUE(handlers.applications(unclaimed).empty());
  handlers.setDefaultApplication(chromium, unclaimed, answer);
  world.deliverAnswers();
  EXPECT_THAT(handlers.applications(unclaimed), ElementsAre(chromium)) << "the default, though not associated";
  EXPECT_FALSE(handlers.defaultApplication({Handled::Kind::contentType, "unknown.type"}));
}

TEST(ApplicationHandlersGIO, OffersWhatUsersSee) {
  GIOWorld world;
  std::map<std::string, std::string> offered;
  for (const fs::path& application : world.handlers().applications(https)) {
    offered[application.filename()] = world.handlers().info(application)->bundleIdentifier;
  }
  EXPECT_EQ(offered, (std::map<std::string, std::string>{{"chromium.desktop", "org.chromium.Chromium"},
                                                         {"google-chrome.desktop", "com.google.Chrome"},
                                                         {"firefox-esr.desktop", "org.mozilla.firefox"},
                                                         {"org.example.browser.desktop", "org.example.browser"},
                                                         {"browser.desktop", "vendor-browser"}}));
  // Each is found again by its identifier, wherever we run.
  Desktop::home().write("Proxy.app/Contents/Info.plist",
                        PropertyList::xml({{"CFBundleIdentifier", {std::string("app.corvana.1")}},
                                           {"CFBundleExecutable", {std::string("CorvanaStub")}}}));
  const fs::path before = fs::current_path();
  fs::current_path(Desktop::home().path() / "Proxy.app");
  EventLoop loop;
  LaunchContext context("app.corvana.test");
  WorkspaceLinux workspace(loop, context);
  for (const fs::path& application : world.handlers().applications(https)) {
    EXPECT_EQ(workspace.urlForApplication(world.handlers().info(application)->bundleIdentifier), application);
  }
  fs::current_path(before);

  std::string answer = "none";
  world.handlers().setDefaultApplication(Desktop::entry("app.corvana.helper.desktop"), html,
                                         [&answer](const auto& error) { answer = error.value_or("done"); });
  world.deliverAnswers();
  EXPECT_EQ(answer, "done");
  const auto helper = world.handlers().defaultApplication(html);
  EXPECT_EQ(world.handlers().info(*helper)->bundleIdentifier, "app.corvana.helper");
  EXPECT_THAT(support::readFile(Desktop::home().path() / ".config/mimeapps.list"),
              HasSubstr("text/html=app.corvana.helper.desktop"));
}

TEST(TrashGIO, WhatIsThereCanBeTakenBack) {
  const fs::path folder = Desktop::home().write("Old Name/file", "content").parent_path();
  TrashGIO().move(folder);
  EXPECT_FALSE(fs::exists(folder));
  EXPECT_EQ(support::readFile(Desktop::home().path() / ".local/share/Trash/files/Old Name/file"), "content");
  EXPECT_THAT(support::readFile(Desktop::home().path() / ".local/share/Trash/info/Old Name.trashinfo"),
              HasSubstr("Path="));
  EXPECT_THROW(TrashGIO().move(folder), std::runtime_error);
}

TEST(UserDefaultsLinux, AreKeptForEachProgram) {
  UserDefaultsLinux main("app.corvana.main");
  EXPECT_FALSE(main.boolFor("Done"));
  main.set("Done", true);
  main.set("Other", false);
  EXPECT_TRUE(UserDefaultsLinux("app.corvana.main").boolFor("Done"));
  EXPECT_FALSE(UserDefaultsLinux("app.corvana.helper").boolFor("Done"));
  const fs::path file = Desktop::home().path() / ".config/corvana/app.corvana.main.conf";
  ASSERT_TRUE(fs::exists(file));
  Desktop::home().write(".config/corvana/app.corvana.main.conf", "broken");
  EXPECT_FALSE(main.boolFor("Done"));
  main.set("Done", true);
  EXPECT_TRUE(main.boolFor("Done"));
}

}  // namespace
}  // namespace corvana
