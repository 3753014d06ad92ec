#include "core/registry/registry.h"

#include <algorithm>
#include <set>

#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/identity/document_file.h"
#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"
#include "core/stub/stub_revision.h"
#include "platform/files/bookmark.h"
#include "platform/files/files.h"
#include "platform/files/user_directories.h"
#include "platform/text/base64.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

/// The revision from which on an app's own contents say all; what came before may lack something.
constexpr std::int64_t lastRevisionToRebuild = 6;

/// All fields but the bookmark, whose bytes are written in base64.
void fields(auto& app, auto& visitor) requires requires {
  app.bookmark;
}
{
  visitor.required("bundleID", app.bundleID);
  visitor.required("name", app.name);
  visitor.required("path", app.path);
  visitor.required("config", app.config);
  visitor.required("createdAt", app.createdAt);
  visitor.optional("stubRevision", app.stubRevision);
  visitor.defaulted("isMissing", app.isMissing);
}

void fields(auto& registry, auto& visitor) requires requires {
  registry.apps;
}
{
  visitor.defaulted("version", registry.version);
  visitor.defaulted("apps", registry.apps);
}

/// The proxy app in that bundle, of this or an earlier name of the product; nothing for any other bundle.
std::optional<RegisteredApp> appAt(const fs::path& bundle) {
  try {
    const auto plist = Bundle{bundle}.infoDictionary();
    const auto* bundleID = plist ? find<std::string>(*plist, "CFBundleIdentifier") : nullptr;
    if (bundleID == nullptr || !Corvana::isOurBundleID(*bundleID)) return std::nullopt;
    auto config = StubConfig::fromPlist(*plist);
    if (!config) return std::nullopt;
    return RegisteredApp{.bundleID = *bundleID,
                         .name = bundle.stem().string(),
                         .path = bundle.string(),
                         .config = std::move(*config),
                         .stubRevision = StubRevision::revision(*plist),
                         .bookmark = bookmark::of(bundle)};
  } catch (const std::exception&) {
    return std::nullopt;  // it has vanished, or is none of ours to complain about
  }
}

std::vector<fs::path> bundlesIn(const fs::path& folder) {
  std::vector<fs::path> bundles;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const fs::path& path = entry->path();
    if (path.extension() == ".app" && !path.filename().string().starts_with('.')) bundles.push_back(path);
  }
  std::ranges::sort(bundles);  // the same of two with one identifier every time
  return bundles;
}

fs::path standardized(const fs::path& path) {
  const fs::path normal = path.lexically_normal();
  return normal.has_filename() || normal == normal.root_path() ? normal : normal.parent_path();
}

}  // namespace

void decode(const nlohmann::json& value, RegisteredApp& result) {
  FieldReader reader(value);
  fields(result, reader);
  std::optional<std::string> text;
  reader.optional("bookmark", text);
  result.bookmark = text ? base64::decode(*text) : std::nullopt;
  if (text && !result.bookmark) throw DecodingError("bookmark", DecodingError("expected bytes in base64"));
}

nlohmann::json encode(const RegisteredApp& app) {
  FieldWriter writer;
  fields(app, writer);
  if (app.bookmark) writer.required("bookmark", base64::encode(*app.bookmark));
  return writer.take();
}

bool RegisteredApp::existsOnDisk() const {
  return files::exists(path);
}

bool RegisteredApp::isAt(const fs::path& bundle) const {
  if (!files::exists(bundle)) return false;
  try {
    const auto plist = Bundle{bundle}.infoDictionary();
    const auto* there = plist ? find<std::string>(*plist, "CFBundleIdentifier") : nullptr;
    return there == nullptr || *there == bundleID;
  } catch (const std::exception&) {
    return true;  // it does not say what it is
  }
}

bool RegisteredApp::needsRebuildAfterRename() const {
  return existsOnDisk() && !files::exists(fs::path(path) / "Contents/MacOS/CorvanaStub");
}

std::vector<std::string> RegisteredApp::rebuildReasons() const {
  if (!existsOnDisk()) return {};
  if (needsRebuildAfterRename()) {
    return {
        "Built before the rename, so it can't reach the background helper — it opens Chrome but tracks its windows "
        "only roughly."};
  }
  if (stubRevision && *stubRevision > lastRevisionToRebuild) return {};
  auto improvements = StubRevision::improvements(stubRevision);
  if (improvements.empty()) improvements.emplace_back(StubRevision::genericAdvice);
  return improvements;
}

