#include "core/registry/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "core/identity/corvana.h"
#include "core/identity/json_coding.h"
#include "core/stub/stub_revision.h"
#include "core/stub/warn_throttle.h"
#include "platform/files/property_list.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/support/processes.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RegistryTest : public testing::Test {
 protected:
  /// Builds a bundle with that name in that folder below the home directory.
  fs::path makeApp(const std::string& folder, const std::string& name, const std::string& bundleID,
                   std::optional<std::int64_t> revision = StubRevision::current,
                   const std::string& executable = "CorvanaStub") const {
    PropertyDictionary plist{{"CFBundleIdentifier", {bundleID}}, {"CVNProfileDirectory", {std::string("Default")}}};
    if (revision) plist.emplace("CVNStubRevision", PropertyValue{*revision});
    home.write(folder + "/" + name + ".app/Contents/Info.plist", PropertyList::xml(plist));
    home.write(folder + "/" + name + ".app/Contents/MacOS/" + executable, "");
    return home.path() / folder / (name + ".app");
  }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const RegisteredApp& app : registry.apps) result.push_back(app.name + (app.isMissing ? " (missing)" : ""));
    return result;
  }
  void rescan() { registry.rescan(workspace, clock); }

  support::TemporaryHome home;
  fakes::FakeWorkspace workspace;
  fakes::FakeScheduler clock;
  Registry registry;
};

TEST_F(RegistryTest, IsReadAndWrittenAndNeverFailsToLoad) {
  EXPECT_EQ(Registry::load(), Registry());
  registry.apps = {{.bundleID = "app.corvana.1",
                    .name = "Wörk",
                    .path = "/x/Wörk.app",
                    .config = {.profileDirectory = "Profile 1"},
                    .createdAt = std::chrono::sys_seconds(std::chrono::seconds(1'800'000'000)),
                    .stubRevision = 7,
                    .bookmark = std::string("\x00\xFF z", 4),
                    .isMissing = true}};
  registry.save();
  EXPECT_EQ(Registry::load(), registry);
  EXPECT_THAT(registry.documentText(), HasSubstr(R"("bookmark": "AP8geg==")"));

  const std::string text = R"({"apps": [{"bundleID": "b", "name": "n", "path": "p", "createdAt": "2026-01-02T03:04:05Z",
      "config": {"profileDirectory": "Default"}}]})";
  const RegisteredApp app = Registry::parse(text).apps.at(0);
  EXPECT_FALSE(app.stubRevision || app.bookmark || app.isMissing);
  std::string broken = text;
  broken.insert(broken.find("\"name\""), "\"bookmark\": \"no base64\", ");
  EXPECT_THROW(Registry::parse(broken), DecodingError);
  home.write("Library/Application Support/Corvana/registry.json", broken);
  EXPECT_EQ(Registry::load(), Registry());
}

TEST_F(RegistryTest, TakesInTheProxyAppsThatItFinds) {
  makeApp("Applications", "Work 10", "app.corvana.10");
  makeApp("Applications", "work 9", "app.corvana.9");
  makeApp("Applications", "Old", "org.halvory.plenvel.1", std::nullopt, "PlenvelStub");
  makeApp("Applications", "Foreign", "org.example.app");
  makeApp("Applications", ".Hidden", "app.corvana.hidden");
  makeApp("Applications/Folder", "Deep", "app.corvana.deep");
  const fs::path main = makeApp("Applications", "Corvana", "app.corvana.main");
  home.write("Applications/Corvana.app/Contents/Info.plist",
             PropertyList::xml({{"CFBundleIdentifier", {std::string("app.corvana.main")}}}));
  home.write("Applications/Broken.app/Contents/Info.plist", "<plist");
  home.write("Applications/File.app", "");
  rescan();
  EXPECT_THAT(names(), ElementsAre("Old", "work 9", "Work 10"));
  const auto createdAt = registry.apps[1].createdAt;

  // Later it keeps when each was registered, and of two with one identifier the last.
  clock.advance(std::chrono::hours(1));
  makeApp("Elsewhere", "Twin", "app.corvana.9", 6);
  registry.apps[2].path = (home.path() / "Elsewhere/Work 10.app").string();  // makes that folder one to search
  rescan();
  EXPECT_THAT(names(), ElementsAre("Old", "Twin", "Work 10"));
  EXPECT_EQ(registry.apps[1].createdAt, createdAt);
  EXPECT_EQ(registry.apps[1].stubRevision, 6);
}

