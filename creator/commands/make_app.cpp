#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/browsers/chrome_profiles.h"
#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/registry/registry.h"
#include "core/stub/stub_config.h"
#include "core/stub/stub_revision.h"
#include "creator/commands/commands.h"
#include "creator/commands/desktop.h"
#include "creator/commands/output.h"
#include "creator/proxy_app_builder.h"
#include "platform/desktop/chrome_user_data.h"
#include "platform/desktop/running_bundle.h"

namespace corvana::commands {
namespace {

struct Options {
  std::filesystem::path destination;
  StubConfig config;
  std::string profile;
  std::string tabGroup;
  std::filesystem::path stubExecutable;
  bool replaces = false;
};

/// The profile when Chrome's list says nothing: Chrome has not been started yet, or its list cannot be read. Chrome
/// makes the first profile itself, in the folder "Default"; any other name can only be that of a folder which is there.
/// For one that is not Chrome would make a new, empty profile, which nobody wants who has mistyped a name.
ChromeProfile unlistedProfile(const std::string& wanted) {
  constexpr const char* first = "Default";
  const std::string folder = wanted.empty() ? first : wanted;
  const std::filesystem::path data = chromeUserDataDirectory();
  const bool isName = folder.find('/') == std::string::npos && folder != "." && folder != "..";
  std::error_code ignored;
  if (folder != first && !(isName && std::filesystem::is_directory(data / folder, ignored))) {
    throw std::runtime_error("no profile is known by the name \"" + wanted + "\": Chrome's list of profiles, " +
                             ChromeProfiles::localStateURL(data).string() +
                             ", is not there or cannot be read, and neither is there a folder of that name");
  }
  return {.directory = folder, .name = folder};
}

/// The profile of that folder or name, or Chrome's first.
ChromeProfile chosenProfile(const std::string& wanted) {
  const auto profiles = ChromeProfiles::load(ChromeProfiles::localStateURL(chromeUserDataDirectory()));
  if (profiles.empty()) return unlistedProfile(wanted);
  if (wanted.empty()) return profiles.front();
  const auto found = std::ranges::find(profiles, wanted, &ChromeProfile::directory);
  if (found != profiles.end()) return *found;

  std::vector<ChromeProfile> named;
  std::ranges::copy_if(profiles, std::back_inserter(named), [&wanted](const auto& one) { return one.name == wanted; });
  if (named.size() == 1) return named.front();
  std::string text = named.empty() ? "Chrome has no profile \"" + wanted + "\"; it has:"
                                   : "Chrome has several profiles \"" + wanted + "\"; give the folder of one:";
  for (const ChromeProfile& profile : named.empty() ? profiles : named) {
    text += "\n  " + shown(profile.name) + " (folder " + shown(profile.directory) +
            (profile.userName.empty() ? "" : ", " + shown(profile.userName)) + ")";
  }
  throw std::runtime_error(text);
}

/// Takes the app into the registry. The identifiers of those that it has taken the place of.
std::vector<std::string> enroll(RegisteredApp& app) {
  std::vector<std::string> replaced;
  Registry::change([&app, &replaced](Registry& registry) {
    for (const RegisteredApp& other : registry.apps) {
      if (other.bundleID == app.bundleID) app.createdAt = other.createdAt;
      if (other.bundleID != app.bundleID && other.path == app.path) replaced.push_back(other.bundleID);
    }
    registry.upsert(app);
  });
  return replaced;
}

/// That of the proxy app which is to be replaced, else a new one.
std::string bundleIDFor(const std::filesystem::path& destination, const Registry& registry) {
  std::set<std::string> taken;
  for (const RegisteredApp& app : registry.apps) taken.insert(app.bundleID);
  try {
    const auto plist = Bundle{destination}.infoDictionary();
    const auto* present = plist ? find<std::string>(*plist, "CFBundleIdentifier") : nullptr;
    if (present != nullptr && Corvana::isOurBundleID(*present) && StubConfig::fromPlist(*plist)) return *present;
  } catch (const std::exception&) {
    // Whatever it is, it has no identifier that could be kept.
  }
  return Corvana::newBundleID(taken);
}

void makeApp(Options options, const System& system) {
  if (options.destination.extension() != ".app") throw CLI::ValidationError("app", "expected a name that ends in .app");
  const ChromeProfile profile = chosenProfile(options.profile);
  options.config.profileDirectory = profile.directory;
  if (options.config.profileName.empty()) options.config.profileName = profile.name;
  options.config.tabGroupName = options.tabGroup;
  if (options.stubExecutable.empty())
    options.stubExecutable = runningBundlePath() / Corvana::stubTemplateInBundle / "Contents/MacOS/CorvanaStub";
  options.destination = std::filesystem::absolute(options.destination);

  RegisteredApp app{.bundleID = bundleIDFor(options.destination, Registry::load()),
                    .name = options.destination.stem().string(),
                    .path = options.destination.string(),
                    .config = StubConfig::of(options.config),
                    .createdAt = std::chrono::floor<std::chrono::seconds>(system.clock.date()),
                    .stubRevision = StubRevision::current};
  std::vector<std::string> replaced;
  ProxyAppBuilder::build({options.destination, app.bundleID, app.config, options.stubExecutable}, options.replaces,
                         [&app, &replaced] {
                           app.refreshBookmark();
                           replaced = enroll(app);
                         });
  for (const std::string& bundleID : replaced) system.registration.remove(bundleID);
  registerWithDesktop(app, system);
  std::printf("%s (%s)\n", shown(app.path).c_str(), app.bundleID.c_str());
  if (!system.workspace.urlForApplication(Corvana::chromeBundleID)) {
    remark("no Chrome or Chromium is installed here; the app opens nothing until one is");
  }
}

}  // namespace

void addMakeApp(CLI::App& app, const System& system) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("make-app", "Build a proxy app for a Chrome profile or tab group");
  command->add_option("app", options->destination, "Where to put it, as NAME.app")->required();
  command->add_option("--profile", options->profile, "The profile, by its folder or name (default: Chrome's first)");
  command->add_option("--profile-name", options->config.profileName, "Another name for the profile");
  command->add_option("--tab-group", options->tabGroup, "The tab group that the app is to stand for");
  command->add_flag("--close-on-quit", options->config.closeOnQuit, "Quitting the app closes its Chrome windows");
  command->add_flag("--replace", options->replaces, "Replace what is there");
  command->add_option("--stub", options->stubExecutable, "The proxy app's executable")->check(CLI::ExistingFile);
  command->callback([options, &system] { makeApp(*options, system); });
}

}  // namespace corvana::commands
