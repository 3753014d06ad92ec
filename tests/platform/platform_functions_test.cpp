#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>
#include <set>

#include "platform/files/bookmark.h"
#include "platform/files/files.h"
#include "platform/files/property_list.h"
#include "platform/files/user_directories.h"
#include "platform/log/system_log_linux.h"
#include "platform/text/base64.h"
#include "platform/text/text.h"
#include "platform/text/uuid.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;
using support::TemporaryHome;
using testing::HasSubstr;

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST(PropertyList, ReadsBothFormsAndWritesXML) {
  const std::string xml = R"(<?xml version="1.0"?><plist version="1.0"><dict>
      <key>text</key><string>a &lt; ü</string><key>yes</key><true/><key>number</key><integer>-7</integer>
      <key>real</key><real>1.5</real><key>date</key><date>2026-01-02T03:04:05Z</date><key>data</key><data>AAAA</data>
      <key>list</key><array><integer>1</integer><string>two</string></array>
      <key>inner</key><dict><key>no</key><false/></dict></dict></plist>)";
  const PropertyDictionary expected{
      {"text", {std::string("a < ü")}},
      {"yes", {true}},
      {"number", {std::int64_t{-7}}},
      {"real", {1.5}},
      {"list", {PropertyArray{{std::int64_t{1}}, {std::string("two")}}}},
      {"inner", {PropertyDictionary{{"no", {false}}}}},
  };
  EXPECT_EQ(PropertyList::parse(xml), expected) << "dates and data are left out";
  EXPECT_EQ(PropertyList::parse(PropertyList::xml(expected)), expected);
  // {"a": true} in the binary form: header, three objects, their offsets, trailer.
  const std::string binary(
      "bplist00\xD1\x01\x02\x51\x61\x09\x08\x0B\x0D\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0"
      "\0\0\0\0\0\0\0\x0E",
      49);
  EXPECT_EQ(PropertyList::parse(binary), (PropertyDictionary{{"a", {true}}}));
}

