#include "platform/application/user_notifications_dbus.h"

#include <string_view>
#include <utility>

#include "platform/desktop/application_id_linux.h"
#include "platform/text/markup.h"

namespace corvana {
namespace {

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
constexpr const char* interface = service;
/// What the service knows a click on the notification itself by.
constexpr const char* defaultAction = "default";

/// Whether the list of capabilities in the answer has the one to read markup in bodies. Without a list that is assumed:
/// it does less harm.
bool hasMarkup(sd_bus_message* answer) {
  bool result = false;
  const char* capability = nullptr;
  if (::sd_bus_message_enter_container(answer, SD_BUS_TYPE_ARRAY, "s") < 0) return true;
  while (::sd_bus_message_read(answer, "s", &capability) > 0) {
    if (std::string_view(capability) == "body-markup") result = true;
  }
  return result;
}

}  // namespace

struct UserNotificationsDBus::Callbacks {
  static UserNotificationsDBus& notifications(void* userData) { return *static_cast<UserNotificationsDBus*>(userData); }

  /// One question to the service, with what it is about.
  struct Call {
    UserNotificationsDBus& notifications;
    std::uint64_t number;
    std::string title;
    std::string body;
  };

  static int onCapabilities(sd_bus_message* answer, void* userData, sd_bus_error*) noexcept {
    const Call& call = *static_cast<Call*>(userData);
    call.notifications.send(call.number, call.title, call.body, hasMarkup(answer));
    return 0;
  }

  static int onPosted(sd_bus_message* answer, void* userData, sd_bus_error*) noexcept {
    const Call& call = *static_cast<Call*>(userData);
    std::uint32_t number = 0;
    if (::sd_bus_message_is_method_error(answer, nullptr) == 0 && ::sd_bus_message_read(answer, "u", &number) > 0) {
      call.notifications.shown_.insert(number);
    } else {
      call.notifications.fail(call.title, call.body);
    }
    call.notifications.calls_.erase(call.number);  // with this call
    return 0;
  }

  /// The call has been sent: it lives as long as its slot, and that until the answer.
  static void keep(std::unique_ptr<Call> call, sd_bus_slot* slot) {
    call->notifications.calls_[call->number].reset(slot);
    (void)::sd_bus_slot_set_destroy_callback(slot, deleteCall);
    (void)call.release();
  }

  static void deleteCall(void* userData) noexcept { delete static_cast<Call*>(userData); }

  static int onToken(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept {
    std::uint32_t number = 0;
    const char* token = nullptr;
    if (::sd_bus_message_read(signal, "us", &number, &token) > 0 && notifications(userData).shown_.contains(number)) {
      notifications(userData).clickToken_ = token;
    }
    return 0;
  }

  static int onClick(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept {
    std::uint32_t number = 0;
    const char* action = nullptr;
    if (::sd_bus_message_read(signal, "us", &number, &action) > 0 && std::string_view(action) == defaultAction &&
        notifications(userData).shown_.contains(number) && notifications(userData).onTap_) {
      notifications(userData).context_.userActed({}, std::exchange(notifications(userData).clickToken_, {}));
      notifications(userData).onTap_();
    }
    return 0;
  }

  static int onClosed(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept {
    std::uint32_t number = 0;
    if (::sd_bus_message_read(signal, "u", &number) > 0) notifications(userData).shown_.erase(number);
    return 0;
  }
};

UserNotificationsDBus::UserNotificationsDBus(SessionBus& bus, LaunchContext& context,
                                             const std::string& bundleIdentifier, std::string name)
    : bus_(bus), context_(context), applicationID_(applicationID(bundleIdentifier)), name_(std::move(name)) {}

UserNotificationsDBus::~UserNotificationsDBus() {
  for (const std::uint32_t number : shown_) {
    (void)::sd_bus_call_method_async(bus_.get(), nullptr, service, path, interface, "CloseNotification", nullptr,
                                     nullptr, "u", number);
  }
  if (!shown_.empty()) (void)::sd_bus_flush(bus_.get());
}

void UserNotificationsDBus::fail(const std::string& title, const std::string& body) const {
  if (onFailure) onFailure(title, body);
}

void UserNotificationsDBus::post(const std::string& title, const std::string& body) {
  if (bus_.get() == nullptr) return fail(title, body);
  watchClicks();
  // The service may be one that the bus starts for this.
  sd_bus_slot* slot = nullptr;
  auto call = std::make_unique<Callbacks::Call>(Callbacks::Call{*this, nextCall_++, title, body});
  if (::sd_bus_call_method_async(bus_.get(), &slot, service, path, interface, "GetCapabilities",
                                 Callbacks::onCapabilities, call.get(), nullptr) >= 0) {
    Callbacks::keep(std::move(call), slot);
  }
}

void UserNotificationsDBus::watchClicks() {
  if (clicks_) return;
  const auto watch = [this](BusSlot& slot, const char* signal, sd_bus_message_handler_t handler) {
    sd_bus_slot* raw = nullptr;
    // Without a handler of its own, a match that is refused would close the connection.
    const auto installed = [](sd_bus_message*, void*, sd_bus_error*) noexcept { return 0; };
    if (::sd_bus_match_signal_async(bus_.get(), &raw, service, path, interface, signal, handler, installed, this) >=
        0) {
      slot.reset(raw);
    }
  };
  watch(clicks_, "ActionInvoked", Callbacks::onClick);
  watch(tokens_, "ActivationToken", Callbacks::onToken);
  watch(closings_, "NotificationClosed", Callbacks::onClosed);
}

void UserNotificationsDBus::send(std::uint64_t number, const std::string& title, const std::string& body,
                                 bool hasMarkup) {
  const auto done = calls_.extract(number);  // the slot whose callback runs, until the end of it
  sd_bus_slot* slot = nullptr;
  auto call = std::make_unique<Callbacks::Call>(Callbacks::Call{*this, nextCall_++, title, body});
  constexpr std::uint32_t replacesNothing = 0;
  constexpr std::int32_t serviceDecidesHowLong = -1;
  if (::sd_bus_call_method_async(bus_.get(), &slot, service, path, interface, "Notify", Callbacks::onPosted, call.get(),
                                 "susssasa{sv}i", name_.c_str(), replacesNothing, "", title.c_str(),
                                 (hasMarkup ? escapedForMarkup(body) : body).c_str(), 2, defaultAction, "Open", 1,
                                 "desktop-entry", "s", applicationID_.c_str(), serviceDecidesHowLong) >= 0) {
    Callbacks::keep(std::move(call), slot);
  }
}

}  // namespace corvana