TEST_F(RegistryTest, FollowsAppsThatWereMoved) {
  const fs::path work = makeApp("Applications", "Work", "app.corvana.1");
  const fs::path play = makeApp("Applications", "Play", "app.corvana.2");
  const fs::path gone = makeApp("Applications", "Gone", "app.corvana.3");
  rescan();
  fs::create_directory(home.path() / "Desk");
  fs::rename(work, home.path() / "Desk/Job.app");
  fs::remove_all(gone);
  // By the bookmark where no folder is scanned, ...
  rescan();
  EXPECT_THAT(names(), ElementsAre("Gone (missing)", "Job", "Play"));
  EXPECT_EQ(registry.apps[1].path, home.path() / "Desk/Job.app");
  fs::rename(home.path() / "Desk/Job.app", home.path() / "Desk/Labour.app");
  EXPECT_EQ(Registry::resolve(registry.apps[1], workspace), home.path() / "Desk/Labour.app");
  // ... and by what the workspace knows when there is no bookmark.
  registry.upsert({.bundleID = "app.corvana.5", .name = "Five", .path = "/nowhere/Five.app"});
  workspace.installed["app.corvana.5"] = makeApp("Far/Away", "5", "app.corvana.5");
  workspace.installed["app.corvana.3"] = "/nowhere";
  rescan();
  EXPECT_THAT(names(), ElementsAre("5", "Gone (missing)", "Labour", "Play"));
  EXPECT_TRUE(registry.apps[0].bookmark);

  // Another bundle in the place of one that has gone is not that one.
  fs::remove_all(play);
  fs::create_directories(play);
  rescan();
  EXPECT_THAT(names(), ElementsAre("5", "Gone (missing)", "Labour", "Play (missing)"));
}

TEST_F(RegistryTest, DoesNotTakeAnotherAppForOneThatHasGone) {
  const fs::path place = makeApp("Applications", "Work", "app.corvana.1");
  rescan();
  const auto bookmark = registry.apps[0].bookmark;
  // Deleted and made again, in the same file as far as anybody can tell: only what it says of itself has changed.
  makeApp("Applications", "Work", "app.corvana.2");
  workspace.installed["app.corvana.1"] = place;
  rescan();
  EXPECT_THAT(names(), testing::UnorderedElementsAre("Work (missing)", "Work"));
  const auto& old = registry.apps[registry.apps[0].bundleID == "app.corvana.1" ? 0 : 1];
  EXPECT_TRUE(old.isMissing && !old.isInPlace());
  EXPECT_EQ(old.bookmark, bookmark);

  // Without anything to make a bookmark of, the old one stays.
  RegisteredApp gone{.path = "/nowhere/Work.app", .bookmark = "old"};
  gone.refreshBookmark();
  EXPECT_EQ(gone.bookmark, "old");
}

TEST_F(RegistryTest, AChangeKeepsWhatItCannotReadAndStopsWhereReadingFails) {
  const auto add = [](Registry& changed) { changed.upsert({.bundleID = "app.corvana.1"}); };
  EXPECT_EQ(Registry::change(add).apps.size(), 1u);
  const std::string document = "Library/Application Support/Corvana/registry.json";
  for (const bool isWhole : {false, true}) {  // as a change, and as a whole document
    home.write(document, isWhole ? "broken 2" : "broken 1");
    isWhole ? registry.save() : (void)Registry::change(add);
  }
  EXPECT_EQ(support::readFile(home.path() / (document + ".kept-1")), "broken 1");
  EXPECT_EQ(support::readFile(home.path() / (document + ".kept-2")), "broken 2");
  registry.save();
  EXPECT_FALSE(fs::exists(home.path() / (document + ".kept-3")));

  EXPECT_THROW(Registry::change([](Registry&) { throw std::runtime_error("no"); }), std::runtime_error);
  fs::remove(home.path() / document);
  fs::create_directory(home.path() / document);
  EXPECT_THROW(Registry::change([](Registry&) { FAIL() << "it may hold something"; }), fs::filesystem_error);
}

TEST_F(RegistryTest, LosesNoAppThatOthersRegisterMeanwhile) {
  support::inProcesses(8, 5, [] {
    Registry::change([](Registry& changed) { changed.upsert({.bundleID = Corvana::newBundleID({})}); });
  });
  EXPECT_EQ(Registry::load().apps.size(), 40u);
}

