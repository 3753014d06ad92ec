// Stands in for the helper as the desktop's default browser in tests of where links come from: an application on the
// session bus that says, a line each, what it is told to open and by whom.
// Usage: link_receiver            serves until it is ended
//        link_receiver --told-by-bus
//        link_receiver --forward URL...   hands over to the one that serves, as the desktop entry's command line does

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/application/application_linux.h"

namespace {

using namespace corvana;

constexpr const char* identifier = "app.corvana.receiver";

class Receiver final : public ApplicationDelegate {
 public:
  explicit Receiver(ApplicationLinux& application, std::FILE* output) : application_(application), output_(output) {}

  void applicationWillFinishLaunching() override {}
  void applicationDidFinishLaunching() override {}
  void applicationOpen(const std::vector<std::string>& urls) override {
    const auto source = application_.openingSource();
    for (const std::string& url : urls) {
      std::fprintf(output_, "%s\t%s\t%s\n", url.c_str(), source ? source->bundleIdentifier.c_str() : "",
                   source ? source->name.c_str() : "");
    }
    (void)std::fflush(output_);
  }
  void applicationShouldHandleReopen() override {}
  void openNewWindow() override {}
  void bringToFront() override {}
  TerminateReply applicationShouldTerminate() override { return TerminateReply::terminateNow; }
  void applicationWillTerminate() override {}

 private:
  ApplicationLinux& application_;
  std::FILE* output_;
};

}  // namespace

int main(int argumentCount, char** arguments) {
  EventLoop loop;
  SessionBus bus(loop);
  LaunchContext context(identifier);
  Opening opening;
  bool forwards = false;
  for (int i = 1; i < argumentCount; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--forward") {
      forwards = true;
    } else if (argument == "--told-by-bus") {
      opening.isToldByBus = true;
    } else if (argument.starts_with("--from=")) {
      opening.source = argument.substr(argument.find('=') + 1);
    } else {
      opening.urls.emplace_back(argument);
    }
  }
  if (forwards) return ApplicationLinux::handOverTo(bus, context, identifier, opening) ? 0 : 1;
  ApplicationLinux application(loop, bus, context, identifier, nullptr);
  if (application.handOver(opening)) return 0;
  const char* file = std::getenv("LINK_RECEIVER_OUTPUT");
  std::FILE* output = file == nullptr ? stdout : std::fopen(file, "a");
  if (output == nullptr) return 1;
  if (file == nullptr) {
    (void)std::puts("ready");
    (void)std::fflush(stdout);
  }
  Receiver receiver(application, output);
  return application.run(receiver, opening);
}
