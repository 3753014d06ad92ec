#pragma once

#include <systemd/sd-bus.h>

#include <memory>

#include "platform/loop/event_loop_linux.h"

namespace corvana {

struct UnrefBusMessage {
  void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
struct UnrefBusSlot {
  void operator()(sd_bus_slot* slot) const { ::sd_bus_slot_unref(slot); }
};
/// What sd-bus hands over to its caller, owned. A slot's owner is what keeps its callback.
using BusMessage = std::unique_ptr<sd_bus_message, UnrefBusMessage>;
using BusSlot = std::unique_ptr<sd_bus_slot, UnrefBusSlot>;

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
