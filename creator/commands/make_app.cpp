#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "core/browsers/chrome_profiles.h"
#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/registry/registry.h"
#include "core/stub/stub_config.h"
#include "core/stub/stub_revision.h"
#include "creator/commands/commands.h"
#include "creator/commands/desktop.h"
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

/// The profile of that name or folder, or Chrome's first. A Chrome that has not been started yet has none: it will make
/// one of that folder.
ChromeProfile chosenProfile(const std::string& wanted) {
  const auto profiles = ChromeProfiles::load(ChromeProfiles::localStateURL(chromeUserDataDirectory()));
  if (profiles.empty()) {
    const std::string folder = wanted.empty() ? "Default" : wanted;
    return {.directory = folder, .name = folder};
  }
  if (wanted.empty()) return profiles.front();
  std::string all;
  for (const ChromeProfile& profile : profiles) {
    if (profile.directory == wanted) return profile;
    all += "\n  " + profile.name + " (folder " + profile.directory + ")";
  }
  const auto named = std::ranges::find(profiles, wanted, &ChromeProfile::name);
  if (named == profiles.end()) throw std::runtime_error("Chrome has no profile \"" + wanted + "\"; it has:" + all);
  return *named;
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

  Registry registry = Registry::load();
  RegisteredApp app{.bundleID = bundleIDFor(options.destination, registry),
                    .name = options.destination.stem().string(),
                    .path = options.destination.string(),
                    .config = StubConfig::of(options.config),
                    .createdAt = std::chrono::floor<std::chrono::seconds>(system.clock.date()),
                    .stubRevision = StubRevision::current};
  const auto registered = std::ranges::find(registry.apps, app.bundleID, &RegisteredApp::bundleID);
  if (registered != registry.apps.end()) app.createdAt = registered->createdAt;
  ProxyAppBuilder::build({options.destination, app.bundleID, app.config, options.stubExecutable}, options.replaces);
  app.refreshBookmark();
  registry.upsert(app);
  registry.save();
  registerWithDesktop(app, system);
  std::printf("%s (%s)\n", app.path.c_str(), app.bundleID.c_str());
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
