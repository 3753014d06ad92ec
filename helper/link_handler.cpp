#include "helper/link_handler.h"

#include <algorithm>
#include <utility>

#include "core/identity/log.h"
#include "core/identity/uuid.h"
#include "core/routing/route_choice.h"

namespace corvana {
namespace {

constexpr std::string_view chromium = "org.chromium.Chromium";

/// Texts from outside are shown and logged no longer than that.
std::string shortened(const std::string& text) {
  constexpr std::size_t longest = 200;
  if (text.size() <= longest) return text;
  std::size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // not inside a character
  return text.substr(0, end) + "…";
}

bool isChrome(std::string_view bundleID) {
  return bundleID == Corvana::chromeBundleID || bundleID == chromium;  // its stand-in where there is no Chrome
}

/// Whether what was sent to the target may come back in that application's name: proxy apps send it on to Chrome.
bool mayComeBackFrom(const std::string& source, const RouteTarget& target) {
  if (source == target.bundleID()) return true;
  return isChrome(source) && (target.isProxyApp() || isChrome(target.bundleID()));
}

/// One for each target and for the browser of last resort.
std::string keyOf(const std::optional<RouteTarget>& target, const std::string& notTo) {
  if (!target) return "last resort but " + notTo;
  return std::string(nameOf(target->kind())) + (target->isPrivate() ? " private " : " ") + target->bundleID();
}

}  // namespace

LinkHandler::LinkHandler(const System& system, std::function<void()> routingHistoryChanged)
    : system_(system), routingHistoryChanged_(std::move(routingHistoryChanged)) {}

void LinkHandler::open(const std::vector<std::string>& urls, const std::optional<OpeningSource>& source) {
  const auto date = std::chrono::floor<std::chrono::seconds>(system_.clock.date());
  const auto set = system_.rules.current();
  std::vector<std::string> touched;
  for (const std::string& text : urls) {
    auto url = URL::absolute(text);
    if (!url) {
      Log::helper.error("refusing to open what is no link: ", shortened(text));
      continue;
    }
    const RouteDecision decision =
        system_.rules.decide(*url, source ? std::optional<std::string_view>(source->bundleIdentifier) : std::nullopt);
    Link link{.url = *url, .date = date, .source = source, .rule = decision.rule, .candidates = {}, .notTo = {}};
    const int returns = returnsOf(*url, source);
    if (returns == 0) {
      link.candidates = candidatesFor(*url, decision, *set);
    } else {
      Log::helper.notice("a browser hands back ", shortened(text));
      link.notTo = source ? source->bundleIdentifier : "";
    }
    // Whoever hands back what came as the last resort would do so for ever.
    if (returns == 1) link.candidates.emplace_back(std::nullopt);
    enqueue(std::move(link));
  }
  for (auto& [key, queue] : queues_) touched.push_back(key);
  for (const std::string& key : touched) advance(key);
  tellFailures();
}

std::deque<LinkHandler::Candidate> LinkHandler::candidatesFor(const URL& url, const RouteDecision& decision,
                                                              const RuleSet& set) {
  std::deque<Candidate> result;
  for (auto& candidate : RouteChoice::candidates(decision.target, url.isFileURL(), set)) {
    result.emplace_back(std::move(candidate.target));
  }
  result.emplace_back(std::nullopt);
  return result;
}

void LinkHandler::enqueue(Link link) {
  if (link.candidates.empty()) {
    failed_.push_back(link.url.absoluteString());
    return record(link, std::nullopt);
  }
  queues_[keyOf(link.candidates.front(), link.notTo)].waiting.push_back(std::move(link));
}

void LinkHandler::advance(const std::string& key) {
  const auto found = queues_.find(key);
  if (found == queues_.end()) return;
  Queue& queue = found->second;
  if (queue.waiting.empty() && !queue.isOpening && !queue.pause) return void(queues_.erase(found));
  if (queue.waiting.empty() || ((queue.isOpening || queue.pause) && !isFinishing_)) return;
  const Candidate candidate = queue.waiting.front().candidates.front();
  const auto destination = find(candidate, queue.waiting.front().notTo);
  if (!destination) {
    std::vector<Link> links = std::exchange(queue.waiting, {});
    queues_.erase(found);
    for (Link& link : links) link.targetWasMissing = link.targetWasMissing || candidate.has_value();
    return passOn(std::move(links));
  }
  std::size_t count = 0;
  for (std::size_t bytes = 0; count < queue.waiting.size(); ++count) {
    bytes += queue.waiting[count].url.absoluteString().size() + 1;
    if (count > 0 && bytes > openingBytes) break;
  }
  const auto end = queue.waiting.begin() + static_cast<std::ptrdiff_t>(count);
  std::vector<Link> links(std::make_move_iterator(queue.waiting.begin()), std::make_move_iterator(end));
  queue.waiting.erase(queue.waiting.begin(), end);
  openBatch(key, *destination, std::move(links));
  if (isFinishing_) advance(key);
}

void LinkHandler::openBatch(const std::string& key, const Destination& destination, std::vector<Link> links) {
  Queue& queue = queues_[key];
  queue.isOpening = true;
  queue.opening = ++nextOpening_;
  queue.pause = system_.mainQueue.after(burstTime, [this, key] {
    const std::string own = key;  // the task goes with its timer
    queues_[own].pause = {};
    advance(own);
    tellFailures();
  });
  queue.limit = system_.mainQueue.after(openingLimit, [this, key] {
    const std::string own = key;
    queues_[own].isOpening = false;
    advance(own);
    tellFailures();
  });
  OpenConfiguration configuration{.arguments = {}, .createsNewApplicationInstance = true};
  if (destination.target.isPrivate()) {
    if (auto option = BrowserCatalog::privateWindowOption(destination.target.bundleID())) {
      configuration.arguments.push_back(std::move(*option));
    } else {
      Log::helper.notice(destination.target.bundleID(), " cannot be asked for a private window");
    }
  }
  for (const Link& link : links) {
    configuration.arguments.push_back(link.url.absoluteString());
    remember(link, destination.target);
  }
  const auto shared = std::make_shared<std::vector<Link>>(std::move(links));
  auto answer =
      lifetime_.guard([this, key, opening = queue.opening, target = destination.target,
                       shared](const std::optional<OpenError>& error) { opened(key, opening, target, shared, error); });
  // The workspace answers on any thread.
  system_.workspace.openApplication(
      destination.application, configuration,
      [&mainQueue = system_.mainQueue, answer = std::move(answer)](const std::optional<OpenError>& error) {
        mainQueue.post([answer, error] { answer(error); });
      });
}

void LinkHandler::opened(const std::string& key, std::uint64_t opening, const RouteTarget& target,
                         const std::shared_ptr<std::vector<Link>>& links, const std::optional<OpenError>& error) {
  if (const auto found = queues_.find(key); found != queues_.end() && found->second.opening == opening) {
    found->second.isOpening = false;
    found->second.limit = {};
  }
  if (error) {
    Log::helper.error("cannot open ", links->size(), " links with ", target.bundleID(), ": ", error->description);
    std::vector<Link> again;
    for (Link& link : *links) {
      // What reports a failure may have opened it all the same: it is tried once more, not everywhere.
      if (std::exchange(link.hasFailed, true)) link.candidates = {Candidate()};
      again.push_back(std::move(link));
    }
    passOn(std::move(again));
  } else {
    for (const Link& link : *links) record(link, target);
  }
  advance(key);
  tellFailures();
}

void LinkHandler::passOn(std::vector<Link> links) {
  std::vector<std::string> keys;
  for (Link& link : links) {
    link.candidates.pop_front();
    const std::string key = link.candidates.empty() ? "" : keyOf(link.candidates.front(), link.notTo);
    if (!key.empty() && std::ranges::count(keys, key) == 0) keys.push_back(key);
    enqueue(std::move(link));
  }
  for (const std::string& key : keys) advance(key);
}

std::optional<LinkHandler::Destination> LinkHandler::find(const Candidate& candidate, const std::string& notTo) {
  if (candidate) {
    const auto application = BrowserCatalog::resolve(*candidate, system_.workspace);
    return application ? std::optional(Destination{*application, *candidate}) : std::nullopt;
  }
  auto browsers = BrowserCatalog::installed(system_.workspace, system_.handlers, system_.rules);
  const auto set = system_.rules.current();
  if (!notTo.empty() && browsers.size() > 1) {
    std::erase_if(browsers, [&notTo](const BrowserEntry& browser) { return browser.bundleID == notTo; });
  }
  const BrowserEntry* browser = BrowserCatalog::lastResort(*set, browsers);
  if (browser == nullptr) return std::nullopt;
  return Destination{browser->path, RouteTarget::browser(browser->bundleID)};
}

int LinkHandler::returnsOf(const URL& url, const std::optional<OpeningSource>& source) {
  const auto found = sent_.find(url.absoluteString());
  if (found == sent_.end() || system_.clock.now() - found->second.time > returnTime) return 0;
  Sent& sent = found->second;
  if (source && !mayComeBackFrom(source->bundleIdentifier, sent.target)) return 0;
  ++sent.returns;
  return source ? sent.returns : std::max(0, sent.returns - patienceWithUnknown);
}

void LinkHandler::remember(const Link& link, const RouteTarget& target) {
  Sent& sent = sent_[link.url.absoluteString()];
  sent.time = system_.clock.now();
  sent.target = target;
  if (forgetSent_) return;
  forgetSent_ = system_.mainQueue.every(returnTime, [this] {
    std::erase_if(sent_, [this](const auto& one) { return system_.clock.now() - one.second.time > returnTime; });
    if (!sent_.empty()) return;
    sent_ = {};
    forgetSent_ = {};
  });
}

void LinkHandler::record(const Link& link, const std::optional<RouteTarget>& target) {
  if (!system_.rules.set().recordsHistory) return;
  RecentLink entry{.id = UUID::random(),
                   .date = link.date,
                   .url = link.url.absoluteString(),
                   .targetWasMissing = link.targetWasMissing || !target};
  if (link.source) {
    entry.sourceBundleID = link.source->bundleIdentifier;
    if (!link.source->name.empty()) entry.sourceName = link.source->name;
  }
  if (target) entry.targetBundleID = target->bundleID();
  if (link.rule) {
    entry.ruleID = link.rule->id;
    entry.ruleName = link.rule->name;
  }
  unwritten_.push_back({std::move(entry), target});
  if (!historyTimer_) historyTimer_ = system_.mainQueue.after(historyDelay, [this] { writeHistory(); });
}

void LinkHandler::writeHistory() {
  historyTimer_ = {};
  if (unwritten_.empty()) return;
  std::vector<RecentLink> entries;
  std::map<std::string, std::optional<std::string>> names;
  for (Unwritten& one : std::exchange(unwritten_, {})) {
    if (one.target) {
      const auto [name, isNew] = names.try_emplace(keyOf(one.target, {}));
      if (isNew) name->second = BrowserCatalog::name(*one.target, system_.workspace, system_.handlers);
      one.entry.targetName = name->second;
    }
    entries.push_back(std::move(one.entry));
  }
  system_.history.record(std::move(entries));
  if (routingHistoryChanged_) routingHistoryChanged_();
}

void LinkHandler::tellFailures() {
  if (failed_.empty()) return;
  const std::vector<std::string> failed = std::exchange(failed_, {});
  const std::string count = std::to_string(failed.size());
  system_.notifications.post(failed.size() == 1 ? "A link could not be opened" : count + " links could not be opened",
                             shortened(failed.front()));
}

void LinkHandler::finish() {
  isFinishing_ = true;
  std::vector<std::string> keys;
  for (const auto& [key, queue] : queues_) keys.push_back(key);
  for (const std::string& key : keys) advance(key);
  writeHistory();
}

}  // namespace corvana
