#pragma once

#include <systemd/sd-bus.h>

#include "platform/loop/bus_linux.h"
#include "platform/loop/event_loop_linux.h"

namespace corvana {

/// The program's one connection to the session bus, served by the loop. Main thread.
class SessionBus {
 public:
  /// Where there is no session bus this stays closed.
  explicit SessionBus(EventLoop& loop);
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;
  /// Sends what is still to be sent.
  ~SessionBus();

  /// Null where there is no session bus.
  sd_bus* get() const { return bus_; }

  /// A call of that method, to be filled in and sent. It starts no program; null when there is no bus.
  BusMessage methodCall(const char* service, const char* path, const char* interface, const char* method) const;

 private:
  sd_bus* bus_ = nullptr;
};

}  // namespace corvana
