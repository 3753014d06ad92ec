#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/identity/corvana.h"
#include "core/ipc/messages.h"
#include "creator/commands/commands.h"
#include "creator/ipc_client.h"

namespace corvana::commands {
namespace {

struct Options {
  std::string op;
  std::vector<std::string> fields;
  std::string socketPath;
  double timeout = 12;
  bool follows = false;
};

void exchange(const Options& options) {
  const std::string request = IPCClient::request(options.op, options.fields);
  if (!decodeRequest(request)) std::fputs("corvana: the helper will not understand this request\n", stderr);
  std::fprintf(stderr, "> %s\n", request.c_str());
  const auto print = [](std::string_view frame) {
    std::printf("%.*s\n", static_cast<int>(frame.size()), frame.data());
    (void)std::fflush(stdout);
  };
  const auto wait = std::chrono::milliseconds(static_cast<std::int64_t>(options.timeout * 1000));
  const std::string socketPath = options.socketPath.empty() ? Corvana::socketPath() : options.socketPath;
  switch (IPCClient::exchange(socketPath, request, wait, options.follows, print)) {
    case IPCClient::Outcome::answered:
      return;
    case IPCClient::Outcome::refused:
      throw std::runtime_error("the helper refused");
    case IPCClient::Outcome::timedOut:
      throw std::runtime_error("no answer in time");
    case IPCClient::Outcome::closed:
      if (options.follows || options.op == nameOf(Request::Op::bye)) return;  // as was to be expected
      throw std::runtime_error("the helper has closed the connection");
  }
}

}  // namespace

void addIPC(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("ipc", "Send the helper a request and print what it answers");
  command->footer("Example: corvana ipc hello profileDirectory=Default pid=123 --follow");
  command->add_option("op", options->op, "hello, activate, noteLaunch, closeWindows, status, listTabGroups or bye")
      ->required();
  command->add_option("fields", options->fields, "Fields of the request as KEY=VALUE, values in JSON or as plain text");
  command->add_option("--socket", options->socketPath, "The helper's socket (default: the user's own helper's)");
  command->add_option("--timeout", options->timeout, "Seconds to wait for the answer")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 86'400.0));
  command->add_flag("--follow", options->follows, "Go on printing what comes until the connection ends");
  command->callback([options] { exchange(*options); });
}

}  // namespace corvana::commands