TEST_F(RegistryTest, UpsertKeepsPlacesAndSearchesEachFolderOnce) {
  for (const char* id : {"a", "b", "c"}) registry.upsert({.bundleID = id, .path = std::string("/Applications/") + id});
  registry.upsert({.bundleID = "b", .name = "new", .path = "/Other//x/../b"});
  EXPECT_EQ(registry.apps[1].name, "new");
  EXPECT_THAT(registry.searchDirectories(), ElementsAre(home.path() / "Applications", "/Applications", "/Other"));
  registry.upsert({.bundleID = "b2"});
  registry.remove("b");
  EXPECT_EQ(registry.apps.size(), 3u);
}

TEST_F(RegistryTest, NothingInAFolderHangsOrBreaksIt) {
  const fs::path applications = home.path() / "Applications";
  makeApp("Applications", "Good", "app.corvana.1");
  fs::create_directory_symlink(applications, applications / "Loop.app");
  fs::create_symlink("Self.app", applications / "Self.app");
  fs::create_directories(applications / "Pipe.app/Contents");
  ASSERT_EQ(::mkfifo((applications / "Pipe.app/Contents/Info.plist").c_str(), 0600), 0);
  fs::resize_file(home.write("Applications/Huge.app/Contents/Info.plist", ""), 100'000'000);
  fs::create_directories(applications / "Directory.app/Contents/Info.plist");
  home.write("Applications/Number.app/Contents/Info.plist",
             PropertyList::xml({{"CFBundleIdentifier", {std::int64_t{1}}}}));
  for (int i = 0; i < 1'000; ++i) home.write("Applications/Foreign " + std::to_string(i) + ".app/x", "");
  rescan();
  EXPECT_THAT(names(), ElementsAre("Good"));
}

TEST_F(RegistryTest, SaysWhyAnAppShouldBeRebuilt) {
  const auto reasons = [this](std::optional<std::int64_t> revision, const std::string& executable = "CorvanaStub") {
    fs::remove_all(home.path() / "Apps");
    return RegisteredApp{.path = makeApp("Apps", "A", "app.corvana.1", revision, executable), .stubRevision = revision}
        .rebuildReasons();
  };
  EXPECT_THAT(reasons(7), IsEmpty());
  EXPECT_THAT(reasons(6), ElementsAre(HasSubstr("after the rename to Corvana")));
  EXPECT_THAT(reasons(5), ElementsAre(HasSubstr("No longer quits"), HasSubstr("after the rename to Corvana")));
  EXPECT_THAT(reasons(std::nullopt), ElementsAre(HasSubstr("built before Corvana recorded")));
  EXPECT_THAT(reasons(7, "MirrowenStub"), ElementsAre(HasSubstr("Built before the rename, so it can't reach")));
  EXPECT_THAT(RegisteredApp{.path = "/nowhere/A.app"}.rebuildReasons(), IsEmpty());

  EXPECT_TRUE(StubRevision::isOutdated(std::nullopt) && StubRevision::isOutdated(6));
  EXPECT_FALSE(StubRevision::isOutdated(7));
  EXPECT_EQ(StubRevision::advice(7), StubRevision::genericAdvice);
  EXPECT_THAT(StubRevision::advice(5), HasSubstr("acted on that. Reaches"));
  EXPECT_FALSE(StubRevision::revision({{"CVNStubRevision", {std::string("7")}}}));
}

TEST(WarnThrottle, WarnsOncePerIntervalForAllProcesses) {
  const support::TemporaryHome home;
  fakes::FakeScheduler clock;
  using std::chrono::hours;
  using std::chrono::seconds;
  EXPECT_TRUE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  EXPECT_TRUE(WarnThrottle::shouldWarn("group-missing", seconds(300), clock)) << "each kind by itself";
  clock.advance(seconds(3599));
  EXPECT_FALSE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  clock.advance(seconds(1));
  EXPECT_TRUE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  EXPECT_FALSE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  WarnThrottle::reset("accessibility");
  EXPECT_TRUE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  // Without a place for its marker it is due every time.
  fs::remove_all(home.path() / "Library");
  home.write("Library", "");
  EXPECT_TRUE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
  EXPECT_TRUE(WarnThrottle::shouldWarn("accessibility", hours(1), clock));
}

}  // namespace
}  // namespace corvana
