#include "core/browsers/browser_catalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/registry/registry.h"
#include "platform/desktop/known_browsers_linux.h"
#include "platform/files/property_list.h"
#include "tests/fakes/fake_application_handlers.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BrowserCatalogTest : public testing::Test {
 protected:
  std::vector<std::string> installedNames(const std::vector<std::string>& additionalIDs = {}) {
    std::vector<std::string> names;
    for (const auto& browser : BrowserCatalog::installed(workspace, handlers, additionalIDs))
      names.push_back(browser.name);
    return names;
  }
  std::string lastResort(const RuleSet& set) {
    return BrowserCatalog::lastResort(set, workspace, handlers, rules).value_or("nothing").string();
  }

  support::TemporaryHome home;
  fakes::RecordingLog log;
  fakes::FakeWorkspace workspace;
  fakes::FakeApplicationHandlers handlers;
  RuleStore rules;
};

TEST_F(BrowserCatalogTest, ListsBrowsersOnceAndInOrderAndNeverItself) {
  handlers.addBrowser("/b10", "org.b10", "Browser 10");
  handlers.addBrowser("/b9", "org.b9", "browser 9");
  handlers.addBrowser("/safari", "com.apple.Safari", "Safari");
  handlers.addBrowser("/helper", "app.corvana.helper", "Corvana Helper");
  handlers.addBrowser("/old", "org.halvory.mirrowen.1", "A proxy app of old");
  handlers.addBrowser("/b9-copy", "org.b9", "Another 9");
  handlers.addBrowser("/nameless", "", "No identifier");
  handlers.handlers[{Handled::Kind::scheme, "https"}].push_back("/gone");
  handlers.infos["/plain"] = {.bundleIdentifier = "org.plain", .displayName = "", .bundleName = "Plain"};
  workspace.installed["org.plain"] = "/plain";
  workspace.installed["app.corvana.1"] = "/proxy";
  handlers.infos["/proxy"] = {.bundleIdentifier = "app.corvana.1", .name = "Proxy"};
  EXPECT_THAT(installedNames({"org.plain", "org.b10", "org.missing", "app.corvana.1", "org.plain"}),
              ElementsAre("Safari", "browser 9", "Browser 10", "Plain"));

  RuleSet set;
  set.additionalBrowserIDs = {"org.plain"};
  RuleStore().save(set);  // another process
  EXPECT_EQ(BrowserCatalog::installed(workspace, handlers, rules).size(), 4u);
}

TEST_F(BrowserCatalogTest, TheLastResortIsWhatTheUserOffers) {
  EXPECT_EQ(lastResort({}), "nothing");
  handlers.addBrowser("/opera", "com.operasoftware.Opera", "Opera");
  handlers.addBrowser("/chrome", "com.google.Chrome", "Google Chrome");
  handlers.addBrowser("/safari", "com.apple.Safari", "Safari");
  handlers.infos["/own"] = {.bundleIdentifier = "org.own", .name = "Aaa"};
  workspace.installed["org.own"] = "/own";
  RuleSet stored;
  stored.additionalBrowserIDs = {"org.own"};
  rules.save(stored);

  const auto choices = [](std::map<std::string, bool> chosen) { return RuleSet{.browserChoices = std::move(chosen)}; };
  EXPECT_EQ(lastResort({}), "/chrome");
  EXPECT_EQ(lastResort(choices({{"com.google.Chrome", false}})), "/safari");
  EXPECT_EQ(lastResort(choices({{"com.google.Chrome", false}, {"com.apple.Safari", false}})), "/opera");
  const std::map<std::string, bool> none{
      {"com.google.Chrome", false}, {"com.apple.Safari", false}, {"com.operasoftware.Opera", false}};
  EXPECT_EQ(lastResort(choices(none)), "/safari") << "the first of all, since none is offered";
  auto own = none;
  own["org.own"] = true;
  EXPECT_EQ(lastResort(choices(own)), "/own");
  EXPECT_EQ(BrowserCatalog::lastResortName(choices(own), workspace, handlers, rules), "Aaa");
}

TEST_F(BrowserCatalogTest, KnowsTheBrowsersThatTheDesktopAdapterKnows) {
  EXPECT_EQ(knownBrowsers().size(), 27u);
  for (const KnownBrowser& browser : knownBrowsers()) {
    const BrowserEntry entry{.bundleID = std::string(browser.bundleIdentifier)};
    EXPECT_TRUE(entry.isKnownBrowser()) << entry.bundleID;
  }
}

