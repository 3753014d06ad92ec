#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/registry/registry.h"
#include "core/stub/stub_config.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

/// The identifier of the proxy app that the bundle is; nothing for what is none, which is never deleted.
std::optional<std::string> proxyAppAt(const std::filesystem::path& bundle) {
  try {
    const auto plist = Bundle{bundle}.infoDictionary();
    auto identifier = plist && StubConfig::fromPlist(*plist) ? Bundle::identifier(*plist) : std::nullopt;
    return identifier && Corvana::isOurBundleID(*identifier) ? identifier : std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void removeApp(const std::filesystem::path& app, const System& system) {
  const std::filesystem::path bundle = std::filesystem::absolute(app);
  auto identifier = proxyAppAt(bundle);
  Registry::change([&](Registry& registry) {
    const auto registered = std::ranges::find(registry.apps, bundle.string(), &RegisteredApp::path);
    if (!identifier && registered != registry.apps.end()) identifier = registered->bundleID;
    if (!identifier) throw std::runtime_error(bundle.string() + " is no proxy app, and none is registered there");
    registry.remove(*identifier);
  });
  system.registration.remove(*identifier);
  if (proxyAppAt(bundle)) std::filesystem::remove_all(bundle);
  std::printf("%s is removed\n", shown(bundle.string()).c_str());
}

}  // namespace

void addRemoveApp(CLI::App& app, const System& system) {
  const auto bundle = std::make_shared<std::filesystem::path>();
  CLI::App* command = app.add_subcommand("remove-app", "Delete a proxy app, and what the desktop knows of it");
  command->add_option("app", *bundle, "The app, as NAME.app")->required();
  command->callback([bundle, &system] { removeApp(*bundle, system); });
}

}  // namespace corvana::commands
