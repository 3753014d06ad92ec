#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "core/stub/stub_config.h"

namespace corvana {

/// What a proxy app is built from.
struct ProxyAppPlan {
  /// The bundle to make, "Name.app"; its name is the app's.
  std::filesystem::path destination;
  std::string bundleID;
  StubConfig config;
  /// The executable to put into it: as a hard link where that is possible and safe, else as a copy.
  std::filesystem::path stubExecutable;
};

struct ProxyAppBuilder {
  ProxyAppBuilder() = delete;

  /// Builds the bundle beside its destination and then moves it there, so that a failure leaves nothing half made.
  /// `whenPlaced` is then called for what belongs to having it; if that throws, all is as it was before. Throws
  /// std::filesystem::filesystem_error, also when something is at the destination already and `replaces` is false, and
  /// what `whenPlaced` throws.
  static void build(const ProxyAppPlan& plan, bool replaces, const std::function<void()>& whenPlaced = {});
};

}  // namespace corvana
