#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "core/identity/settings_store.h"
#include "core/ipc/messages.h"
#include "helper/chrome_operations.h"
#include "helper/chrome_watch.h"
#include "helper/clients.h"

namespace corvana {

/// What clients ask, and what they are answered: each request once, within its time. Main thread.
class RequestHandler {
 public:
  /// How long closing may take that does not say, and at most.
  static constexpr std::chrono::seconds closingTime{6};
  static constexpr std::chrono::seconds longestClosingTime{60};
  /// How often an app's user is told that the app is outdated.
  static constexpr std::chrono::hours outdatedInterval{24};

  /// What is passed must outlive this object.
  RequestHandler(const OperationContext& context, Clients& clients, SettingsStore& settings)
      : context_(context), clients_(clients), settings_(settings), operations_(context.mainQueue) {}

  void handle(const Clients::Connection& client, const Request& request);
  /// The book has changed: what is under way may go on.
  void bookChanged() { operations_.bookChanged(); }

 private:
  void greet(const Clients::Connection& client, const Request& request);
  void activate(const Clients::Connection& client, ChromeOperation::Answer answer);
  void closeWindows(const Clients::Connection& client, const Request& request, ChromeOperation::Answer answer);
  void tellStatus(const Clients::Connection& client, const Request& request, const ChromeOperation::Answer& answer);
  void listTabGroups(const Clients::Connection& client, const Request& request, ChromeOperation::Answer answer);
  WindowAudience audienceFor(const ClientConnection& client, const Request& request) const;

  const OperationContext context_;
  Clients& clients_;
  SettingsStore& settings_;
  ChromeOperations operations_;
  Lifetime lifetime_;
};

}  // namespace corvana
