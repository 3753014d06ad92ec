// What a process's files say of its application, which may be anything.
#include "platform/desktop/process_evidence_linux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvana::processEvidence {
namespace {

using testing::ElementsAre;
using testing::Optional;

TEST(ProcessEvidence, UnitsAreReadAsLaunchersNameThem) {
  struct Row {
    const char* cgroup;
    std::vector<std::string> ids;
    std::optional<pid_t> process;
  };
  const std::string slice = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";
  for (const Row& row : {
           Row{"app-gnome-org.gnome.Evince-3423.scope", {"org.gnome.Evince", "gnome-org.gnome.Evince"}, 3423},
           Row{"app-gnome-firefox\\x2desr-12.scope", {"firefox-esr"}, 12},
           Row{"app-org.kde.konsole-0a1b.scope", {"org.kde.konsole"}, std::nullopt},
           Row{"app-firefox@0a1b.service", {"firefox"}, std::nullopt},
           Row{"app-KDE-thunderbird@0a-1b.service", {"thunderbird", "KDE-thunderbird"}, std::nullopt},
           Row{"app-firefox-esr-12.scope", {"esr", "firefox-esr"}, 12},
           Row{"app-gnome-a-99999999999999999999.scope", {"a", "gnome-a"}, std::nullopt},
           Row{"app-gnome-a-1.scope/inner.scope/leaf", {"a", "gnome-a"}, 1},
           Row{"app-a-1.scope/app-b-2.scope\n1:name=systemd:/x", {"b"}, 2},
           Row{"app-org.gnome.Terminal.slice/vte-spawn-0a1b.scope", {}, {}},
           Row{"session-2.scope", {}, {}},
           Row{"app-.scope", {}, {}},
           Row{"app-12.scope", {}, {}},
           Row{"app-\\x2fetc\\x2fx-1.scope", {}, {}},
           Row{"app-..-1.scope", {}, {}},
           Row{"app-a\\x-1.scope", {}, {}},
           Row{"app-a\\x00b-1.scope", {}, {}},
           Row{"", {}, {}},
       }) {
    const auto unit = unitIn(slice + row.cgroup + "\n");
    EXPECT_EQ(unit ? unit->desktopIDs : std::vector<std::string>(), row.ids) << row.cgroup;
    EXPECT_EQ(unit ? unit->firstProcess : std::nullopt, row.process) << row.cgroup;
  }
  EXPECT_TRUE(unitIn("5:cpu:/app-x-1.scope\n1:name=systemd:/app-a-1.scope\n"));
  EXPECT_EQ(unitIn("5:cpu:/app-x-1.scope\n"), std::nullopt) << "another hierarchy is nobody's unit";
  EXPECT_EQ(unitIn(":::::\n\n0::"), std::nullopt);
}

TEST(ProcessEvidence, AFlatpakIsNamedInItsOwnGroup) {
  struct Row {
    const char* info;
    std::optional<std::string> id;
  };
  for (const Row& row :
       {Row{"[Application]\nname=org.mozilla.firefox\nruntime=x\n", "org.mozilla.firefox"},
        Row{"[Instance]\nname=other\n[Application]\nname=a.b.c", "a.b.c"},
        Row{"[Application]\n[Instance]\nname=other\n", std::nullopt}, Row{"[Runtime]\nname=other\n", std::nullopt},
        Row{"[Application]\nname=../../etc\n", std::nullopt}, Row{"[Application]\nname=\n", std::nullopt},
        Row{"name=a", std::nullopt}}) {
    EXPECT_EQ(flatpakIDIn(row.info), row.id) << row.info;
  }
}

TEST(ProcessEvidence, ALaunchersVariablesAreTrueOfOneProcess) {
  using namespace std::string_literals;
  const std::string entry = "A=b\0GIO_LAUNCHED_DESKTOP_FILE=/x/a.desktop\0"s;
  const std::string process = "GIO_LAUNCHED_DESKTOP_FILE_PID=42\0"s;
  EXPECT_THAT(launchedEntryIn(entry + process, 42), Optional(std::filesystem::path("/x/a.desktop")));
  EXPECT_THAT(launchedEntryIn(process + entry, 42), Optional(std::filesystem::path("/x/a.desktop")));
  EXPECT_EQ(launchedEntryIn(entry + process, 43), std::nullopt);
  EXPECT_EQ(launchedEntryIn(entry, 42), std::nullopt);
  EXPECT_EQ(launchedEntryIn("GIO_LAUNCHED_DESKTOP_FILE=a.desktop\0"s + process, 42), std::nullopt);
  EXPECT_EQ(launchedEntryIn(entry + "GIO_LAUNCHED_DESKTOP_FILE_PID=42x", 42), std::nullopt);
}

TEST(ProcessEvidence, ParentsArgumentsAndInterpreters) {
  EXPECT_EQ(parentIn("12 (sh) S 7 1 1"), 7);
  EXPECT_EQ(parentIn("12 (a) S 9 (b) c) R 7 1"), 7) << "a name may hold anything";
  EXPECT_EQ(parentIn("12 (sh"), std::nullopt);
  EXPECT_EQ(parentIn("12 (sh) S"), std::nullopt);
  EXPECT_THAT(textsIn(std::string("a\0\0b\0", 5)), ElementsAre("a", "", "b"));
  for (const auto& [script, interpreter] :
       std::vector<std::pair<const char*, std::optional<std::string>>>{{"#!/bin/sh\necho", "/bin/sh"},
                                                                       {"#! /usr/bin/python3 -s\n", "/usr/bin/python3"},
                                                                       {"#!/usr/bin/env python3", "python3"},
                                                                       {"#!/usr/bin/env -S node x\n", "node"},
                                                                       {"#!/usr/bin/env\n", std::nullopt},
                                                                       {"#!", std::nullopt},
                                                                       {"#!\n/bin/sh", std::nullopt},
                                                                       {"\x7f"
                                                                        "ELF",
                                                                        std::nullopt}}) {
    EXPECT_EQ(interpreterIn(script), interpreter) << script;
  }
}

}  // namespace
}  // namespace corvana::processEvidence
