// The least that a resident desktop program can be: C++, connected to the session bus and to the X server, waiting.
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <string>

int main() {
  sd_event* loop = nullptr;
  sd_bus* bus = nullptr;
  if (::sd_event_default(&loop) < 0 || ::sd_bus_open_user(&bus) < 0 || ::sd_bus_attach_event(bus, loop, 0) < 0) {
    std::fputs("no session bus\n", stderr);
    return 1;
  }
  xcb_connection_t* display = ::xcb_connect(nullptr, nullptr);
  if (::xcb_connection_has_error(display) != 0) {
    std::fputs("no X server\n", stderr);
    return 1;
  }
  return ::sd_event_loop(loop);
}
