#include "platform/loop/session_bus_linux.h"

namespace corvana {
namespace {

/// How long a call may take that says nothing of it, in microseconds. Nobody who is called here has much to do.
constexpr std::uint64_t callTimeout = 10'000'000;

}  // namespace

SessionBus::SessionBus(EventLoop& loop) {
  if (::sd_bus_open_user(&bus_) < 0) {
    bus_ = nullptr;
    return;
  }
  (void)::sd_bus_set_method_call_timeout(bus_, callTimeout);
  if (::sd_bus_attach_event(bus_, loop.event(), SD_EVENT_PRIORITY_NORMAL) < 0) bus_ = ::sd_bus_close_unref(bus_);
}

SessionBus::~SessionBus() {
  ::sd_bus_flush_close_unref(bus_);
}

BusMessage SessionBus::methodCall(const char* service, const char* path, const char* interface,
                                  const char* method) const {
  sd_bus_message* call = nullptr;
  if (bus_ == nullptr || ::sd_bus_message_new_method_call(bus_, &call, service, path, interface, method) < 0) return {};
  (void)::sd_bus_message_set_auto_start(call, 0);
  return BusMessage(call);
}

}  // namespace corvana
