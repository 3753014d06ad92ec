#include "core/routing/rule_store.h"

#include <utility>

#include "core/identity/log.h"

namespace corvana {
namespace {

std::unique_ptr<const CompiledRules> compiled(RuleSet set) {
  return std::make_unique<const CompiledRules>(std::move(set));
}

}  // namespace

RuleStore::RuleStore() : rules_(compiled({})) {
  reloadIfChanged();
}

RuleStore& RuleStore::shared() {
  static RuleStore store;
  return store;
}

std::shared_ptr<const RuleSet> RuleStore::current() {
  reloadIfChanged();
  return rules_->sharedDocument();
}

RouteDecision RuleStore::decide(const URL& url, std::optional<std::string_view> sourceBundleID) {
  reloadIfChanged();
  return rules_->decide(url, sourceBundleID);
}

bool RuleStore::reloadIfChanged() {
  switch (file_.state()) {
    case DocumentFile::State::unchanged:
      return false;
    case DocumentFile::State::missing:
      if (!file_.wasLoaded() && set().rules.empty()) return false;
      file_.forget();
      problem_.reset();
      rules_ = compiled({});
      return true;
    case DocumentFile::State::changed:
      break;
  }
  problem_.reset();
  try {
    rules_ = compiled(file_.read(&RuleSet::parse));
  } catch (const std::exception& error) {
    if (file_.state() == DocumentFile::State::missing) return reloadIfChanged();  // it has gone just now
    problem_ = error.what();
    Log::helper.error("rules.json could not be read; routing everything to the fallback");
    Log::helper.error("rules.json: ", *problem_);
    rules_ = compiled({});
  }
  return true;
}

void RuleStore::save(RuleSet set) {
  const DocumentLock lock = file_.lock();
  write(std::move(set));
}

void RuleStore::change(const std::function<void(RuleSet&)>& change) {
  const DocumentLock lock = file_.lock();
  reloadIfChanged();
  RuleSet changed = set();
  change(changed);
  write(std::move(changed));
}

void RuleStore::write(RuleSet set) {
  auto rules = compiled(std::move(set));
  file_.write(rules->document().documentText());
  rules_ = std::move(rules);
  problem_.reset();
}

}  // namespace corvana
