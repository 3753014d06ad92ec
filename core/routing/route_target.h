#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>

#include "core/identity/enum_names.h"

namespace corvana {

/// Where a link is sent: a proxy app that was built, or an installed browser.
class RouteTarget {
 public:
  enum class Kind { proxyApp, browser };

  /// A proxy app without a name, to be assigned to.
  RouteTarget() = default;
  static RouteTarget proxyApp(std::string bundleID) { return {Kind::proxyApp, std::move(bundleID), false}; }
  static RouteTarget browser(std::string bundleID, bool isPrivate = false) {
    return {Kind::browser, std::move(bundleID), isPrivate};
  }

  Kind kind() const { return kind_; }
  const std::string& bundleID() const { return bundleID_; }
  /// Asks a browser for a private window; always false for a proxy app.
  bool isPrivate() const { return isPrivate_; }
  bool isProxyApp() const { return kind_ == Kind::proxyApp; }

  bool operator==(const RouteTarget&) const = default;

 private:
  RouteTarget(Kind kind, std::string bundleID, bool isPrivate)
      : kind_(kind), bundleID_(std::move(bundleID)), isPrivate_(isPrivate) {}

  Kind kind_ = Kind::proxyApp;
  std::string bundleID_;
  bool isPrivate_ = false;
};

template <>
struct EnumNames<RouteTarget::Kind> {
  static constexpr std::array<EnumName<RouteTarget::Kind>, 2> rows{
      {{RouteTarget::Kind::proxyApp, "proxyApp"}, {RouteTarget::Kind::browser, "browser"}}};
};

/// The JSON form. Reading throws DecodingError.
void decode(const nlohmann::json& value, RouteTarget& result);
nlohmann::json encode(const RouteTarget& target);

}  // namespace corvana

template <>
struct std::hash<corvana::RouteTarget> {
  std::size_t operator()(const corvana::RouteTarget& target) const noexcept;
};
