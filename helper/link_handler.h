#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/browsers/browser_catalog.h"
#include "core/identity/url.h"
#include "core/routing/recent_links.h"
#include "core/routing/route_target.h"
#include "core/routing/rule_store.h"
#include "platform/application/user_notifications.h"
#include "platform/desktop/application_handlers.h"
#include "platform/desktop/opening_source.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// Sends each link that the user opens where the rules say: to the rule's target, else to that for local files or the
/// fallback, else to the browser of last resort; what is missing, or fails to open, passes the link on. Links for one
/// target keep their order. The first goes at once; those that come while it is being opened, or right after it, go
/// together, so that a burst is a few launches. Main thread.
class LinkHandler {
 public:
  /// Two openings of one target are at least that far apart.
  static constexpr std::chrono::milliseconds burstTime{100};
  /// What opens is waited for no longer before the next links follow.
  static constexpr std::chrono::seconds openingLimit{5};
  /// The most bytes of links in one opening; a single link may be longer. Browsers hand on what they are given in one
  /// message of limited size.
  static constexpr std::size_t openingBytes = 16 * 1024;
  /// A browser that asks for a link this soon after it was sent there hands it back.
  static constexpr std::chrono::seconds returnTime{5};
  /// From a caller that is unknown a link may come again as often as that before it counts as handed back: people click
  /// more than once.
  static constexpr int patienceWithUnknown = 3;
  /// The history is written this long after a link, so that a burst is one write.
  static constexpr std::chrono::milliseconds historyDelay{250};

  struct System {
    Scheduler& mainQueue;
    const Clock& clock;
    Workspace& workspace;
    ApplicationHandlers& handlers;
    UserNotifications& notifications;
    RuleStore& rules;
    RecentLinksStore& history;
  };

  /// What is passed must outlive this object. `routingHistoryChanged` is called after each write of the history.
  LinkHandler(const System& system, std::function<void()> routingHistoryChanged);
  LinkHandler(const LinkHandler&) = delete;
  LinkHandler& operator=(const LinkHandler&) = delete;

  /// The links of one caller, which nothing has checked yet. They are taken over when this returns.
  void open(const std::vector<std::string>& urls, const std::optional<OpeningSource>& source);

  /// The program is about to end: sends what waits, and writes the history, without waiting for anything.
  void finish();

  /// Whether nothing is under way.
  bool isIdle() const { return queues_.empty(); }

  /// Where a link can go. Without a target: the browser of last resort.
  using Candidate = std::optional<RouteTarget>;
  /// In their order; the last is always that browser.
  static std::deque<Candidate> candidatesFor(const URL& url, const RouteDecision& decision, const RuleSet& set);

 private:
  /// A link on its way.
  struct Link {
    URL url;
    std::chrono::sys_seconds date;
    std::optional<OpeningSource> source;
    std::shared_ptr<const LinkRule> rule;
    std::deque<Candidate> candidates;
    bool targetWasMissing = false;
    bool hasFailed = false;
    /// The browser that has handed it back; it is not sent there again.
    std::string notTo;
  };
  /// What is under way to one target.
  struct Queue {
    std::vector<Link> waiting;
    bool isOpening = false;
    std::uint64_t opening = 0;
    /// Until when nothing else is opened.
    Timer pause;
    Timer limit;
  };
  /// An application that a target was found to be.
  struct Destination {
    std::filesystem::path application;
    /// Names a browser of last resort, too.
    RouteTarget target;
  };
  /// An entry of the history that awaits its target's name.
  struct Unwritten {
    RecentLink entry;
    std::optional<RouteTarget> target;
  };
  /// A link that was sent somewhere lately.
  struct Sent {
    std::chrono::steady_clock::time_point time;
    RouteTarget target;
    int returns = 0;
  };

  void enqueue(Link link);
  /// Opens what waits for the target, if nothing holds it up.
  void advance(const std::string& key);
  void openBatch(const std::string& key, const Destination& destination, std::vector<Link> links);
  void opened(const std::string& key, std::uint64_t opening, const RouteTarget& target,
              const std::shared_ptr<std::vector<Link>>& links, const std::optional<OpenError>& error);
  /// To the next place where they can go.
  void passOn(std::vector<Link> links);
  std::optional<Destination> find(const Candidate& candidate, const std::string& notTo);
  /// How often the link has been handed back by where it was sent.
  int returnsOf(const URL& url, const std::optional<OpeningSource>& source);
  void remember(const Link& link, const RouteTarget& target);
  void record(const Link& link, const std::optional<RouteTarget>& target);
  void writeHistory();
  void tellFailures();

  System system_;
  std::function<void()> routingHistoryChanged_;
  std::map<std::string, Queue> queues_;
  std::uint64_t nextOpening_ = 0;
  bool isFinishing_ = false;
  std::unordered_map<std::string, Sent> sent_;
  Timer forgetSent_;
  std::vector<Unwritten> unwritten_;
  Timer historyTimer_;
  std::vector<std::string> failed_;
  Lifetime lifetime_;
};

}  // namespace corvana