TEST(PropertyList, RefusesWhatIsNoneWithoutHarm) {
  const auto nested = [](std::size_t depth) {
    std::string text = "<plist version=\"1.0\"><dict><key>a</key>";
    for (std::size_t i = 0; i < depth; ++i) text += "<array>";
    for (std::size_t i = 0; i < depth; ++i) text += "</array>";
    return text + "</dict></plist>";
  };
  EXPECT_NO_THROW(PropertyList::parse(nested(60)));
  for (const std::string& bytes : {std::string(), std::string("plainly not"), std::string("<plist><dict><key>a</key>"),
                                   std::string("<plist><array/></plist>"), std::string("bplist00"),
                                   std::string("bplist00") + std::string(40, '\xFF'), nested(65), nested(60'000),
                                   std::string(PropertyList::maximumBytes + 1, ' ')}) {
    EXPECT_THROW(PropertyList::parse(bytes), PropertyListError) << bytes.substr(0, 60) << " of " << bytes.size();
  }
  // Eighty arrays that each name the next one twice: as a reader expands it, 2^80 values.
  std::string bomb = "bplist00";
  std::string offsets;
  for (char i = 0; i < 80; ++i) {
    offsets += static_cast<char>(bomb.size() % 256);
    offsets.insert(offsets.size() - 1, 1, static_cast<char>(bomb.size() / 256));
    const char next = static_cast<char>(i + 1);
    bomb += i < 79 ? std::string{'\xA2', next, next} : std::string{'\x09'};
  }
  const std::size_t offsetTable = bomb.size();
  bomb += offsets + std::string(6, '\0') + std::string{2, 1} + std::string(7, '\0') + std::string{80} +
          std::string(14, '\0') + static_cast<char>(offsetTable / 256) + static_cast<char>(offsetTable % 256);
  EXPECT_THROW(PropertyList::parse(bomb), PropertyListError);

  const TemporaryHome home;
  try {
    PropertyList::read(home.write("Info.plist", "broken"));
    ADD_FAILURE();
  } catch (const PropertyListError& error) {
    EXPECT_THAT(error.what(), HasSubstr("Info.plist: damaged"));
  }
}

TEST(Files, ReadNeitherBlocksNorTakesTooMuch) {
  const TemporaryHome home;
  const auto file = home.write("five", "12345");
  EXPECT_EQ(files::read(file, 5), "12345");
  EXPECT_THROW(files::read(file, 4), std::filesystem::filesystem_error);
  EXPECT_THROW(files::read(home.path(), 5), std::filesystem::filesystem_error);
  const auto fifo = home.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_THROW(files::read(fifo, 5), std::filesystem::filesystem_error);
}

TEST(Files, AreReplacedWhereLinksLead) {
  const TemporaryHome home;
  const fs::path folder = home.write("folder/file", "old").parent_path();
  const fs::path elsewhere = "/dev/shm" / home.path().filename();
  fs::create_symlink("folder/file", home.path() / "relative");
  fs::create_symlink(home.path() / "relative", home.path() / "chain");
  fs::create_symlink("../new", folder / "dangling");
  fs::create_symlink(elsewhere, home.path() / "other file system");
  fs::create_symlink("loop", home.path() / "loop");
  fs::create_symlink("nowhere/file", home.path() / "nowhere to");
  for (const auto& [link, place] :
       std::vector<std::pair<fs::path, fs::path>>{{home.path() / "relative", folder / "file"},
                                                  {home.path() / "chain", folder / "file"},
                                                  {folder / "dangling", home.path() / "new"},
                                                  {home.path() / "other file system", elsewhere}}) {
    const auto date = files::replace(link, link.string());
    EXPECT_TRUE(fs::is_symlink(link)) << link;
    EXPECT_EQ(support::readFile(place), link.string());
    EXPECT_EQ(files::modificationDate(link), date);
  }
  fs::remove(elsewhere);
  EXPECT_THROW(files::replace(home.path() / "loop", ""), fs::filesystem_error);
  EXPECT_THROW(files::replace(home.path() / "nowhere to", ""), fs::filesystem_error);
  EXPECT_TRUE(fs::is_symlink(home.path() / "loop") && fs::is_symlink(home.path() / "nowhere to"));
}

TEST(UserDirectories, TheTemporaryDirectoryIsNeverOneThatOthersCanUse) {
  TemporaryHome home;
  const auto runtime = home.path() / "runtime";
  std::filesystem::create_directory(runtime);
  home.environment.set("XDG_RUNTIME_DIR", runtime.string());
  ::chmod(runtime.c_str(), 0700);
  EXPECT_EQ(userDirectories::temporary(), runtime);

  ::chmod(runtime.c_str(), 0770);
  const auto own = userDirectories::temporary();
  EXPECT_NE(own, runtime);
  EXPECT_EQ(modeOf(own), 0700);

  const auto link = home.path() / "link";
  ::chmod(runtime.c_str(), 0700);
  std::filesystem::create_symlink(runtime, link);
  home.environment.set("XDG_RUNTIME_DIR", link.string());
  EXPECT_EQ(userDirectories::temporary(), own);
  home.environment.set("XDG_RUNTIME_DIR", "runtime");
  EXPECT_EQ(userDirectories::temporary(), own) << "a relative path does not count";
}

TEST(UserDirectories, HomeComesFromTheAccountWhereTheEnvironmentIsSilent) {
  TemporaryHome home;
  EXPECT_EQ(userDirectories::home(), home.path());
  home.environment.set("HOME", std::nullopt);
  EXPECT_TRUE(userDirectories::home().is_absolute());
  EXPECT_NE(userDirectories::home(), home.path());
}

TEST(RandomUUID, IsCanonicalAndFresh) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = randomUUID();
    EXPECT_TRUE(
        std::regex_match(uuid, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << uuid;
    EXPECT_TRUE(seen.insert(uuid).second);
  }
}

TEST(Text, SplitsIntoUserPerceivedCharacters) {
  std::vector<std::string> characters;
  for (const auto& character : text::characters("e\u0301👩‍👩‍👧🇩🇪\r\n"))
    characters.push_back(character.utf8);
  EXPECT_THAT(characters, testing::ElementsAre("e\u0301", "👩‍👩‍👧", "🇩🇪", "\r\n"));
}

TEST(SystemLog, LinesCannotBeForged) {
  EXPECT_EQ(logLine({"app.corvana", "stub", LogLevel::notice, "a\nb\x1B[2Jc\tü\x7F"}),
            "app.corvana [stub] default: a\\x0ab\\x1b[2Jc\\x09ü\\x7f");
  EXPECT_EQ(logLine({"app.corvana", "stub", LogLevel::notice, "a\u202Eb\u009B2J\xFF"}),
            "app.corvana [stub] default: a\\xe2\\x80\\xaeb\\xc2\\x9b2J\\xff");
}

TEST(Text, IsSortedAsFileManagersDo) {
  const std::vector<std::string> sorted{"", " a", "1", "02", "10", "a", "B", "b 2", "b 10", "\u00E9", "f"};
  for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
    EXPECT_TRUE(text::compareStandard(sorted[i], sorted[i + 1]) < 0) << sorted[i] << " before " << sorted[i + 1];
    EXPECT_TRUE(text::compareStandard(sorted[i + 1], sorted[i]) > 0) << sorted[i];
  }
  EXPECT_TRUE(text::compareStandard("Work", "wORK") == 0);
}

