#include "platform/desktop/application_calls_linux.h"

#include <string_view>
#include <system_error>

#include "platform/desktop/application_id_linux.h"
#include "platform/text/ascii.h"

namespace corvana::applicationCalls {
namespace {

constexpr const char* startupIDKey = "desktop-startup-id";
constexpr const char* activationTokenKey = "activation-token";
constexpr const char* sourceKey = "app.corvana.source";

void check(int result) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), "cannot write a message");
}

BusMessage call(const SessionBus& bus, const std::string& applicationID, const char* method) {
  return bus.methodCall(applicationID.c_str(), objectPath(applicationID).c_str(), interface, method);
}

void append(sd_bus_message* message, const PlatformData& data) {
  check(::sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "{sv}"));
  const auto appendOne = [message](const char* key, const std::string& text) {
    if (text.empty() || !ascii::isASCII(text)) return;
    check(::sd_bus_message_append(message, "{sv}", key, "s", text.c_str()));
  };
  appendOne(startupIDKey, data.startupID);
  appendOne(activationTokenKey, data.activationToken);
  appendOne(sourceKey, data.source);
  check(::sd_bus_message_close_container(message));
}

}  // namespace

BusMessage open(const SessionBus& bus, const std::string& applicationID, std::span<const std::string> urls,
                const PlatformData& data) {
  BusMessage message = call(bus, applicationID, urls.empty() ? "Activate" : "Open");
  if (!message) return message;
  if (!urls.empty()) {
    check(::sd_bus_message_open_container(message.get(), SD_BUS_TYPE_ARRAY, "s"));
    for (const std::string& url : urls) check(::sd_bus_message_append(message.get(), "s", url.c_str()));
    check(::sd_bus_message_close_container(message.get()));
  }
  append(message.get(), data);
  return message;
}

BusMessage activateAction(const SessionBus& bus, const std::string& applicationID, const std::string& action,
                          const PlatformData& data) {
  BusMessage message = call(bus, applicationID, "ActivateAction");
  if (!message) return message;
  check(::sd_bus_message_append(message.get(), "sav", action.c_str(), 0));
  append(message.get(), data);
  return message;
}

PlatformData readPlatformData(sd_bus_message* message) {
  PlatformData result;
  if (::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0) return result;
  while (::sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
    const char* key = nullptr;
    const char* content = nullptr;
    if (::sd_bus_message_read(message, "s", &key) < 0) return result;
    const std::string_view name = key;
    std::string* place = nullptr;
    if (name == startupIDKey) place = &result.startupID;
    if (name == activationTokenKey) place = &result.activationToken;
    if (name == sourceKey) place = &result.source;
    if (place != nullptr && ::sd_bus_message_peek_type(message, nullptr, &content) > 0 &&
        std::string_view(content) == "s") {
      const char* text = nullptr;
      if (::sd_bus_message_read(message, "v", "s", &text) < 0) return result;
      *place = text;
    } else if (::sd_bus_message_skip(message, "v") < 0) {
      return result;
    }
    if (::sd_bus_message_exit_container(message) < 0) return result;
  }
  (void)::sd_bus_message_exit_container(message);
  return result;
}

bool sayNobodyDidIt(const sd_bus_error& error) {
  if (error.name == nullptr) return false;
  return ::sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                                  SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_UNKNOWN_INTERFACE,
                                  SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                  SD_BUS_ERROR_DISCONNECTED) > 0 ||
         std::string_view(error.name).starts_with("org.freedesktop.DBus.Error.Spawn.");
}

}  // namespace corvana::applicationCalls
