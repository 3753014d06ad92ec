#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "core/identity/corvana.h"
#include "core/stub/stub_config.h"
#include "creator/commands/commands.h"
#include "creator/proxy_app_builder.h"
#include "platform/running_bundle.h"

namespace corvana::commands {
namespace {

struct Options {
  std::filesystem::path destination;
  StubConfig config{.profileDirectory = "Default"};
  std::string tabGroup;
  std::filesystem::path stubExecutable;
  bool replaces = false;
};

void makeApp(Options options) {
  if (options.destination.extension() != ".app") throw CLI::ValidationError("app", "expected a name that ends in .app");
  if (options.config.profileName.empty()) options.config.profileName = options.config.profileDirectory;
  options.config.tabGroupName = options.tabGroup;
  if (options.stubExecutable.empty()) options.stubExecutable = runningBundlePath() / "../stub/CorvanaStub";
  const std::string bundleID = Corvana::newBundleID({});
  ProxyAppBuilder::build({options.destination, bundleID, StubConfig::of(options.config), options.stubExecutable},
                         options.replaces);
  std::printf("%s (%s)\n", std::filesystem::absolute(options.destination).c_str(), bundleID.c_str());
}

}  // namespace

void addMakeApp(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  StubConfig& config = options->config;
  CLI::App* command = app.add_subcommand("make-app", "Build a proxy app for a Chrome profile or tab group");
  command->add_option("app", options->destination, "Where to put it, as NAME.app")->required();
  command->add_option("--profile", config.profileDirectory, "Chrome's folder for the profile")->capture_default_str();
  command->add_option("--profile-name", config.profileName, "The profile's name (default: its folder)");
  command->add_option("--tab-group", options->tabGroup, "The tab group that the app is to stand for");
  command->add_flag("--close-on-quit", config.closeOnQuit, "Quitting the app closes its Chrome windows");
  command->add_flag("--replace", options->replaces, "Replace what is there");
  command->add_option("--stub", options->stubExecutable, "The proxy app's executable")->check(CLI::ExistingFile);
  command->callback([options] { makeApp(*options); });
}

}  // namespace corvana::commands
