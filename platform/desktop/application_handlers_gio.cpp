#include "platform/desktop/application_handlers_gio.h"

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <array>
#include <utility>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/desktop_id_linux.h"
#include "platform/desktop/known_browsers_linux.h"
#include "platform/files/pointers_gio.h"
#include "platform/files/property_list.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

/// The media type; empty for a content type that has none.
std::string mediaTypeOf(const Handled& handled) {
  if (handled.kind == Handled::Kind::scheme) return "x-scheme-handler/" + handled.name;
  constexpr std::array<std::pair<std::string_view, const char*>, 3> types{{
      {"public.html", "text/html"},
      {"public.svg-image", "image/svg+xml"},
      {"com.apple.webarchive", "application/x-webarchive"},
  }};
  const auto* found = std::ranges::find(types, handled.name, &std::pair<std::string_view, const char*>::first);
  return found == types.end() ? "" : found->second;
}

std::optional<fs::path> fileOf(GAppInfo* application) {
  const char* file = ::g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(application));
  return file == nullptr ? std::nullopt : std::optional<fs::path>(file);
}

/// Where the application is that users are offered for this one; nothing for one that is hidden from them. There is one
/// place for each known browser, however often it is installed, the same by which it is found everywhere else.
std::optional<fs::path> placeOf(GAppInfo* application) {
  const auto file = fileOf(application);
  const auto id = file ? desktopIDOf(*file) : std::nullopt;
  for (const KnownBrowser& browser : knownBrowsers()) {
    if (!id || std::ranges::count(browser.desktopIDs, *id) == 0) continue;
    const auto installation = BrowserInstallation::find(browser.bundleIdentifier);
    return installation ? installation->entry.file : file;
  }
  return ::g_desktop_app_info_get_nodisplay(G_DESKTOP_APP_INFO(application)) == 0 ? file : std::nullopt;
}

std::string textUnder(const PropertyDictionary& plist, std::string_view key) {
  const auto* text = find<std::string>(plist, key);
  return text == nullptr ? "" : *text;
}

std::optional<ApplicationInfo> infoOfBundle(const fs::path& path) {
  const auto plist = PropertyList::read(path / "Contents/Info.plist");
  const auto* identifier = find<std::string>(plist, "CFBundleIdentifier");
  if (identifier == nullptr) return std::nullopt;
  return ApplicationInfo{.bundleIdentifier = *identifier,
                         .name = path.stem().string(),
                         .displayName = textUnder(plist, "CFBundleDisplayName"),
                         .bundleName = textUnder(plist, "CFBundleName"),
                         .version = textUnder(plist, "CFBundleShortVersionString")};
}

/// What went wrong, or nothing.
std::optional<std::string> setDefault(const fs::path& application, const Handled& handled) {
  const std::string mediaType = mediaTypeOf(handled);
  if (mediaType.empty()) return handled.name + " has no media type";
  std::string desktopID = desktopIDOf(application).value_or("");
  if (application.extension() == ".app") {
    const auto bundle = ApplicationBundle::read(application);
    desktopID = bundle ? bundle->identifier + std::string(desktopEntrySuffix) : "";
  }
  const GObjectPointer<GDesktopAppInfo> info(::g_desktop_app_info_new(desktopID.c_str()));
  if (!info) return application.string() + " has no desktop entry " + desktopID;
  GError* error = nullptr;
  if (::g_app_info_set_as_default_for_type(G_APP_INFO(info.get()), mediaType.c_str(), &error) == 0) {
    const GErrorPointer owned(error);
    return error == nullptr ? "the desktop refused" : std::string(error->message);
  }
  // A list of the desktop's own may take precedence over the one that was written.
  const GObjectPointer<GAppInfo> present(::g_app_info_get_default_for_type(mediaType.c_str(), FALSE));
  const bool isSet = present && ::g_app_info_equal(present.get(), G_APP_INFO(info.get())) != 0;
  return isSet ? std::nullopt : std::optional<std::string>("the desktop still prefers another application");
}

}  // namespace

std::vector<fs::path> ApplicationHandlersGIO::applications(const Handled& handled) {
  std::vector<fs::path> result;
  const auto add = [&result](GAppInfo* application) {
    const auto place = placeOf(application);
    if (place && std::ranges::count(result, *place) == 0) result.push_back(*place);
  };
  // The default need not be among those that are associated.
  const GObjectPointer<GAppInfo> preferred(::g_app_info_get_default_for_type(mediaTypeOf(handled).c_str(), FALSE));
  if (preferred) add(preferred.get());
  GList* list = ::g_app_info_get_all_for_type(mediaTypeOf(handled).c_str());
  for (GList* item = list; item != nullptr; item = item->next) {
    const GObjectPointer<GAppInfo> application(static_cast<GAppInfo*>(item->data));
    add(application.get());
  }
  ::g_list_free(list);
  return result;
}

std::optional<fs::path> ApplicationHandlersGIO::defaultApplication(const Handled& handled) {
  const GObjectPointer<GAppInfo> application(::g_app_info_get_default_for_type(mediaTypeOf(handled).c_str(), FALSE));
  return application ? fileOf(application.get()) : std::nullopt;
}

void ApplicationHandlersGIO::setDefaultApplication(const fs::path& application, const Handled& handled,
                                                   Completion completion) {
  scheduler_.post(
      [completion = std::move(completion), error = setDefault(application, handled)] { completion(error); });
}

std::optional<ApplicationInfo> ApplicationHandlersGIO::info(const fs::path& application) {
  try {
    if (application.extension() == ".app") return infoOfBundle(application);
    const DesktopEntry entry = DesktopEntry::read(application);
    const std::string desktopID = desktopIDOf(application).value_or(application.filename().string());
    return ApplicationInfo{.bundleIdentifier = bundleIdentifierOf(entry, desktopID), .name = entry.name};
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void keepDefaultBrowser() {
  for (const char* mediaType : {"x-scheme-handler/http", "x-scheme-handler/https", "text/html", "application/xhtml+xml",
                                "image/svg+xml", "application/x-webarchive"}) {
    const GObjectPointer<GAppInfo> present(::g_app_info_get_default_for_type(mediaType, FALSE));
    // Where that fails the desktop is no other than it would have been.
    if (present) (void)::g_app_info_set_as_default_for_type(present.get(), mediaType, nullptr);
  }
}

}  // namespace corvana
