#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/identity/corvana.h"
#include "core/identity/document_file.h"
#include "core/routing/compiled_rules.h"

namespace corvana {

/// The rule document in memory and in "rules.json". Several processes use the file; each sees what another has written
/// at its next call of `current` or `decide`, which cost one look at the file's attributes when nothing has changed.
/// One thread.
class RuleStore {
 public:
  RuleStore();

  /// The process's own, made at the first use. For composition roots.
  static RuleStore& shared();

  /// The document as it was last loaded or saved; valid until that happens again.
  const RuleSet& set() const { return rules_->document(); }

  /// The document as it is now, for as long as the caller keeps it.
  std::shared_ptr<const RuleSet> current();

  /// Where a link goes by the document as it is now.
  RouteDecision decide(const URL& url, std::optional<std::string_view> sourceBundleID);

  /// Reads the file again if its date is not the one that it was last read or written with. A file that has gone or is
  /// broken leaves the default document, with which every link goes to the fallback; a broken one is logged, once for
  /// each of its dates. Whether the document was replaced.
  bool reloadIfChanged();

  /// Writes the document and takes it over. Throws std::filesystem::filesystem_error, and has then changed nothing.
  void save(RuleSet set);

  /// Changes the document as it is in the file now, and saves it; meanwhile no other process does the same. Throws what
  /// `change` throws, and as save does; nothing has changed then.
  void change(const std::function<void(RuleSet&)>& change);

  /// Where the file is broken and how, if it was when it was last read.
  const std::optional<std::string>& problem() const { return problem_; }

 private:
  void write(RuleSet set);

  /// The parsed and compiled document; never null.
  std::unique_ptr<const CompiledRules> rules_;
  DocumentFile file_{&Corvana::rulesURL};
  std::optional<std::string> problem_;
};

}  // namespace corvana