TEST(Base64, RefusesWhatItWouldNotHaveWritten) {
  for (const std::string& bytes : {std::string(), std::string("a"), std::string("\0\xFF", 2), std::string(1000, 'x')}) {
    EXPECT_EQ(base64::decode(base64::encode(bytes)), bytes);
  }
  EXPECT_EQ(base64::encode("\xFB\xEF"), "++8=");
  for (const char* text : {"a", "YQ", "YQ=", "YR==", "Y Q==", "YQ==YQ==", "-_8=", "\u00FC"}) {
    EXPECT_FALSE(base64::decode(text)) << text;
  }
}

TEST(Bookmark, FindsAFileThatWasRenamedOrMoved) {
  const TemporaryHome home;
  const fs::path file = home.write("a/file", "content");
  const fs::path link = home.path() / "a/link";
  fs::create_symlink(file, link);
  const std::string bookmark = bookmark::of(file).value();
  const std::vector<fs::path> folders{"/nonexistent", home.path() / "b"};
  EXPECT_EQ(bookmark::of(home.path() / "a/../a/file/"), bookmark) << "however it is written";
  EXPECT_EQ(bookmark::resolve(bookmark, {}), file);
  EXPECT_EQ(bookmark::resolve(bookmark::of(link).value(), {}), link);
  fs::rename(file, home.path() / "a/new name");
  home.write("a/file", "another");
  EXPECT_EQ(bookmark::resolve(bookmark, {}), home.path() / "a/new name");
  fs::create_directory(home.path() / "b");
  fs::rename(home.path() / "a/new name", home.path() / "b/moved");
  EXPECT_FALSE(bookmark::resolve(bookmark, {}));
  EXPECT_EQ(bookmark::resolve(bookmark, folders), home.path() / "b/moved");
  EXPECT_EQ(bookmark::resolve(bookmark, std::vector{home.path()}), home.path() / "b/moved") << "in a folder of it";
  fs::remove(home.path() / "b/moved");
  EXPECT_FALSE(bookmark::resolve(bookmark, folders));
  EXPECT_FALSE(bookmark::of(home.path() / "none"));
  for (const std::string& text : {std::string(), std::string("1 2 3"), std::string("2 1 1 1 1 /x"),
                                  std::string("1 1 1 1 1 x"), std::string("1 1 -1 1 1 /x"), std::string(5'000, '1'),
                                  "1 1 1 1 1 /" + std::string(100'000, 'x'), std::string("1 1 1 1 1 /\0", 12)}) {
    EXPECT_FALSE(bookmark::resolve(text, folders)) << text.substr(0, 40);
  }
}

}  // namespace
}  // namespace corvana
