#include "platform/desktop/desktop_entry_linux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
  support::TemporaryHome home;
  const auto second = home.path() / "second";
  home.environment.set("XDG_DATA_DIRS", "relative:" + second.string());
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

}  // namespace
}  // namespace corvana
