#include "core/routing/recent_links.h"

#include <filesystem>
#include <utility>

#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"
#include "core/identity/log.h"
#include "core/identity/url.h"
#include "core/routing/link_parts.h"
#include "platform/files/user_directories.h"
#include "platform/text/ascii.h"

namespace corvana {
namespace {

void fields(auto& link, auto& visitor) {
  visitor.required("id", link.id);
  visitor.required("date", link.date);
  visitor.required("url", link.url);
  visitor.optional("sourceBundleID", link.sourceBundleID);
  visitor.optional("sourceName", link.sourceName);
  visitor.optional("targetBundleID", link.targetBundleID);
  visitor.optional("targetName", link.targetName);
  visitor.optional("ruleID", link.ruleID);
  visitor.optional("ruleName", link.ruleName);
  visitor.required("targetWasMissing", link.targetWasMissing);
}

/// The path, decoded, of a link to a local file; nothing for any other link.
std::optional<std::filesystem::path> filePathOf(const std::string& link) {
  const auto url = URL::absolute(link);
  const auto parts = url && url->isFileURL() ? LinkParts::split(*url) : std::nullopt;
  if (!parts) return std::nullopt;
  return ascii::percentDecoded(parts->path);
}

/// Empty when the link has none.
std::string hostOf(const std::string& link) {
  const auto url = URL::absolute(link);
  const auto parts = url ? LinkParts::split(*url) : std::nullopt;
  return parts ? parts->host : "";
}

/// Where the host stands in the link, in letters of whatever case. Schemes may well contain the letters of a short one.
std::size_t findHost(std::string link, std::string host) {
  ascii::lowercase(link);
  ascii::lowercase(host);
  return link.find(host, link.find(':'));
}

}  // namespace

void decode(const nlohmann::json& value, RecentLink& result) {
  FieldReader reader(value);
  fields(result, reader);
}

nlohmann::json encode(const RecentLink& link) {
  FieldWriter writer;
  fields(link, writer);
  return writer.take();
}

bool RecentLink::isLocalFile() const {
  const auto parsed = URL::absolute(url);
  return parsed && parsed->isFileURL();
}

std::string RecentLink::displayHost() const {
  if (const auto file = filePathOf(url)) {
    const std::filesystem::path name = (file->has_filename() ? *file : file->parent_path()).filename();
    return name.empty() ? "/" : name.string();
  }
  std::string host = hostOf(url);
  return host.empty() ? url : host;
}

std::string RecentLink::displayPath() const {
  if (const auto file = filePathOf(url)) {
    const std::filesystem::path folder = (file->has_filename() ? *file : file->parent_path()).parent_path();
    const std::filesystem::path home = userDirectories::home();
    const auto relative = folder.lexically_relative(home);
    if (relative.empty() || *relative.begin() == "..") return folder.string();
    return relative == "." ? "~" : "~/" + relative.string();
  }
  const std::string host = hostOf(url);
  const std::size_t found = host.empty() ? std::string::npos : findHost(url, host);
  if (found == std::string::npos) return "";
  std::string rest = url.substr(found + host.size());
  return rest == "/" ? "" : rest;
}

RecentLinksStore& RecentLinksStore::shared() {
  static RecentLinksStore store;
  return store;
}

bool RecentLinksStore::reloadIfChanged() {
  switch (file_.state()) {
    case DocumentFile::State::unchanged:
      return false;
    case DocumentFile::State::missing:
      if (!file_.wasLoaded() && links_.empty()) return false;
      file_.forget();
      links_.clear();
      return true;
    case DocumentFile::State::changed:
      break;
  }
  try {
    links_ = parse(file_.read());
  } catch (const std::exception&) {
    links_.clear();  // a history is not worth a word to anybody
  }
  return true;
}

void RecentLinksStore::record(RecentLink link) {
  reloadIfChanged();
  links_.insert(links_.begin(), std::move(link));
  if (links_.size() > limit) links_.resize(limit);
  write();
}

void RecentLinksStore::clear() {
  links_.clear();
  write();
}

void RecentLinksStore::write() {
  try {
    file_.write(documentText(links_));
  } catch (const std::exception& error) {
    Log::helper.error("could not write recent links: ", error.what());
  }
}

std::string RecentLinksStore::documentText(const std::vector<RecentLink>& links) {
  return corvana::documentText(encode(links));
}

std::vector<RecentLink> RecentLinksStore::parse(std::string_view text) {
  std::vector<RecentLink> links;
  decode(parseJSON(text), links);
  return links;
}

}  // namespace corvana

std::size_t std::hash<corvana::RecentLink>::operator()(const corvana::RecentLink& link) const noexcept {
  corvana::FieldHasher hasher;
  corvana::fields(link, hasher);
  return hasher.value();
}
