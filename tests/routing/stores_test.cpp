// The settings, the rules and the history: what they have in common, being documents in files, and what differs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <random>

#include "core/identity/settings_store.h"
#include "core/routing/recent_links.h"
#include "core/routing/rule_store.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/failing_calls.h"
#include "tests/support/processes.h"
#include "tests/support/stress.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using support::FailingCall;
using support::TemporaryHome;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string folder = "Library/Application Support/Corvana/";

RuleSet rulesNamed(const std::string& name) {
  return {.rules = {{.id = UUID::random(), .name = name, .target = RouteTarget::proxyApp("p")}}};
}

RecentLink linkTo(const std::string& url) {
  return {.id = UUID::random(), .date = std::chrono::sys_seconds(std::chrono::seconds(1'800'000'000)), .url = url};
}

void setDate(const fs::path& file, std::chrono::seconds fromNow) {
  fs::last_write_time(file, fs::file_time_type::clock::now() + fromNow);
}

/// But for the locks, which stay.
std::vector<std::string> namesIn(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.path().extension() != ".lock") names.push_back(entry.path().filename());
  }
  return names;
}

TEST(RuleStore, FollowsTheFile) {
  const TemporaryHome home;
  const fakes::RecordingLog log;
  RuleStore store;
  EXPECT_FALSE(store.reloadIfChanged());
  EXPECT_EQ(store.set(), RuleSet());
  EXPECT_FALSE(fs::exists(Corvana::rulesURL())) << "not written before it is saved";

  RuleStore other;
  other.save(rulesNamed("first"));
  EXPECT_FALSE(other.reloadIfChanged()) << "its own write is no change";
  EXPECT_EQ(*store.current(), other.set());
  EXPECT_FALSE(store.reloadIfChanged());

  // An edit that keeps the date is not seen, one that changes it is.
  const auto date = fs::last_write_time(Corvana::rulesURL());
  home.write(folder + "rules.json", "{}");
  fs::last_write_time(Corvana::rulesURL(), date);
  EXPECT_EQ(store.current()->rules.at(0).name, "first");
  fs::last_write_time(Corvana::rulesURL(), date - std::chrono::hours(1));
  EXPECT_EQ(*store.current(), RuleSet());

  // A broken file is reported once for each of its dates; the reason is there for who asks.
  other.save(rulesNamed("second"));
  ASSERT_TRUE(store.reloadIfChanged());
  home.write(folder + "rules.json", R"({"rules": [{}]})");
  setDate(Corvana::rulesURL(), std::chrono::seconds(5));
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_FALSE(store.reloadIfChanged());
  EXPECT_EQ(store.set(), RuleSet());
  EXPECT_EQ(store.problem(), "rules[0].target: missing");
  setDate(Corvana::rulesURL(), std::chrono::seconds(6));
  EXPECT_TRUE(store.reloadIfChanged());
  const std::string message = "helper error: rules.json could not be read; routing everything to the fallback";
  const std::string reason = "helper error: rules.json: rules[0].target: missing";
  EXPECT_THAT(log.lines(), ElementsAre(message, reason, message, reason));

  // So is one that cannot be opened.
  fs::remove(Corvana::rulesURL());
  fs::create_directory(Corvana::rulesURL());
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_FALSE(store.reloadIfChanged());
  EXPECT_THAT(log.lines(), SizeIs(6));
  fs::remove(Corvana::rulesURL());

  other.save(rulesNamed("third"));
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_FALSE(store.problem());
  fs::remove(Corvana::rulesURL());
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_EQ(store.set(), RuleSet());
  EXPECT_FALSE(store.reloadIfChanged());

  // A document without rules is one as well.
  other.save({.fallback = RouteTarget::browser("b")});
  EXPECT_TRUE(store.reloadIfChanged());
  fs::remove(Corvana::rulesURL());
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_EQ(store.set(), RuleSet());
}

TEST(RuleStore, DecidesByTheFileAsItIsNow) {
  const TemporaryHome home;
  RuleStore store;
  const URL link = URL::absolute("https://example.org/").value();
  EXPECT_TRUE(store.decide(link, std::nullopt).isFallback());
  RuleSet set = rulesNamed("site");
  set.rules[0].conditions = {{.values = {"example.org"}}};
  RuleStore().save(set);
  EXPECT_EQ(store.decide(link, std::nullopt), RouteDecision::of(std::make_shared<const LinkRule>(set.rules[0])));
}

TEST(SettingsStore, KeepsValuesWithoutAFileAndDropsThemForABrokenOne) {
  const TemporaryHome home;
  const fakes::RecordingLog log;
  SettingsStore store;
  store.settings.disablesHelper = true;
  store.reloadIfChanged();
  EXPECT_TRUE(store.settings.disablesHelper);
  store.save();
  SettingsStore other;
  EXPECT_EQ(other.settings, store.settings);

  fs::remove(Corvana::settingsURL());
  other.reloadIfChanged();
  EXPECT_TRUE(other.settings.disablesHelper);

  home.write(folder + "settings.json", R"({"notifiesWhenProxyAppsAreOutdated": false, "other": 1})");
  setDate(Corvana::settingsURL(), std::chrono::seconds(5));
  other.reloadIfChanged();
  EXPECT_EQ(other.settings, (AppSettings{.notifiesWhenProxyAppsAreOutdated = false}));

  home.write(folder + "settings.json", "{\n\"version\": true}");
  setDate(Corvana::settingsURL(), std::chrono::seconds(6));
  other.reloadIfChanged();
  other.reloadIfChanged();
  EXPECT_EQ(other.settings, AppSettings());
  EXPECT_THAT(log.lines(), ElementsAre("helper error: settings.json could not be read; using defaults",
                                       StartsWith("helper error: settings.json: version: expected an integer")));
  // 2^63 is one more than an integer of 64 bits can be; the double before it is one.
  for (const auto& [number, isRead] : {std::pair("9223372036854775808.0", false), {"9223372036854774784.0", true}}) {
    std::string problem;
    try {
      (void)AppSettings::parse("{\"version\": " + std::string(number) + "}");
    } catch (const std::runtime_error& error) {
      problem = error.what();
    }
    EXPECT_EQ(problem.empty(), isRead) << number << problem;
  }
}

TEST(RecentLinksStore, KeepsTheNewestTwoHundred) {
  const TemporaryHome home;
  const fakes::RecordingLog log;
  RecentLinksStore store;
  for (int i = 0; i < 201; ++i) store.record(linkTo("https://example.org/" + std::to_string(i)));
  RecentLinksStore other;
  ASSERT_THAT(other.links(), SizeIs(200));
  EXPECT_EQ(other.links().front().url, "https://example.org/200");
  EXPECT_EQ(other.links().back().url, "https://example.org/1");

  // What another process recorded meanwhile is kept, what it cleared is gone.
  other.record(linkTo("https://example.org/200"));
  store.record(linkTo("x:"));
  EXPECT_EQ(store.links()[1].url, "https://example.org/200");
  EXPECT_EQ(store.links()[2].url, "https://example.org/200");
  other.clear();
  EXPECT_FALSE(other.reloadIfChanged());
  EXPECT_EQ(support::readFile(Corvana::recentLinksURL()), "[]\n");
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_THAT(store.links(), IsEmpty());

  // An empty history that goes is a change, too.
  fs::remove(Corvana::recentLinksURL());
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_FALSE(store.reloadIfChanged());

  // An entry that is not whole makes the history an empty one, without a word.
  store.record(linkTo("https://example.org/"));
  std::string text = support::readFile(Corvana::recentLinksURL());
  text.replace(text.find("targetWasMissing"), 6, "wasXXX");
  home.write(folder + "recent-links.json", text);
  setDate(Corvana::recentLinksURL(), std::chrono::seconds(5));
  EXPECT_TRUE(store.reloadIfChanged());
  EXPECT_THAT(store.links(), IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RecentLinks, AreWrittenWithDatesThatPeopleCanRead) {
  RecentLink link = linkTo("https://example.org/");
  link.ruleName = "a rule that has been deleted";
  EXPECT_TRUE(link.isFallback());
  const std::string text = RecentLinksStore::documentText({link});
  EXPECT_THAT(text, testing::HasSubstr(R"("date": "2027-01-15T08:00:00Z")"));
  EXPECT_EQ(RecentLinksStore::parse(text), std::vector{link});

  const auto dateFrom = [&text](const std::string& date) {
    std::string changed = text;
    changed.replace(changed.find("2027-01-15T08:00:00Z"), 20, date);
    return RecentLinksStore::parse(changed).at(0).date;
  };
  EXPECT_EQ(dateFrom("2027-01-15T10:00:00+02:00"), link.date);
  EXPECT_EQ(dateFrom("2027-01-15T03:30:00-04:30"), link.date);
  EXPECT_EQ(dateFrom("2027-01-15T08:00:00.999Z"), link.date);
  for (const char* date : {"", "2027-01-15", "2027-01-15T08:00:00", "2027-02-30T08:00:00Z", "2027-01-15T08:00:00Z ",
                           "2027-01-15T25:00:00Z", "2027-01-15T07:59:60Z", "1800000000"}) {
    EXPECT_THROW(dateFrom(date), std::runtime_error) << date;
  }
}

TEST(RecentLinks, ShowHostAndRest) {
  TemporaryHome home;
  struct Row {
    std::string url;
    std::string host;
    std::string path;
    bool isFile = false;
  };
  const std::string here = "file://" + home.path().string();
  for (const Row& row : std::vector<Row>{
           {"https://user@Example.org:80/a?b#c", "example.org", ":80/a?b#c"},
           {"https://example.org/", "example.org", ""},
           {"https://s/x", "s", "/x"},
           {"https://m\u00FCnchen.de/x", "xn--mnchen-3ya.de", "/x"},
           {"https://EXAMPLE.org%2e:1/", "example.org.", ":1/"},
           {"https:\\\\a@b@0x7f.1?q", "127.0.0.1", "?q"},
           {"https://example.org@example.org/x", "example.org", "/x"},
           {"https:\t//exa\nmple.org\t/a\tb", "example.org", "\t/a\tb"},
           {"https://[::1]:8/x", "[::1]", ":8/x"},
           {"app://h/x", "h", "/x"},
           {"app:///x", "app:///x", ""},
           {"https://", "https://", ""},
           {"mailto:a@b", "mailto:a@b", ""},
           {"no link", "no link", ""},
           {here + "/Documents/a%20b.html", "a b.html", "~/Documents", true},
           {here + "/a", "a", "~", true},
           {here + "-not/a", "a", home.path().string() + "-not", true},
           {"file:///usr/share/", "share", "/usr", true},
           {"file:///", "/", "/", true},
       }) {
    const RecentLink link = linkTo(row.url);
    EXPECT_EQ(link.displayHost(), row.host) << row.url;
    EXPECT_EQ(link.displayPath(), row.path) << row.url;
    EXPECT_EQ(link.isLocalFile(), row.isFile) << row.url;
  }
  home.environment.set("HOME", home.path().string() + "/");
  EXPECT_EQ(linkTo(here + "/a").displayPath(), "~");
  EXPECT_EQ(linkTo(here + "/Documents/a").displayPath(), "~/Documents");
}

TEST(Documents, NoChangeIsLostThatOthersMakeMeanwhile) {
  const TemporaryHome home;
  support::inProcesses(8, 10, [] {
    RuleStore().change([](RuleSet& set) { set.rules.push_back(rulesNamed("one").rules[0]); });
    RecentLinksStore(std::chrono::minutes(1)).record(linkTo("x:"));
    SettingsStore().change([](AppSettings& settings) { ++settings.version; });
  });
  EXPECT_THAT(RuleStore().set().rules, SizeIs(80));
  EXPECT_THAT(RecentLinksStore().links(), SizeIs(80));
  EXPECT_EQ(SettingsStore().settings.version, 81);
}

TEST(Documents, WhoeverHoldsThemIsNotWaitedForTooLong) {
  using namespace std::chrono_literals;
  const TemporaryHome home;
  const fakes::RecordingLog log;
  RecentLinksStore history(200ms);
  {
    const DocumentLock held(Corvana::recentLinksURL(), 0ms);
    const DocumentLock other(Corvana::rulesURL(), 0ms);
    try {
      const DocumentLock second(Corvana::rulesURL(), 20ms);
      ADD_FAILURE() << "two have it";
    } catch (const fs::filesystem_error& error) {
      EXPECT_EQ(error.code(), std::errc::device_or_resource_busy);
      EXPECT_EQ(error.path1(), Corvana::rulesURL());
    }
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i) history.record(linkTo("x:"));
    const auto end = std::chrono::steady_clock::now();
    EXPECT_GE(end - begin, 200ms) << "once";
    EXPECT_LT(end - begin, 50 * 200ms);
  }
  EXPECT_THAT(RecentLinksStore().links(), SizeIs(50));
  const DocumentLock again(Corvana::recentLinksURL(), 0ms);
  // Without a place for a lock there is none, and that is said.
  fs::create_directory(Corvana::supportDirectory() / "settings.lock");
  EXPECT_THROW(SettingsStore().save(), fs::filesystem_error);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Documents, WhatCouldNotBeReadIsKept) {
  const TemporaryHome home;
  const fakes::RecordingLog log;
  const fs::path kept = Corvana::rulesURL().string() + ".kept-";
  const auto breakRules = [&home](const std::string& text) {
    home.write(folder + "rules.json", text);
    RuleStore().save(rulesNamed("new"));
  };
  breakRules("broken");
  EXPECT_EQ(support::readFile(kept.string() + "1"), "broken");
  EXPECT_EQ(log.lines().back(),
            "helper error: rules.json could not be read; what it held is kept in " + kept.string() + "1");
  breakRules("broken");
  breakRules("{}");
  EXPECT_THAT(namesIn(Corvana::supportDirectory()), SizeIs(2)) << "once, and only what was broken";
  breakRules("otherwise");
  EXPECT_EQ(support::readFile(kept.string() + "1"), "broken");
  EXPECT_EQ(support::readFile(kept.string() + "2"), "otherwise");

  // A whole history that could not be read just then, for want of descriptors.
  RecentLinksStore().record(linkTo("old:"));
  const std::string old = support::readFile(Corvana::recentLinksURL());
  RecentLinksStore store = [] {
    const FailingCall failing(2, EMFILE);  // after two looks at its date
    return RecentLinksStore();
  }();
  ASSERT_THAT(store.links(), IsEmpty());
  store.record(linkTo("new:"));
  EXPECT_THAT(RecentLinksStore().links(), SizeIs(1));
  EXPECT_EQ(support::readFile(Corvana::recentLinksURL().string() + ".kept-1"), old);
  // Who clears the history wants nothing to be kept.
  EXPECT_EQ(store.clear(), std::nullopt);
  EXPECT_FALSE(fs::exists(Corvana::recentLinksURL().string() + ".kept-1"));
  EXPECT_TRUE(fs::exists(kept.string() + "2")) << "of another document";

  // Where the file system has no links, by copying; when that fails as well, nothing is overwritten.
  home.write(folder + "rules.json", "a third");
  {
    const FailingCall failing(2, EPERM);
    EXPECT_EQ(files::keepAside(Corvana::rulesURL()), kept.string() + "3");
  }
  EXPECT_EQ(support::readFile(kept.string() + "3"), "a third");
  EXPECT_EQ(files::keepAside(home.path() / "nothing"), std::nullopt);
}

TEST(Documents, AreWrittenThroughLinks) {
  const TemporaryHome home;
  const fs::path real = home.write("dotfiles/rules", "broken");
  Corvana::ensureSupportDirectory();
  fs::create_symlink("../../../dotfiles/rules", Corvana::rulesURL());
  RuleStore().save(rulesNamed("new"));
  EXPECT_TRUE(fs::is_symlink(Corvana::rulesURL()));
  EXPECT_EQ(support::readFile(real), RuleStore().set().documentText());
  EXPECT_EQ(support::readFile(real.string() + ".kept-1"), "broken");
  EXPECT_FALSE(RuleStore().problem());
}

TEST(Documents, EverySaveMovesTheDateOn) {
  const TemporaryHome home;
  RuleStore writer;
  RuleStore reader;
  for (int i = 0; i < 500; ++i) {
    writer.save(rulesNamed(std::to_string(i)));
    ASSERT_TRUE(reader.reloadIfChanged()) << "save " << i;
  }
  setDate(Corvana::rulesURL(), std::chrono::hours(1));  // as if the clock had been set back since
  ASSERT_TRUE(reader.reloadIfChanged());
  for (int i = 0; i < 3; ++i) {
    writer.save(rulesNamed("again"));
    ASSERT_TRUE(reader.reloadIfChanged());
  }
}

/// A store in a home of its own, with a document on disk and another one to be saved over it.
class Scene {
 public:
  virtual ~Scene() = default;
  /// Whether it succeeded, as far as the store says.
  virtual bool save() = 0;
  /// What is to be in memory after that.
  virtual void checkMemory(bool succeeded) = 0;
  virtual fs::path file() const = 0;
  virtual bool hasNewDocument() const = 0;

  const std::string& oldText() const { return oldText_; }

 protected:
  void begin() { oldText_ = support::readFile(file()); }
  const TemporaryHome home_;
  std::string oldText_;
};

class RuleScene final : public Scene {
 public:
  RuleScene() {
    store_.save(rulesNamed("old"));
    begin();
  }
  bool save() override {
    try {
      store_.save(rulesNamed("new"));
      return true;
    } catch (const fs::filesystem_error&) {
      return false;
    }
  }
  void checkMemory(bool succeeded) override {
    EXPECT_EQ(store_.set().rules.at(0).name, succeeded ? "new" : "old");
    EXPECT_TRUE(!store_.reloadIfChanged() || succeeded) << "a date is remembered that no save has made";
    EXPECT_EQ(store_.set().rules.at(0).name, succeeded ? "new" : "old");
  }
  fs::path file() const override { return Corvana::rulesURL(); }
  bool hasNewDocument() const override { return RuleStore().set().rules.at(0).name == "new"; }

 private:
  RuleStore store_;
};

class SettingsScene final : public Scene {
 public:
  SettingsScene() {
    store_.save();
    begin();
  }
  bool save() override {
    store_.settings.disablesHelper = true;
    try {
      store_.save();
      return true;
    } catch (const fs::filesystem_error&) {
      return false;
    }
  }
  void checkMemory(bool) override {
    store_.reloadIfChanged();
    EXPECT_TRUE(store_.settings.disablesHelper) << "as it was set, saved or not";
  }
  fs::path file() const override { return Corvana::settingsURL(); }
  bool hasNewDocument() const override { return SettingsStore().settings.disablesHelper; }

 private:
  SettingsStore store_;
};

class HistoryScene final : public Scene {
 public:
  HistoryScene() {
    store_.record(linkTo("old:"));
    begin();
  }
  bool save() override {
    const fakes::RecordingLog log;
    store_.clear();
    if (!log.lines().empty()) {
      EXPECT_THAT(log.lines(), ElementsAre(StartsWith("helper error: could not write recent links: ")));
    }
    return log.lines().empty();
  }
  void checkMemory(bool) override {
    store_.reloadIfChanged();
    EXPECT_THAT(store_.links(), IsEmpty()) << "written or not";
  }
  fs::path file() const override { return Corvana::recentLinksURL(); }
  bool hasNewDocument() const override { return RecentLinksStore().links().empty(); }

 private:
  RecentLinksStore store_;
};

template <class T>
class SavingFails : public testing::Test {};
using Scenes = testing::Types<RuleScene, SettingsScene, HistoryScene>;
TYPED_TEST_SUITE(SavingFails, Scenes, );

TYPED_TEST(SavingFails, AndLeavesTheOldFileWhole) {
  int calls = 0;
  {
    TypeParam scene;
    const FailingCall none(-1, 0);
    ASSERT_TRUE(scene.save());
    calls = none.count();
  }
  ASSERT_GE(calls, 7) << "at the least: open, write, stat, futimens, fstat, fsync, rename";
  int failures = 0;
  for (const int error : {ENOSPC, EIO, EACCES, EROFS}) {
    for (int call = 0; call < calls; ++call) {
      TypeParam scene;
      bool succeeded = false;
      {
        const FailingCall failing(call, error);
        succeeded = scene.save();
      }
      scene.checkMemory(succeeded);
      failures += succeeded ? 0 : 1;
      EXPECT_EQ(scene.hasNewDocument(), succeeded) << "call " << call << ", errno " << error;
      if (!succeeded) {
        EXPECT_EQ(support::readFile(scene.file()), scene.oldText());
      }
      EXPECT_THAT(namesIn(scene.file().parent_path()), ElementsAre(scene.file().filename())) << "nothing else stays";
    }
  }
  EXPECT_GE(failures, 4 * 4) << "open, write, fsync and rename cannot be done without";
}

/// How many of the rounds left a file that is not whole, when a process that saves one document after the other, short
/// and long ones in turn, is killed at a random moment.
int tornFiles(int rounds, const std::function<void(const std::string& text)>& save) {
  const std::vector<std::string> texts{rulesNamed("short").documentText(),
                                       rulesNamed(std::string(200'000, 'x')).documentText()};
  std::mt19937 random(1);
  int torn = 0;
  for (int round = 0; round < rounds; ++round) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      for (std::size_t i = 0;; ++i) {
        save(texts[i % 2]);
        if (i == 0) ::close(ends[1]);
      }
    }
    ::close(ends[1]);
    char none = 0;
    EXPECT_EQ(::read(ends[0], &none, 1), 0) << "once the first save is done";
    ::close(ends[0]);
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 2'000);
    while (std::chrono::steady_clock::now() < end) {
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    const std::string text = fs::exists(Corvana::rulesURL()) ? support::readFile(Corvana::rulesURL()) : texts[0];
    torn += text == texts[0] || text == texts[1] ? 0 : 1;
  }
  return torn;
}

TEST(Documents, AreNeverTornWhenAWriterIsKilled) {
  const TemporaryHome home;
  Corvana::ensureSupportDirectory();
  const int rounds = support::rounds(200);
  EXPECT_EQ(tornFiles(rounds, [](const std::string& text) { files::replace(Corvana::rulesURL(), text); }), 0);
  EXPECT_GT(tornFiles(rounds, [](const std::string& text) { std::ofstream(Corvana::rulesURL()) << text; }), 0)
      << "else this test could not tell";

  // What the killed writers left behind is cleared away once it is old enough to be nobody's.
  ASSERT_GT(namesIn(Corvana::supportDirectory()).size(), 1u);
  files::replace(Corvana::rulesURL(), "{}");
  RuleStore().save({});
  ASSERT_GT(namesIn(Corvana::supportDirectory()).size(), 1u) << "may still be in use";
  for (const auto& entry : fs::directory_iterator(Corvana::supportDirectory())) {
    setDate(entry.path(), std::chrono::hours(-2));
  }
  RuleStore().save({});
  EXPECT_THAT(namesIn(Corvana::supportDirectory()), ElementsAre("rules.json"));
}

}  // namespace
}  // namespace corvana
