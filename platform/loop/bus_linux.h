#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace corvana {

struct UnrefBusMessage {
  void operator()(sd_bus_message* message) const { ::sd_bus_message_unref(message); }
};
struct UnrefBusSlot {
  void operator()(sd_bus_slot* slot) const { ::sd_bus_slot_unref(slot); }
};
struct UnrefBusCredentials {
  void operator()(sd_bus_creds* credentials) const { ::sd_bus_creds_unref(credentials); }
};
/// What sd-bus hands over to its caller, owned. A slot's owner is what keeps its callback.
using BusMessage = std::unique_ptr<sd_bus_message, UnrefBusMessage>;
using BusCredentials = std::unique_ptr<sd_bus_creds, UnrefBusCredentials>;
using BusSlot = std::unique_ptr<sd_bus_slot, UnrefBusSlot>;

}  // namespace corvana
