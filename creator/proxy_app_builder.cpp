#include "creator/proxy_app_builder.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "core/identity/log.h"
#include "core/stub/stub_revision.h"
#include "creator/proxy_app_icon.h"
#include "platform/text/uuid.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

constexpr const char* iconName = "AppIcon";

void write(const fs::path& file, const std::string& bytes) {
  std::ofstream stream(file, std::ios::binary);
  stream << bytes;
  stream.close();
  if (!stream) throw fs::filesystem_error("cannot write", file, std::make_error_code(std::errc::io_error));
}

PropertyDictionary infoPlist(const ProxyAppPlan& plan) {
  const std::string name = plan.destination.stem().string();
  PropertyDictionary plist = plan.config.plistEntries();
  const auto put = [&plist](const char* key, std::string value) {
    plist.emplace(key, PropertyValue{std::move(value)});
  };
  put("CFBundleIdentifier", plan.bundleID);
  put("CFBundleName", name);
  put("CFBundleDisplayName", name);
  put("CFBundleExecutable", "CorvanaStub");
  put("CFBundlePackageType", "APPL");
  put("CFBundleInfoDictionaryVersion", "6.0");
  put("CFBundleIconFile", iconName);
  plist.emplace(StubRevision::plistKey, PropertyValue{StubRevision::current});
  return plist;
}

/// As a link to the same file, where that can be: all proxy apps that run then share the program's memory. A file that
/// others may write to is copied, since it could become another program one day.
void place(const fs::path& program, const fs::path& destination) {
  constexpr fs::perms writableByOthers = fs::perms::group_write | fs::perms::others_write;
  std::error_code error = std::make_error_code(std::errc::permission_denied);
  const fs::path file = fs::canonical(program);
  if ((fs::status(file).permissions() & writableByOthers) == fs::perms::none) {
    fs::create_hard_link(file, destination, error);
  }
  if (error) fs::copy_file(program, destination);
}

void fill(const fs::path& bundle, const ProxyAppPlan& plan) {
  fs::create_directories(bundle / "Contents/MacOS");
  fs::create_directories(bundle / "Contents/Resources");
  place(plan.stubExecutable, bundle / "Contents/MacOS/CorvanaStub");
  write(bundle / "Contents/Info.plist", PropertyList::xml(infoPlist(plan)));
  write(bundle / "Contents/Resources" / (std::string(iconName) + ".svg"),
        ProxyAppIcon::svg(plan.config, plan.destination.stem().string()));
}

}  // namespace

void ProxyAppBuilder::build(const ProxyAppPlan& plan, bool replaces, const std::function<void()>& whenPlaced) {
  const fs::path folder = fs::absolute(plan.destination).parent_path();
  const bool isTaken = fs::exists(fs::symlink_status(plan.destination));
  if (isTaken && !replaces) {
    throw fs::filesystem_error("there is something already", plan.destination,
                               std::make_error_code(std::errc::file_exists));
  }
  // Names that begin with a dot are passed over by whoever lists applications.
  const fs::path fresh = folder / (".corvana-" + randomUUID());
  const fs::path old = folder / (".corvana-" + randomUUID());
  bool isPlaced = false;
  try {
    fs::create_directories(folder);
    fill(fresh, plan);
    if (isTaken) fs::rename(plan.destination, old);
    fs::rename(fresh, plan.destination);
    isPlaced = true;
    if (whenPlaced) whenPlaced();
  } catch (...) {
    std::error_code ignored;
    if (isPlaced) fs::rename(plan.destination, fresh, ignored);
    if (fs::exists(old, ignored) && !fs::exists(plan.destination, ignored)) fs::rename(old, plan.destination, ignored);
    fs::remove_all(fresh, ignored);
    throw;
  }
  std::error_code ignored;
  fs::remove_all(old, ignored);
  Log::creator.info("built ", plan.destination.string(), " for ", plan.config.profileDirectory);
}

}  // namespace corvana
