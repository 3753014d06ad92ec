#include "core/identity/helper_installer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/identity/corvana.h"
#include "core/identity/login_item.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/login_items_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/property_list.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/process/tools.h"
#include "tests/fakes/fake_login_items.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using support::readFile;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Writes an application bundle whose program is a copy of that file.
void writeBundle(const std::filesystem::path& bundle, const std::string& identifier, const std::string& version,
                 const std::filesystem::path& program) {
  std::filesystem::create_directories(bundle / "Contents/MacOS");
  std::filesystem::copy_file(program, bundle / "Contents/MacOS/Program",
                             std::filesystem::copy_options::overwrite_existing);
  PropertyDictionary plist{{"CFBundleIdentifier", {identifier}}, {"CFBundleExecutable", {std::string("Program")}}};
  if (!version.empty()) plist.emplace("CFBundleVersion", PropertyValue{version});
  std::ofstream(bundle / "Contents/Info.plist") << PropertyList::xml(plist);
}

class HelperInstallerTest : public testing::Test {
 protected:
  void provideHelper(const std::string& version) {
    writeBundle(creator / "Contents/Library/CorvanaHelper.app", "app.corvana.helper", version, RECORDER);
    workspace.installed["app.corvana.main"] = creator;
  }
  bool install(bool force = false) {
    return HelperInstaller::installFromCreatorBundle(workspace, force, [this](auto time) { waits.push_back(time); });
  }

  support::TemporaryHome home;
  fakes::FakeWorkspace workspace;
  fakes::RecordingLog log;
  std::filesystem::path creator = home.path() / "some where/Corvana.app";
  std::vector<std::chrono::milliseconds> waits;
};

TEST_F(HelperInstallerTest, CopiesWhatIsMissingOrOfAnotherBuild) {
  EXPECT_THROW(install(), HelperInstaller::InstallError);
  EXPECT_THAT(log.lines(), Contains("creator error: helper not installed and no creator bundle to copy it from"));
  provideHelper("7");
  EXPECT_TRUE(install());
  EXPECT_EQ(HelperInstaller::installedVersion(), "7");
  EXPECT_THAT(log.lines().back(), "creator info: installed helper 7 to fixed path");
  const auto program = Corvana::installedHelperURL() / "Contents/MacOS/Program";
  EXPECT_EQ(std::filesystem::status(program).permissions(), std::filesystem::status(RECORDER).permissions());
  EXPECT_FALSE(install());
  EXPECT_TRUE(install(true));
  provideHelper("8");
  home.write("Library/Application Support/Corvana/CorvanaHelper.app/Contents/old", "of the old build");
  EXPECT_TRUE(install());
  EXPECT_EQ(HelperInstaller::installedVersion(), "8");
  EXPECT_FALSE(std::filesystem::exists(Corvana::installedHelperURL() / "Contents/old"));

  std::filesystem::remove(Corvana::installedHelperURL() / "Contents/Info.plist");
  EXPECT_TRUE(install()) << "an installed helper without a version is another";
  provideHelper("");
  EXPECT_TRUE(install()) << "and so is a source without one";
  EXPECT_TRUE(install());
  EXPECT_THAT(waits, IsEmpty()) << "nothing was running";
}

TEST_F(HelperInstallerTest, WhatCannotBeLookedAtIsNotThere) {
  Corvana::ensureSupportDirectory();
  std::filesystem::create_symlink("CorvanaHelper.app", Corvana::installedHelperURL());  // leads to itself
  EXPECT_THROW(install(), HelperInstaller::InstallError);
  EXPECT_THAT(log.lines(), Contains("creator error: helper not installed and no creator bundle to copy it from"));
}

TEST_F(HelperInstallerTest, AFailedCopyLeavesNothingHalfInstalled) {
  provideHelper("7");
  const auto broken = creator / "Contents/Library/CorvanaHelper.app/Contents/fifo";
  ASSERT_EQ(::mkfifo(broken.c_str(), 0600), 0);  // cannot be copied
  EXPECT_THROW(install(), std::filesystem::filesystem_error);
  for (const auto& left : std::filesystem::directory_iterator(Corvana::supportDirectory())) {
    EXPECT_EQ(left.path().filename(), "CorvanaHelper.lock");
  }
}

TEST_F(HelperInstallerTest, OfSeveralAtOnceOneInstalls) {
  provideHelper("7");
  std::vector<pid_t> installers;
  for (int i = 0; i < 6; ++i) {
    const pid_t process = ::fork();
    if (process == 0) {
      try {
        ::_exit(install() ? 1 : 0);
      } catch (const std::exception&) {
        ::_exit(100);
      }
    }
    installers.push_back(process);
  }
  int copies = 0;
  for (const pid_t process : installers) {
    int status = 0;
    ASSERT_EQ(::waitpid(process, &status, 0), process);
    copies += WEXITSTATUS(status);
  }
  EXPECT_EQ(copies, 1);
  EXPECT_EQ(HelperInstaller::installedVersion(), "7");
}

