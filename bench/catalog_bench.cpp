// Measures what reads many files, beside reading and parsing the same bytes and nothing more: a rescan of 1,000 proxy
// apps, the catalog of 100 browsers, and the list of 200 profiles.
// Usage: catalog_bench

#include <glib.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/browsers/browser_catalog.h"
#include "core/browsers/chrome_profiles.h"
#include "core/registry/registry.h"
#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/files.h"
#include "platform/files/property_list.h"
#include "platform/loop/event_loop_linux.h"

namespace {

using namespace corvana;
namespace fs = std::filesystem;

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

/// The median of some runs, in milliseconds.
double milliseconds(const std::function<void()>& work) {
  std::vector<double> times;
  for (int i = 0; i < 15; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  std::ranges::nth_element(times, times.begin() + 7);
  return times[7];
}

void report(const char* name, const std::function<void()>& work, const std::function<void()>& bare) {
  const double whole = milliseconds(work);
  const double least = milliseconds(bare);
  std::printf("%-28s %8.2f ms   bare %8.2f ms   ratio %.2f\n", name, whole, least, whole / least);
}

void require(bool holds, const char* what) {
  if (holds) return;
  std::printf("wrong result: %s\n", what);
  std::exit(1);
}

void measureRescan(const fs::path& home) {
  for (int i = 0; i < 1'000; ++i) {
    const std::string number = std::to_string(i);
    const fs::path app = home / "Applications" / ("App " + number + ".app");
    PropertyDictionary plist = StubConfig{.profileDirectory = "Profile " + number}.plistEntries();
    plist.emplace("CFBundleIdentifier", PropertyValue{"app.corvana." + number});
    write(app / "Contents/Info.plist", PropertyList::xml(plist));
  }
  EventLoop loop;
  LaunchContext context("app.corvana.bench");
  WorkspaceLinux workspace(loop, context);
  Registry registry;
  report(
      "rescan of 1,000 apps",
      [&] {
        registry.rescan(workspace, loop);
        require(registry.apps.size() == 1'000, "apps");
      },
      [&] {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator(home / "Applications")) {
          count += PropertyList::read(entry.path() / "Contents/Info.plist").size();
        }
        require(count > 0, "property lists");
      });
}

void measureCatalog(const fs::path& home) {
  const fs::path entries = home / ".local/share/applications";
  std::string all;
  for (int i = 0; i < 100; ++i) {
    const std::string id = "org.example.browser" + std::to_string(i) + ".desktop";
    write(entries / id, "[Desktop Entry]\nType=Application\nName=Browser " + std::to_string(i) +
                            "\nExec=/bin/true %U\nMimeType=x-scheme-handler/https;\n");
    all += id + ";";
  }
  write(entries / "mimeinfo.cache", "[MIME Cache]\nx-scheme-handler/https=" + all + "\n");
  EventLoop loop;
  LaunchContext context("app.corvana.bench");
  WorkspaceLinux workspace(loop, context);
  ApplicationHandlersGIO handlers(loop);
  report(
      "catalog of 100 browsers",
      [&] {
        const std::vector<std::string> noMore;
        require(BrowserCatalog::installed(workspace, handlers, noMore).size() == 100, "browsers");
      },
      [&] {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator(entries)) {
          GKeyFile* keys = ::g_key_file_new();
          count += ::g_key_file_load_from_file(keys, entry.path().c_str(), G_KEY_FILE_NONE, nullptr) != 0 ? 1 : 0;
          ::g_key_file_unref(keys);
        }
        require(count == 101, "key files");
      });
}

void measureProfiles(const fs::path& home) {
  nlohmann::json cache;
  nlohmann::json order;
  for (int i = 0; i < 200; ++i) {
    const std::string directory = "Profile " + std::to_string(i);
    cache[directory] = {{"name", "Name " + std::to_string(200 - i)},
                        {"user_name", "somebody@example.org"},
                        {"gaia_name", "Some Body"},
                        {"gaia_given_name", "Some"},
                        {"metrics_bucket_index", i},
                        {"avatar_icon", "chrome://theme/IDR_PROFILE_AVATAR_26"}};
    order.push_back(directory);
  }
  nlohmann::json document = {{"profile", {{"info_cache", cache}, {"profiles_order", order}}}};
  for (int i = 0; i < 2'000; ++i) document["other" + std::to_string(i)] = {{"enabled", true}, {"value", i}};
  const fs::path file = home / "Local State";
  write(file, document.dump());
  report(
      "list of 200 profiles", [&] { require(ChromeProfiles::load(file).size() == 200, "profiles"); },
      [&] { require(nlohmann::json::parse(files::read(file, 1 << 28)).is_object(), "JSON"); });
}

}  // namespace

int main() {
  std::string name = fs::temp_directory_path() / "corvana-bench.XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) return 1;
  ::setenv("HOME", name.c_str(), 1);
  ::setenv("XDG_DATA_DIRS", "/nonexistent", 1);
  for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) ::unsetenv(variable);
  measureRescan(name);
  measureCatalog(name);
  measureProfiles(name);
  fs::remove_all(name);
}
