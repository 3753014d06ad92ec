#include "core/identity/rename_migration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/identity/corvana.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FakeDefaults final : public UserDefaults {
 public:
  bool boolFor(std::string_view key) override { return keys.contains(std::string(key)); }
  void set(std::string_view key, bool value) override {
    if (value) keys.insert(std::string(key));
  }

  std::set<std::string> keys;
};

class FakeTrash final : public Trash {
 public:
  void move(const fs::path& file) override {
    if (fails) throw std::runtime_error("no");
    moved.push_back(file.filename());
    fs::remove_all(file);
  }

  bool fails = false;
  std::vector<std::string> moved;
};

class RenameMigrationTest : public testing::Test {
 protected:
  void writeOld(const std::string& file, const std::string& text, const std::string& folder = "Mirrowen") {
    home.write("Library/Application Support/" + folder + "/" + file, text);
  }
  RenameMigration::Outcome run() { return RenameMigration::runIfNeeded(workspace, defaults); }

  support::TemporaryHome home;
  fakes::RecordingLog log;
  fakes::FakeWorkspace workspace;
  FakeDefaults defaults;
};

TEST_F(RenameMigrationTest, CopiesWhatIsMissingOnceFromTheNewestName) {
  writeOld("registry.json", R"({"apps": [{}, {}, 3]})");
  writeOld("rules.json", "old rules");
  writeOld("settings.json", "old settings");
  writeOld("other.json", "other");
  writeOld("recent-links.json", "older", "PlenvelApps");
  home.write("Library/Application Support/Corvana/rules.json", "present rules");
  workspace.running = {{"org.halvory.mirrowen.helper", 5}, {"org.halvory.plenvel.helper", 6}};
  workspace.installed["org.halvory.mirrowen.creator"] = "/opt/Mirrowen.app";

  const auto outcome = run();
  EXPECT_EQ(outcome, (RenameMigration::Outcome{3, "/opt/Mirrowen.app", true}));
  EXPECT_TRUE(outcome.hasLeftovers());
  EXPECT_EQ(support::readFile(Corvana::rulesURL()), "present rules");
  EXPECT_EQ(support::readFile(Corvana::settingsURL()), "old settings");
  EXPECT_FALSE(fs::exists(Corvana::recentLinksURL()));
  EXPECT_FALSE(fs::exists(Corvana::supportDirectory() / "other.json"));
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("creator default: migrated registry.json from "),
                                       HasSubstr("creator default: migrated settings.json from ")));
  EXPECT_THAT(workspace.running, ElementsAre(RunningApplication{"org.halvory.plenvel.helper", 6}));
  EXPECT_TRUE(defaults.keys.contains("CorvanaRenameMigrationCompleted"));

  fs::remove(Corvana::settingsURL());
  workspace.running = {{"org.halvory.mirrowen.helper", 7}};
  EXPECT_EQ(run(), outcome);
  EXPECT_FALSE(fs::exists(Corvana::settingsURL()));
  EXPECT_EQ(workspace.running.size(), 1u);
}

TEST_F(RenameMigrationTest, GoesOnAfterAFailureAndIsDoneEvenWithNothingToDo) {
  EXPECT_EQ(run(), RenameMigration::Outcome());
  EXPECT_FALSE(fs::exists(Corvana::supportDirectory()));
  writeOld("rules.json", "late");
  EXPECT_EQ(run(), (RenameMigration::Outcome{0, std::nullopt, true})) << "a folder that appears later is left alone";
  EXPECT_FALSE(fs::exists(Corvana::rulesURL()));

  defaults.keys.clear();
  fs::create_directories(home.path() / "Library/Application Support/Mirrowen/registry.json");
  EXPECT_TRUE(run().hasOldSupportDirectory);
  EXPECT_EQ(support::readFile(Corvana::rulesURL()), "late");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("creator error: could not migrate registry.json: "),
                                       HasSubstr("migrated rules.json")));
  EXPECT_FALSE(defaults.keys.empty());
}

TEST_F(RenameMigrationTest, AFileInTheWayIsNoReasonToFail) {
  writeOld("rules.json", "old");
  home.write("Library/Application Support/Corvana", "no folder");
  EXPECT_TRUE(run().hasOldSupportDirectory);
  EXPECT_EQ(log.lines().size(), 2u);
  EXPECT_FALSE(defaults.keys.empty());
}

TEST_F(RenameMigrationTest, LeftoversGoToTheTrash) {
  FakeTrash trash;
  writeOld("rules.json", "");
  const fs::path creator = home.path() / "Mirrowen.app";
  fs::create_directory(creator);
  trash.fails = true;
  EXPECT_THROW(RenameMigration::removeLeftovers(creator, trash), std::runtime_error);
  trash.fails = false;
  RenameMigration::removeLeftovers(creator, trash);
  RenameMigration::removeLeftovers(creator, trash);
  EXPECT_THAT(trash.moved, ElementsAre("Mirrowen.app", "Mirrowen"));
  EXPECT_FALSE(RenameMigration::currentState(workspace).hasLeftovers());
}

}  // namespace
}  // namespace corvana
