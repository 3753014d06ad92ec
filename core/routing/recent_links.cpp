#include "core/routing/recent_links.h"

#include <filesystem>
#include <iterator>
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

std::string logged(const std::exception& error) {
  Log::helper.error("could not write recent links: ", error.what());
  return error.what();
}

/// Of the file with that path, which is decoded.
RecentLink::Display displayOfFile(std::filesystem::path path) {
  if (!path.has_filename()) path = path.parent_path();
  const std::filesystem::path name = path.filename();
  const std::filesystem::path folder = path.parent_path();
  const auto relative = folder.lexically_relative(userDirectories::home());
  const bool isInHome = !relative.empty() && *relative.begin() != "..";
  return {.host = name.empty() ? "/" : name.string(),
          .path = !isInHome         ? folder.string()
                  : relative == "." ? "~"
                                    : "~/" + relative.string()};
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

RecentLink::Display RecentLink::display() const {
  const auto parsed = URL::absolute(url);
  const auto parts = parsed ? LinkParts::split(*parsed) : std::nullopt;
  if (parts && parsed->isFileURL()) return displayOfFile(ascii::percentDecoded(parts->path));
  if (!parts || parts->host.empty()) return {.host = url, .path = ""};
  std::string rest = url.substr(parts->hostEnd);
  return {.host = parts->host, .path = rest == "/" ? "" : std::move(rest)};
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
      problem_.reset();
      links_.clear();
      return true;
    case DocumentFile::State::changed:
      break;
  }
  problem_.reset();
  try {
    links_ = file_.read(&RecentLinksStore::parse);
  } catch (const std::exception& error) {
    problem_ = error.what();  // a history is not worth a word to anybody but who asks
    links_.clear();
  }
  return true;
}

void RecentLinksStore::record(RecentLink link) {
  std::vector<RecentLink> links;
  links.push_back(std::move(link));
  record(std::move(links));
}

void RecentLinksStore::record(std::vector<RecentLink> links) {
  const auto lock = lockForRecording();
  reloadIfChanged();
  links_.insert(links_.begin(), std::make_move_iterator(links.rbegin()), std::make_move_iterator(links.rend()));
  if (links_.size() > limit) links_.resize(limit);
  try {
    file_.write(documentText(links_));
  } catch (const std::exception& error) {
    (void)logged(error);
  }
}

std::optional<DocumentLock> RecentLinksStore::lockForRecording() {
  try {
    std::optional<DocumentLock> lock(file_.lock(isHeldUp_ ? std::chrono::milliseconds(0) : patience_));
    isHeldUp_ = false;
    return lock;
  } catch (const std::exception&) {
    // Without the lock another process's entry may be lost, which is less than all that are to come. If it is the disk
    // that is in the way, writing will say so.
    isHeldUp_ = true;
    return std::nullopt;
  }
}

std::optional<std::string> RecentLinksStore::clear() {
  links_.clear();
  try {
    const DocumentLock lock = file_.lock();
    file_.erase(documentText(links_));
    return std::nullopt;
  } catch (const std::exception& error) {
    return logged(error);
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
