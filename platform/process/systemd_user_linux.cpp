#include "platform/process/systemd_user_linux.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

namespace corvana::systemdUser {
namespace {

struct CloseBus {
  void operator()(sd_bus* bus) const { ::sd_bus_flush_close_unref(bus); }
};

/// In names of units a dash separates; within a part it is escaped (systemd.unit(5)).
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) result += c == '-' ? std::string("\\x2d") : std::string(1, c);
  return result;
}

void startScope(pid_t process, const std::string& application) {
  sd_bus* rawBus = nullptr;
  if (::sd_bus_open_user(&rawBus) < 0) return;
  const std::unique_ptr<sd_bus, CloseBus> bus(rawBus);
  // The name follows the convention for applications: "app-<id>-<number>.scope".
  const std::string unit = "app-" + escaped(application) + "-" + std::to_string(process) + ".scope";
  (void)::sd_bus_call_method(bus.get(), "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                             "org.freedesktop.systemd1.Manager", "StartTransientUnit", nullptr, nullptr,
                             "ssa(sv)a(sa(sv))", unit.c_str(), "fail", 1, "PIDs", "au", 1,
                             static_cast<std::uint32_t>(process), 0);
}

}  // namespace

bool isRunning() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::error_code ignored;
  return runtime != nullptr && std::filesystem::exists(std::filesystem::path(runtime) / "systemd/private", ignored);
}

void moveToOwnScope(pid_t process, const std::string& application) {
  // Not on the caller's thread: a bus that does not answer holds up even the connecting, without a limit.
  if (isRunning()) std::thread(startScope, process, application).detach();
}

}  // namespace corvana::systemdUser