TEST_F(HelperInstallerTest, ARunningHelperIsAskedFirst) {
  provideHelper("7");
  workspace.running = {{"app.corvana.helper", 11}, {"com.google.Chrome", 12}};
  EXPECT_TRUE(install());
  EXPECT_THAT(waits, ElementsAre(400ms));
  EXPECT_THAT(workspace.forceTerminated, IsEmpty());
  EXPECT_THAT(workspace.running, ElementsAre(RunningApplication{"com.google.Chrome", 12}));
  workspace.running = {{"app.corvana.helper", 11}, {"app.corvana.helper", 13}};
  EXPECT_FALSE(install());
  EXPECT_EQ(workspace.running.size(), 2) << "untouched where nothing is installed";
  workspace.ignoresTermination = true;
  EXPECT_TRUE(install(true));
  EXPECT_THAT(workspace.forceTerminated, ElementsAre(11, 13));
}

TEST(RunTool, GivesTheOutputOrSaysWhatFailed) {
  EXPECT_EQ(HelperInstaller::run("/bin/sh", {"-c", "echo out; echo err >&2; echo \"$1\"", "sh", "$(x) 'a' \"b\""}),
            "out\nerr\n$(x) 'a' \"b\"\n");
  EXPECT_EQ(runTool("/bin/sh", {"-c", "head -c 1000000 /dev/zero"}).size(), 1'000'000) << "more than a pipe holds";
  struct Row {
    const char* tool;
    const char* command;
    const char* expected;
  };
  for (const Row& row : {Row{"/bin/sh", "echo why; exit 3", "/bin/sh failed (3) why\n"},
                         Row{"/bin/sh", "kill -9 $$", "/bin/sh failed (137) "},
                         Row{"/nonexistent/tool", "", "/nonexistent/tool cannot be run: No such file or directory"}}) {
    try {
      runTool(row.tool, {"-c", row.command});
      ADD_FAILURE() << row.command;
    } catch (const ToolError& error) {
      EXPECT_STREQ(error.what(), row.expected);
    }
  }
}

class ApplicationBundles : public testing::Test {
 protected:
  std::optional<OpenError> open(const std::filesystem::path& bundle, const OpenConfiguration& configuration) {
    EventLoop own;
    WorkspaceLinux desktop(own, context, 10ms);
    std::optional<OpenError> result;
    desktop.openApplication(bundle, configuration, [&](auto error) {
      result = std::move(error);
      own.quit(0);
    });
    own.run();
    return result;
  }

  support::TemporaryHome home;
  EventLoop loop;
  LaunchContext context{"app.corvana.test"};
  WorkspaceLinux workspace{loop, context};
};

TEST_F(ApplicationBundles, AreFoundStartedOnceAndEnded) {
  const std::string identifier = "app.corvana.test" + std::to_string(::getpid());
  const auto bundle = home.path() / "a b/Helper.app";
  writeBundle(bundle, identifier, "1", RECORDER);
  EXPECT_EQ(workspace.urlForApplication(identifier), std::nullopt);
  home.writeDesktopEntry(identifier + ".desktop", quotedForExec((bundle / "Contents/MacOS/Program").string()),
                         "X-Corvana-Bundle=" + bundle.string());
  EXPECT_EQ(workspace.urlForApplication(identifier), bundle);

  ASSERT_EQ(::mkfifo((home.path() / "ready").c_str(), 0600), 0);
  EXPECT_THAT(workspace.runningApplications(identifier), IsEmpty());
  EXPECT_FALSE(open(bundle, {.arguments = {home.path().string(), "stay"}}));
  const pid_t process = std::stoi(readFile(home.path() / "ready"));
  EXPECT_FALSE(open(bundle, {.arguments = {home.path().string(), "stay"}})) << "it runs, so nothing is started";
  std::filesystem::remove_all(bundle / "Contents/MacOS");  // as an update does under a running program
  const RunningApplication running{identifier, process};
  EXPECT_THAT(workspace.runningApplications(identifier), ElementsAre(running));

  workspace.terminate({"app.corvana.other", process});
  EXPECT_THAT(workspace.runningApplications(identifier), ElementsAre(running)) << "not the application that was meant";
  workspace.forceTerminate(running);
  EXPECT_EQ(::waitpid(process, nullptr, 0), process);
  EXPECT_THAT(workspace.runningApplications(identifier), IsEmpty());

  const auto error = open(bundle, {});
  ASSERT_TRUE(error);
  EXPECT_THAT(error->description, HasSubstr("cannot start"));
  EXPECT_THAT(open(home.path() / "None.app", {})->description, HasSubstr("there is no application"));
}

