#include "core/identity/corvana.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

class CorvanaTest : public testing::Test {
 protected:
  support::TemporaryHome home;
};

TEST_F(CorvanaTest, TheSocketMovesWhereItsPathWouldBecomeTooLong) {
  const std::string below = "/Library/Application Support/Corvana/h.sock";  // 43 bytes
  for (const bool isMultibyte : {false, true}) {
    // 56 bytes of home make 99 in all; as two-byte characters they are half as many characters.
    std::string homePath = "/";
    while (homePath.size() < 55) homePath += isMultibyte && homePath.size() < 54 ? "ü" : "x";
    homePath.resize(56, 'x');
    home.environment.set("HOME", homePath);
    EXPECT_EQ(Corvana::socketPath(), homePath + below);
    EXPECT_EQ(Corvana::socketPath().size(), 99);
    home.environment.set("HOME", homePath + "y");
    EXPECT_TRUE(Corvana::socketPath().ends_with("/corvana-h.sock")) << Corvana::socketPath();
    EXPECT_FALSE(Corvana::socketPath().starts_with(homePath));
  }
}

TEST_F(CorvanaTest, TheSupportDirectoryIsMadeForTheUserAlone) {
  const auto mode = [](const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 0777;
  };
  for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
    const mode_t previous = ::umask(mask);
    Corvana::ensureSupportDirectory();
    ::umask(previous);
    EXPECT_EQ(mode(Corvana::supportDirectory()), 0700);
    if (mask == 0) std::filesystem::remove_all(Corvana::supportDirectory());
  }

  std::filesystem::permissions(Corvana::supportDirectory(), std::filesystem::perms(0750));
  Corvana::ensureSupportDirectory();
  EXPECT_EQ(mode(Corvana::supportDirectory()), 0750) << "one that is there stays as it is";

  std::filesystem::remove_all(Corvana::supportDirectory());
  home.write("Library/Application Support/Corvana", "a file in its place");
  EXPECT_THROW(Corvana::ensureSupportDirectory(), std::filesystem::filesystem_error);
}

TEST_F(CorvanaTest, IdentifiersAreOursOnlyBelowAPrefix) {
  for (const char* ours : {"app.corvana.main", "app.corvana.", "app.corvana.a.b", "org.halvory.mirrowen.creator",
                           "org.halvory.plenvel.helper"}) {
    EXPECT_TRUE(Corvana::isOurBundleID(ours)) << ours;
  }
  for (const char* other :
       {"", "app.corvana", "app.corvanax", "app.corvana-x.y", "App.corvana.main", "x.app.corvana.main",
        "org.halvory.mirrowen", "ORG.HALVORY.PLENVEL.helper", "org.halvory.other.x"}) {
    EXPECT_FALSE(Corvana::isOurBundleID(other)) << other;
  }
  EXPECT_EQ(Corvana::previousIdentities[1].helperBundleID(), "org.halvory.plenvel.helper");
}

TEST_F(CorvanaTest, TheNewestEarlierIdentityIsMigrated) {
  const auto prefix = [] {
    const auto identity = Corvana::identityToMigrateFrom();
    return identity ? identity->bundleIDPrefix : "none";
  };
  EXPECT_EQ(prefix(), "none");
  home.write("Library/Application Support/PlenvelApps/rules.json", "{}");
  EXPECT_EQ(prefix(), "org.halvory.plenvel");
  home.write("Library/Application Support/Mirrowen", "a plain file counts");
  EXPECT_EQ(prefix(), "org.halvory.mirrowen");
}

TEST(Slug, KeepsLettersAndNumbersOfAllScripts) {
  struct Row {
    const char* name;
    const char* slug;
  };
  for (const Row& row : {
           Row{"Work Profile", "work-profile"}, Row{"  --Ünïcode!!  2 ", "ünïcode-2"}, Row{"!!!", "app"},
           Row{"", "app"}, Row{"   ", "app"}, Row{"a--b", "a-b"}, Row{"A_B", "a-b"}, Row{"2024", "2024"},
           Row{"Ä\u0301rger", "ä\u0301rger"},  // a letter keeps its accents
           Row{"ИМЯ 名前 ٣½", "имя-名前-٣½"},
           Row{"x👩‍👩‍👧y🇩🇪", "x-y"},  // one character each, and no letter
           Row{"İstanbul", "i\u0307stanbul"},
           Row{"a\xff\xfe"
               "b",
               "a-b"},
           Row{"\u0301x", "x"},  // an accent that stands alone
       }) {
    EXPECT_EQ(Corvana::slug(row.name), row.slug) << row.name;
  }
}

TEST(NewBundleID, AvoidsWhatIsTaken) {
  int made = 0;
  const auto makeUUID = [&made] {
    ++made;
    char text[37];
    std::snprintf(text, sizeof text, "ABCDEF%02X-0000-4000-8000-0123456789AB", made);
    return std::string(text);
  };
  EXPECT_EQ(Corvana::newBundleID({}, makeUUID), "app.corvana.abcdef010000");
  EXPECT_EQ(Corvana::newBundleID({"app.corvana.abcdef020000"}, makeUUID), "app.corvana.abcdef030000");

  std::set<std::string> taken;
  for (int i = 0; i < 256; ++i) {
    char text[32];
    std::snprintf(text, sizeof text, "app.corvana.abcdef%02x0000", i);
    taken.insert(text);
  }
  made = 0;
  EXPECT_EQ(Corvana::newBundleID(taken, makeUUID),
            "app.corvana.abcdef41000040008000"
            "0123456789ab");
  EXPECT_EQ(made, 65);
  made = 63;
  taken.erase("app.corvana.abcdef7f0000");
  EXPECT_EQ(Corvana::newBundleID(taken, makeUUID), "app.corvana.abcdef7f0000") << "the 64th try still counts";
}

}  // namespace
}  // namespace corvana
