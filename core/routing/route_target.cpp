#include "core/routing/route_target.h"

#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"

namespace corvana {

void decode(const nlohmann::json& value, RouteTarget& result) {
  FieldReader reader(value);
  RouteTarget::Kind kind{};
  std::string bundleID;
  reader.required("kind", kind);
  reader.required("bundleID", bundleID);
  if (kind == RouteTarget::Kind::proxyApp) {
    result = RouteTarget::proxyApp(std::move(bundleID));
    return;
  }
  bool isPrivate = false;
  reader.defaulted("isPrivate", isPrivate);
  result = RouteTarget::browser(std::move(bundleID), isPrivate);
}

nlohmann::json encode(const RouteTarget& target) {
  FieldWriter writer;
  writer.required("kind", target.kind());
  writer.required("bundleID", target.bundleID());
  if (target.isPrivate()) writer.required("isPrivate", true);
  return writer.take();
}

}  // namespace corvana

std::size_t std::hash<corvana::RouteTarget>::operator()(const corvana::RouteTarget& target) const noexcept {
  corvana::FieldHasher hasher;
  hasher.add(target.kind());
  hasher.add(target.bundleID());
  hasher.add(target.isPrivate());
  return hasher.value();
}
