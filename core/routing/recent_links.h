#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/corvana.h"
#include "core/identity/document_file.h"
#include "core/identity/uuid.h"

namespace corvana {

/// An entry of the history: a link that was routed.
struct RecentLink {
  UUID id;
  std::chrono::sys_seconds date;
  /// The link exactly as it was routed.
  std::string url;
  /// The application that the link came from, and the one that it went to, with their names for users.
  std::optional<std::string> sourceBundleID;
  std::optional<std::string> sourceName;
  std::optional<std::string> targetBundleID;
  std::optional<std::string> targetName;
  /// The rule that matched, with the name that it had then.
  std::optional<UUID> ruleID;
  std::optional<std::string> ruleName;
  /// The chosen target could not be found, so that another one was used.
  bool targetWasMissing = false;

  /// No rule claimed the link.
  bool isFallback() const { return !ruleID; }
  bool isLocalFile() const;
  /// What to show in two parts: a file's name and its folder, with "~" for the home directory; of other links the host
  /// (the whole text when there is none) and what follows it.
  struct Display {
    std::string host;
    std::string path;
  };
  Display display() const;
  std::string displayHost() const { return display().host; }
  std::string displayPath() const { return display().path; }

  bool operator==(const RecentLink&) const = default;
};

/// The history in memory and in "recent-links.json", which other processes read and clear as well. One thread.
class RecentLinksStore {
 public:
  /// The most entries that are kept.
  static constexpr std::size_t limit = 200;

  /// `patience` is how long `record` waits for another process.
  explicit RecentLinksStore(std::chrono::milliseconds patience = std::chrono::milliseconds(100)) : patience_(patience) {
    reloadIfChanged();
  }

  /// The process's own, made at the first use. For composition roots.
  static RecentLinksStore& shared();

  /// Newest first.
  const std::vector<RecentLink>& links() const { return links_; }

  /// Reads the file again if its date is not the one that it was last read or written with. A file that has gone or is
  /// broken is an empty history. Whether the links were replaced.
  bool reloadIfChanged();

  /// Adds an entry, lets go of the oldest beyond the limit, and writes the file. A failure to write is logged, and the
  /// entry kept in memory. Another process that is changing the file is waited for, but whoever routes links has no
  /// time: when that does not finish it is waited for no more, and the entry written all the same.
  void record(RecentLink link);
  /// The same for several, the oldest first, with one write.
  void record(std::vector<RecentLink> links);

  /// Forgets all entries, here and in the file, and what was kept of files that could not be read. What went wrong with
  /// the file, if anything, which is logged as well.
  std::optional<std::string> clear();

  /// What is wrong with the file, if it was broken when it was last read.
  const std::optional<std::string>& problem() const { return problem_; }

  /// The text of a document, and back. `parse` throws DecodingError.
  static std::string documentText(const std::vector<RecentLink>& links);
  static std::vector<RecentLink> parse(std::string_view text);

 private:
  std::optional<DocumentLock> lockForRecording();

  std::chrono::milliseconds patience_;
  std::vector<RecentLink> links_;
  /// Somebody has the lock and has not let go of it in time.
  bool isHeldUp_ = false;
  std::optional<std::string> problem_;
  DocumentFile file_{&Corvana::recentLinksURL};
};

}  // namespace corvana

template <>
struct std::hash<corvana::RecentLink> {
  std::size_t operator()(const corvana::RecentLink& link) const noexcept;
};
