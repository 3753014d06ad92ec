#include "platform/desktop/browser_installation_linux.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "platform/desktop/known_browsers_linux.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

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

TEST(KnownBrowsers, HaveDistinctEntries) {
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
}

}  // namespace
}  // namespace corvana
