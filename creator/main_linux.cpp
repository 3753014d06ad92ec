// corvana: the main application's command line on Linux.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "core/ipc/messages.h"
#include "creator/ipc_client.h"
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

/// What `corvana ipc` was told.
struct WatchIPC {
  std::string op;
  std::vector<std::string> fields;
  std::string socketPath;
  double timeout = 12;
  bool follows = false;

  void addTo(CLI::App& app) {
    CLI::App* command = app.add_subcommand("ipc", "Send the helper a request and print what it answers");
    command->footer("Example: corvana ipc hello profileDirectory=Default pid=123 --follow");
    command->add_option("op", op, "hello, activate, noteLaunch, closeWindows, status, listTabGroups or bye")
        ->required();
    command->add_option("fields", fields, "Fields of the request as KEY=VALUE, values in JSON or as plain text");
    command->add_option("--socket", socketPath, "The helper's socket (default: the user's own helper's)");
    command->add_option("--timeout", timeout, "Seconds to wait for the answer")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 86'400.0));
    command->add_flag("--follow", follows, "Go on printing what comes until the connection ends");
    command->callback([this] { run(); });
  }

  void run() const {
    const std::string request = IPCClient::request(op, fields);
    if (!decodeRequest(request)) std::fputs("corvana: the helper will not understand this request\n", stderr);
    std::fprintf(stderr, "> %s\n", request.c_str());
    const auto print = [](std::string_view frame) {
      std::printf("%.*s\n", static_cast<int>(frame.size()), frame.data());
      (void)std::fflush(stdout);
    };
    const auto wait = std::chrono::milliseconds(static_cast<std::int64_t>(timeout * 1000));
    switch (
        IPCClient::exchange(socketPath.empty() ? Corvana::socketPath() : socketPath, request, wait, follows, print)) {
      case IPCClient::Outcome::answered:
        return;
      case IPCClient::Outcome::refused:
        throw std::runtime_error("the helper refused");
      case IPCClient::Outcome::timedOut:
        throw std::runtime_error("no answer in time");
      case IPCClient::Outcome::closed:
        if (follows || op == nameOf(Request::Op::bye)) return;  // as was to be expected
        throw std::runtime_error("the helper has closed the connection");
    }
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
  WatchIPC watchIPC;
  watchIPC.addTo(app);
  CLI11_PARSE(app, argumentCount, arguments);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "corvana: %s\n", error.what());
  return 1;
}
