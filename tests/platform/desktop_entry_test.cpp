#include "platform/linux/desktop_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "platform/linux/browser_installation.h"
#include "platform/linux/known_browsers.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(DesktopEntry, CommandLinesFollowTheDesktopEntryRules) {
  struct Row {
    const char* exec;
    std::vector<std::string> expected;
  };
  const std::vector<std::string> arguments = {"--flag", "%f %c", ""};
  for (const Row& row : std::vector<Row>{
           {"browser", {"browser", "--flag", "%f %c", ""}},
           {"browser %U", {"browser", "--flag", "%f %c", ""}},
           {"browser %U --last", {"browser", "--flag", "%f %c", "", "--last"}},
           {"browser  @@u %u @@", {"browser", "@@u", "--flag", "%f %c", "", "@@"}},
           {"browser %F %U", {"browser", "--flag", "%f %c", ""}},
           {"browser --icon=x%%y %i", {"browser", "--icon=x%y", "--icon", "some icon", "--flag", "%f %c", ""}},
           {"browser --class=%c %d%m", {"browser", "--class=Name %f", "--flag", "%f %c", ""}},
           {R"("my browser" "a\"b\`c\$d\\e\f" "" "%U" "5%%")",
            {"my browser", R"(a"b`c$d\e\f)", "", "%U", "5%", "--flag", "%f %c", ""}},
           {"browser --url=%u", {"browser", "--url=", "--flag", "%f %c", ""}},
       }) {
    const DesktopEntry entry{.file = "/x.desktop", .name = "Name %f", .icon = "some icon", .exec = row.exec};
    EXPECT_EQ(entry.commandLine(arguments), row.expected) << row.exec;
  }
}

TEST(DesktopEntry, MalformedCommandLinesSayWhereAndWhat) {
  struct Row {
    const char* exec;
    const char* expected;
  };
  for (const Row& row :
       {Row{"", "no program is named"}, Row{"%U", "no program is named"}, Row{"%D x", "no program is named"},
        Row{"browser \"open", "does not end"}, Row{"browser %x", "unknown field code %x"},
        Row{"browser 5%", "a percent sign stands alone"}}) {
    const DesktopEntry entry{.file = "/x.desktop", .exec = row.exec};
    try {
      entry.commandLine({});
      ADD_FAILURE() << row.exec;
    } catch (const DesktopEntryError& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.expected)) << row.exec;
      EXPECT_THAT(error.what(), testing::StartsWith("/x.desktop: Exec=")) << row.exec;
    }
  }
}

TEST(DesktopEntry, TheFirstDirectoryDecides) {
  const support::TemporaryHome home;
  const auto second = home.path() / "second";
  const_cast<support::TemporaryHome&>(home).environment.set("XDG_DATA_DIRS", "relative:" + second.string());
  home.write("second/applications/a.desktop", "[Desktop Entry]\nType=Application\nName=Second\nExec=true %U\n");
  EXPECT_EQ(DesktopEntry::find("a.desktop")->name, "Second");
  home.writeDesktopEntry("a.desktop", "true");
  EXPECT_EQ(DesktopEntry::find("a.desktop")->name, "Some Browser");

  for (const char* more : {"Hidden=true", "TryExec=/nonexistent/program"}) {
    home.writeDesktopEntry("a.desktop", "true", more);
    EXPECT_FALSE(DesktopEntry::find("a.desktop")) << more << " hides the second one, too";
  }
  for (const char* exec : {"/nonexistent/program", "true %x", ""}) {
    home.writeDesktopEntry("a.desktop", exec);
    EXPECT_FALSE(DesktopEntry::find("a.desktop")) << exec;
  }
  for (const char* content : {"", "no key file", "[Desktop Entry]\nType=Link\nURL=x\n"}) {
    home.write(".local/share/applications/a.desktop", content);
    EXPECT_FALSE(DesktopEntry::find("a.desktop")) << content;
  }
}

class BrowserInstallationTest : public testing::Test {
 protected:
  std::string foundFor(std::string_view identifier) {
    const auto browser = BrowserInstallation::find(identifier);
    return browser ? browser->entry.file.filename().string() : "";
  }
  std::string userDataDirectory() {
    return BrowserInstallation::find("com.google.Chrome")->userDataDirectory.lexically_relative(home.path()).string();
  }
  support::TemporaryHome home;
};

TEST_F(BrowserInstallationTest, ChromiumStandsInOnlyWhereThereIsNoChrome) {
  EXPECT_EQ(foundFor("com.google.Chrome"), "");
  home.writeDesktopEntry("firefox-esr.desktop", "true");
  EXPECT_EQ(foundFor("com.google.Chrome"), "");
  EXPECT_EQ(foundFor("org.mozilla.firefox"), "firefox-esr.desktop");
  home.writeDesktopEntry("chromium.desktop", "true");
  EXPECT_EQ(foundFor("com.google.Chrome"), "chromium.desktop");
  EXPECT_EQ(foundFor("com.google.Chrome.beta"), "") << "only for the stable channel";
  home.writeDesktopEntry("com.google.Chrome.desktop", "true");
  EXPECT_EQ(foundFor("com.google.Chrome"), "com.google.Chrome.desktop");
  home.writeDesktopEntry("google-chrome.desktop", "/nonexistent/chrome");
  EXPECT_EQ(foundFor("com.google.Chrome"), "com.google.Chrome.desktop") << "the likelier one cannot be started";
  EXPECT_EQ(foundFor("org.chromium.Chromium"), "chromium.desktop");
}

TEST_F(BrowserInstallationTest, EachPackagingHasItsUserDataDirectory) {
  home.writeDesktopEntry("com.google.Chrome.desktop", "true @@u %U @@", "X-Flatpak=com.google.Chrome");
  EXPECT_EQ(userDataDirectory(), ".var/app/com.google.Chrome/config/google-chrome");
  home.writeDesktopEntry("google-chrome.desktop", "true %U");
  EXPECT_EQ(userDataDirectory(), ".config/google-chrome");
  home.environment.set("XDG_CONFIG_HOME", (home.path() / "config").string());
  EXPECT_EQ(userDataDirectory(), "config/google-chrome");
  home.environment.set("CHROME_CONFIG_HOME", (home.path() / "chrome").string());
  EXPECT_EQ(userDataDirectory(), "chrome/google-chrome");
  home.environment.set("CHROME_USER_DATA_DIR", (home.path() / "data").string());
  EXPECT_EQ(userDataDirectory(), "data");
  home.writeDesktopEntry("google-chrome.desktop", "true \"--user-data-dir=" + home.path().string() + "/my own\" %U");
  EXPECT_EQ(userDataDirectory(), "my own");
}

TEST_F(BrowserInstallationTest, StaleAndForeignLocksAreNoRunningBrowser) {
  home.writeDesktopEntry("google-chrome.desktop", "true");
  const auto lock = home.path() / ".config/google-chrome/SingletonLock";
  std::filesystem::create_directories(lock.parent_path());
  char host[256] = {};
  ::gethostname(host, sizeof host - 1);
  const std::string self = std::to_string(::getpid());
  for (const std::string& target :
       {host + std::string("-999999999"), "other-host-" + self, host + std::string("-x"), std::string("nothing"),
        host + std::string("-99999999999999999999"), host + std::string("-") + self}) {  // this process is no browser
    std::filesystem::remove(lock);
    std::filesystem::create_symlink(target, lock);
    EXPECT_EQ(BrowserInstallation::find("com.google.Chrome")->mainProcess(), std::nullopt) << target;
  }
}

TEST_F(BrowserInstallationTest, ASandboxedBrowserIsFoundByItsNumberInsideTheSandbox) {
  // As root no user namespace is needed, and in some containers none can be had.
  const std::string sandbox = ::geteuid() == 0 ? "unshare --pid --fork " : "unshare --map-root-user --pid --fork ";
  if (std::system((sandbox + "true 2>/dev/null").c_str()) != 0) GTEST_SKIP() << "no process namespaces on this machine";
  home.writeDesktopEntry("com.google.Chrome.desktop", "true @@u %U @@", "X-Flatpak=com.google.Chrome");
  const auto data = home.path() / ".var/app/com.google.Chrome/config/google-chrome";
  std::filesystem::create_directories(data);
  char host[256] = {};
  ::gethostname(host, sizeof host - 1);
  std::filesystem::create_symlink(host + std::string("-1"), data / "SingletonLock");
  std::filesystem::copy_file(RECORDER, home.path() / "chrome");
  ASSERT_EQ(::mkfifo((home.path() / "ready").c_str(), 0600), 0);

  const auto program = (home.path() / "chrome").string() + " " + home.path().string() + " stay &";
  ASSERT_EQ(std::system((sandbox + program).c_str()), 0);
  ASSERT_EQ(support::readFile(home.path() / "ready"), "1") << "its number inside";
  const auto process = BrowserInstallation::find("com.google.Chrome")->mainProcess();
  ASSERT_TRUE(process);
  EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(*process) + "/exe"), home.path() / "chrome");
  ::kill(*process, SIGKILL);
}

TEST(KnownBrowsers, AreTwentySevenWithDistinctEntries) {
  std::map<std::string_view, int> uses;
  for (const KnownBrowser& browser : knownBrowsers()) {
    ++uses[browser.bundleIdentifier];
    for (const std::string_view desktopID : browser.desktopIDs) {
      if (desktopID.empty()) continue;
      EXPECT_TRUE(desktopID.ends_with(".desktop")) << desktopID;
      ++uses[desktopID];
    }
  }
  for (const auto& [name, count] : uses) EXPECT_EQ(count, 1) << name;
  EXPECT_EQ(knownBrowsers().size(), 27);
}

}  // namespace
}  // namespace corvana
