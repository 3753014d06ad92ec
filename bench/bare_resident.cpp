// The least that a resident desktop program can be: C++, connected to the session bus and to the X server, waiting.
// Usage: bare_resident [FIFO]   writes when it was ready there, on the monotonic clock
#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>

int main(int argumentCount, char** arguments) {
  sd_event* loop = nullptr;
  sd_bus* bus = nullptr;
  const char* name = nullptr;
  if (::sd_event_default(&loop) < 0 || ::sd_bus_open_user(&bus) < 0 || ::sd_bus_attach_event(bus, loop, 0) < 0 ||
      ::sd_bus_get_unique_name(bus, &name) < 0) {
    std::fputs("no session bus\n", stderr);
    return 1;
  }
  xcb_connection_t* display = ::xcb_connect(nullptr, nullptr);
  if (::xcb_connection_has_error(display) != 0) {
    std::fputs("no X server\n", stderr);
    return 1;
  }
  if (argumentCount > 1) {
    const std::chrono::nanoseconds time = std::chrono::steady_clock::now().time_since_epoch();
    const int fifo = ::open(arguments[1], O_WRONLY | O_CLOEXEC);
    if (::write(fifo, &time, sizeof time) != sizeof time) return 1;
    ::close(fifo);
  }
  return ::sd_event_loop(loop);
}
