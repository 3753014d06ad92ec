// corvana: the main application's command line on Linux.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <string>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "creator/proxy_app_builder.h"
#include "platform/linux/system_log.h"
#include "platform/running_bundle.h"

namespace {

using namespace corvana;

/// What `corvana make-app` was told.
struct MakeApp {
  std::filesystem::path destination;
  StubConfig config;
  std::string tabGroup;
  std::filesystem::path stubExecutable;
  bool replaces = false;

  void addTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("make-app", "Build a proxy app for a Chrome profile or tab group");
    command->add_option("app", destination, "Where to put it, as NAME.app")->required();
    command->add_option("--profile", config.profileDirectory, "Chrome's folder for the profile")->capture_default_str();
    command->add_option("--profile-name", config.profileName, "The profile's name (default: its folder)");
    command->add_option("--tab-group", tabGroup, "The tab group that the app is to stand for");
    command->add_flag("--close-on-quit", config.closeOnQuit, "Quitting the app closes its Chrome windows");
    command->add_flag("--replace", replaces, "Replace what is there");
    command->add_option("--stub", stubExecutable, "The proxy app's executable")->check(CLI::ExistingFile);
    command->callback([this] { run(); });
  }

  void run() {
    if (destination.extension() != ".app") throw CLI::ValidationError("app", "expected a name that ends in .app");
    if (config.profileName.empty()) config.profileName = config.profileDirectory;
    config.tabGroupName = tabGroup;
    if (stubExecutable.empty()) stubExecutable = runningBundlePath() / "../stub/CorvanaStub";
    const std::string bundleID = Corvana::newBundleID({});
    ProxyAppBuilder::build({destination, bundleID, StubConfig::of(config), stubExecutable}, replaces);
    std::printf("%s (%s)\n", std::filesystem::absolute(destination).c_str(), bundleID.c_str());
  }
};

}  // namespace

int main(int argumentCount, char** arguments) try {
  SystemLog log;
  Log::setSink(&log);
  CLI::App app("Corvana gives each Chrome profile or tab group an application of its own", "corvana");
  app.require_subcommand(1);
  MakeApp makeApp{.config = {.profileDirectory = "Default"}};
  makeApp.addTo(app);
  CLI11_PARSE(app, argumentCount, arguments);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "corvana: %s\n", error.what());
  return 1;
}