struct FakeItems {
  fakes::FakeLoginItems items;
  void switchOff() { items.items["app.corvana.helper"] = false; }
};

struct LinuxItems {
  LinuxItems() { writeBundle(home.path() / "my %app$/Helper.app", "app.corvana.helper", "1", RECORDER); }
  support::TemporaryHome home;
  LoginItemsLinux items{home.path() / "my %app$/Helper.app"};
  std::filesystem::path entry() const { return home.path() / ".config/autostart/app.corvana.helper.desktop"; }
  void switchOff() { std::ofstream(entry(), std::ios::app) << "Hidden=true\n"; }
};

template <class Items>
class LoginItemsContract : public testing::Test, protected Items {};
using ItemsTypes = testing::Types<LinuxItems, FakeItems>;
TYPED_TEST_SUITE(LoginItemsContract, ItemsTypes);

TYPED_TEST(LoginItemsContract, TheUserHasTheLastWord) {
  EXPECT_FALSE(LoginItem::isEnabled(this->items));
  LoginItem::setEnabled(this->items, false);
  LoginItem::setEnabled(this->items, true);
  EXPECT_TRUE(LoginItem::isEnabled(this->items));
  EXPECT_FALSE(LoginItem::needsApproval(this->items));
  this->switchOff();
  EXPECT_FALSE(LoginItem::isEnabled(this->items));
  EXPECT_TRUE(LoginItem::needsApproval(this->items));
  LoginItem::setEnabled(this->items, true);
  EXPECT_TRUE(LoginItem::needsApproval(this->items)) << "it is not for the program to allow";
  LoginItem::setEnabled(this->items, false);
  EXPECT_FALSE(LoginItem::needsApproval(this->items));
}

class LoginItemsLinuxTest : public testing::Test, protected LinuxItems {};

TEST_F(LoginItemsLinuxTest, TheEntryStartsTheProgram) {
  items.add("app.corvana.helper");
  const auto program = (home.path() / "my %app$/Helper.app/Contents/MacOS/Program").string();
  EXPECT_THAT(DesktopEntry::read(entry()).commandLine({}), ElementsAre(program));
  EXPECT_FALSE(std::filesystem::exists(home.path() / ".config/systemd"));
  std::ofstream(entry(), std::ios::app) << "X-GNOME-Autostart-enabled=false\n";
  EXPECT_EQ(items.status("app.corvana.helper"), LoginItems::Status::requiresApproval);
  LoginItemsLinux nothing(home.path() / "None.app");
  nothing.remove("app.corvana.helper");
  EXPECT_THROW(nothing.add("app.corvana.helper"), std::runtime_error);
}

TEST_F(LoginItemsLinuxTest, UnderSystemdThereIsAUnit) {
  home.write("runtime/systemd/private", "");
  home.environment.set("XDG_RUNTIME_DIR", (home.path() / "runtime").string());
  items.add("app.corvana.helper");
  items.add("app.corvana.helper");
  const auto want = home.path() / ".config/systemd/user/graphical-session.target.wants/app.corvana.helper.service";
  EXPECT_THAT(readFile(want),
              HasSubstr("ExecStart=\"" + home.path().string() + "/my %%app$/Helper.app/Contents/MacOS/Program\"\n"));
  EXPECT_THAT(readFile(entry()), HasSubstr("X-systemd-skip=true"));
  items.remove("app.corvana.helper");
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(want)));
  EXPECT_FALSE(std::filesystem::exists(entry()));
}

TEST(LoginItem, TheOldLaunchAgentIsRemovedOnce) {
  const support::TemporaryHome home;
  const fakes::RecordingLog log;
  LoginItem::removeLegacyLaunchAgent();
  EXPECT_THAT(log.lines(), IsEmpty());
  const auto file = home.write("Library/LaunchAgents/app.corvana.helper.plist", "");
  fakes::FakeLoginItems items;
  LoginItem::setEnabled(items, true);
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_THAT(log.lines(), ElementsAre("creator info: removed the old LaunchAgent login item"));

  std::filesystem::remove_all(file.parent_path());
  std::filesystem::create_symlink("LaunchAgents", file.parent_path());  // leads to itself
  EXPECT_NO_THROW(LoginItem::setEnabled(items, true)) << "what cannot be looked at is not there";
}

}  // namespace
}  // namespace corvana