TEST_F(BrowserCatalogTest, KnowsHowToAskForAPrivateWindow) {
  for (const char* bundleID : {"com.google.Chrome", "com.google.Chrome.beta", "com.google.Chrome.dev",
                               "com.google.Chrome.canary", "com.google.chrome.for.testing", "org.chromium.Chromium",
                               "com.brave.Browser", "com.brave.Browser.beta", "com.brave.Browser.nightly"}) {
    EXPECT_EQ(BrowserCatalog::privateWindowOption(bundleID), "--incognito") << bundleID;
  }
  EXPECT_EQ(BrowserCatalog::privateWindowOption("com.microsoft.edgemac"), "--inprivate");
  EXPECT_EQ(BrowserCatalog::privateWindowOption("com.microsoft.edgemac.Beta"), "--inprivate");
  EXPECT_FALSE(BrowserCatalog::supportsPrivateBrowsing("org.mozilla.firefox"));
  EXPECT_FALSE(BrowserCatalog::supportsPrivateBrowsing("com.apple.Safari"));
}

TEST_F(BrowserCatalogTest, ResolvesTargetsButNeverToItself) {
  workspace.installed["org.mozilla.firefox"] = "/firefox";
  workspace.installed["app.corvana.helper"] = "/helper";
  const auto bundle = home.path() / "Work.app";
  Registry registry{.apps = {{.bundleID = "app.corvana.1", .name = "Work", .path = bundle.string()}}};
  registry.save();
  const auto resolve = [this](const RouteTarget& target) {
    return BrowserCatalog::resolve(target, workspace).value_or("nothing").string();
  };
  EXPECT_EQ(resolve(RouteTarget::browser("org.mozilla.firefox")), "/firefox");
  EXPECT_EQ(resolve(RouteTarget::browser("org.unknown")), "nothing");
  EXPECT_EQ(resolve(RouteTarget::proxyApp("app.corvana.1")), "nothing") << "it is not there any more";
  std::filesystem::create_directory(bundle);
  EXPECT_EQ(resolve(RouteTarget::proxyApp("app.corvana.1")), bundle);
  EXPECT_EQ(resolve(RouteTarget::proxyApp("app.corvana.2")), "nothing");
  home.write("Work.app/Contents/Info.plist",
             PropertyList::xml({{"CFBundleIdentifier", {std::string("app.corvana.2")}}}));
  EXPECT_EQ(resolve(RouteTarget::proxyApp("app.corvana.1")), "nothing") << "another app is where it was";
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(resolve(RouteTarget::browser("app.corvana.helper")), "nothing");
  EXPECT_THAT(log.lines(), ElementsAre("helper error: refusing to route to app.corvana.helper: that is us"));
}

TEST_F(BrowserCatalogTest, RequestsWhatTheHelperIsToHandleAndGivesItBack) {
  handlers.addBrowser("/firefox", "org.mozilla.firefox", "Firefox");
  handlers.infos["/helper"] = {.bundleIdentifier = "app.corvana.helper", .name = "Corvana Helper"};
  std::vector<std::string> answers;
  const auto answer = [&answers](const std::optional<std::string>& error) {
    answers.push_back(error.value_or("done"));
  };

  BrowserCatalog::requestDefaultBrowser(true, workspace, handlers, rules, answer);
  EXPECT_THAT(std::exchange(answers, {}), ElementsAre("the helper is not installed"));
  workspace.installed["app.corvana.helper"] = "/helper";
  BrowserCatalog::requestDefaultBrowser(true, workspace, handlers, rules, answer);
  BrowserCatalog::requestHandling("public.html", true, workspace, handlers, rules, answer);
  handlers.deliverAnswers();
  EXPECT_THAT(std::exchange(answers, {}), ElementsAre("done", "done"));
  EXPECT_TRUE(BrowserCatalog::isDefaultBrowser(handlers));
  EXPECT_TRUE(handlers.defaults.contains({Handled::Kind::scheme, "http"}));
  EXPECT_TRUE(BrowserCatalog::handlesHTMLFiles(handlers));
  EXPECT_THAT(BrowserCatalog::handledFileTypes(handlers), ElementsAre("public.html"));

  // What it does not handle is another's and stays so.
  handlers.defaults[{Handled::Kind::contentType, "public.svg-image"}] = "/viewer";
  BrowserCatalog::requestHandling("public.svg-image", false, workspace, handlers, rules, answer);
  BrowserCatalog::requestDefaultBrowser(false, workspace, handlers, rules, answer);
  handlers.deliverAnswers();
  EXPECT_THAT(std::exchange(answers, {}), ElementsAre("done", "done"));
  EXPECT_EQ(BrowserCatalog::defaultBrowserBundleID(handlers), "org.mozilla.firefox");
  EXPECT_EQ((handlers.defaults[{Handled::Kind::contentType, "public.svg-image"}]), "/viewer");
  EXPECT_TRUE(BrowserCatalog::handlesAnyFileType(handlers));

  handlers.error = "no";
  BrowserCatalog::requestDefaultBrowser(true, workspace, handlers, rules, answer);
  handlers.deliverAnswers();
  EXPECT_THAT(answers, ElementsAre("no"));
}

}  // namespace
}  // namespace corvana