void RegisteredApp::refreshBookmark() {
  if (auto fresh = bookmark::of(path)) bookmark = std::move(fresh);
}

Registry Registry::load(std::optional<std::string>* problem) {
  DocumentFile file(&Corvana::registryURL);
  try {
    return file.read(&Registry::parse);
  } catch (const std::exception& error) {
    if (problem != nullptr && file.state() != DocumentFile::State::missing) *problem = error.what();
    return {};
  }
}

void Registry::save() const {
  DocumentFile file(&Corvana::registryURL);
  const DocumentLock lock = file.lock();
  try {
    (void)file.read(&Registry::parse);
  } catch (const std::exception&) {
    // If there is anything, it is kept.
  }
  file.write(documentText());
}

Registry Registry::change(const std::function<void(Registry&)>& change) {
  DocumentFile file(&Corvana::registryURL);
  const DocumentLock lock = file.lock();
  Registry registry;
  try {
    registry = file.read(&Registry::parse);
  } catch (const DecodingError&) {
    // There is nothing to go by.
  } catch (const fs::filesystem_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) throw;  // it may be readable again in a moment
  }
  change(registry);
  file.write(registry.documentText());
  return registry;
}

Registry Registry::parse(std::string_view text) {
  const nlohmann::json document = parseJSON(text);
  Registry registry;
  FieldReader reader(document);
  fields(registry, reader);
  return registry;
}

std::string Registry::documentText() const {
  FieldWriter writer;
  fields(*this, writer);
  return corvana::documentText(writer.take());
}

void Registry::upsert(RegisteredApp app) {
  const auto found = std::ranges::find(apps, app.bundleID, &RegisteredApp::bundleID);
  if (found == apps.end()) {
    apps.push_back(std::move(app));
  } else {
    *found = std::move(app);
  }
}

void Registry::remove(std::string_view bundleID) {
  std::erase_if(apps, [bundleID](const RegisteredApp& app) { return app.bundleID == bundleID; });
}

void Registry::rescan(Workspace& workspace, const Clock& clock) {
  std::set<std::string> seen;
  for (const fs::path& folder : searchDirectories()) {
    for (const fs::path& bundle : bundlesIn(folder)) {
      auto app = appAt(bundle);
      if (!app) continue;
      const auto known = std::ranges::find(apps, app->bundleID, &RegisteredApp::bundleID);
      app->createdAt = known == apps.end() ? std::chrono::floor<std::chrono::seconds>(clock.date()) : known->createdAt;
      seen.insert(app->bundleID);
      upsert(std::move(*app));
    }
  }
  for (RegisteredApp& app : apps) {
    if (seen.contains(app.bundleID)) continue;
    const auto found = resolve(app, workspace);
    app.isMissing = !found;
    if (!found) continue;
    app.path = found->string();
    app.name = found->stem().string();
    app.refreshBookmark();
  }
  std::ranges::stable_sort(
      apps, [](const RegisteredApp& a, const RegisteredApp& b) { return text::compareStandard(a.name, b.name) < 0; });
}

std::vector<fs::path> Registry::searchDirectories() const {
  std::vector<fs::path> directories;
  const auto add = [&directories](const fs::path& directory) {
    if (std::ranges::count(directories, standardized(directory)) == 0) directories.push_back(standardized(directory));
  };
  for (const fs::path& directory : standardSearchDirectories()) add(directory);
  for (const RegisteredApp& app : apps) add(standardized(app.path).parent_path());
  return directories;
}

std::vector<fs::path> Registry::standardSearchDirectories() {
  return {userDirectories::home() / "Applications", "/Applications"};
}

std::optional<fs::path> Registry::resolve(const RegisteredApp& app, Workspace& workspace) {
  if (app.bookmark) {
    auto folders = standardSearchDirectories();
    folders.push_back(userDirectories::home());
    auto found = bookmark::resolve(*app.bookmark, folders);
    if (found && app.isAt(*found)) return found;
  }
  const auto known = workspace.urlForApplication(app.bundleID);
  return known && app.isAt(*known) ? known : std::nullopt;
}

}  // namespace corvana

std::size_t std::hash<corvana::RegisteredApp>::operator()(const corvana::RegisteredApp& app) const noexcept {
  corvana::FieldHasher hasher;
  corvana::fields(app, hasher);
  hasher.add(app.bookmark);
  return hasher.value();
}
