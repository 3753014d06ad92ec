#include "platform/desktop/launch_queue_linux.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvana {
namespace {

using namespace std::chrono_literals;

/// What is tried again is tried often at first: a start takes some 40 ms, handing over 70.
constexpr auto shortestRetryDelay = 5ms;
constexpr auto longestRetryDelay = 50ms;

std::size_t bytesOf(const std::string& argument) {
  return argument.size() + 1;
}

/// A link that is too long, for the log.
std::string shortened(const std::string& link) {
  std::size_t end = 100;
  while (end > 0 && (static_cast<unsigned char>(link[end]) & 0xC0) == 0x80) --end;  // not within a character
  return link.substr(0, end) + "... (" + std::to_string(link.size()) + " bytes)";
}

}  // namespace

void LaunchQueue::Report::partEnded(const std::optional<OpenError>& ending) {
  if (ending && !error) error = ending;
  if (--parts == 0 && completion) std::exchange(completion, nullptr)(error);
}

std::optional<OpenError> LaunchQueue::takeOutTooLong(std::vector<std::string>& arguments) {
  std::string description;
  std::erase_if(arguments, [&](const std::string& argument) {
    const bool isTooLong = bytesOf(argument) > maximumArgumentBytes;
    if (isTooLong) description += (description.empty() ? "" : ", ") + shortened(argument);
    return isTooLong;
  });
  if (description.empty()) return std::nullopt;
  return OpenError{"no program can be handed so long an argument: " + description};
}

void LaunchQueue::launch(const BrowserInstallation& browser, const OpenConfiguration& configuration,
                         Workspace::OpenCompletion completion) {
  Lane& lane = laneOf(browser);
  if (!isWaiting(lane)) lane.waitsSince = clock_.now();
  const auto& arguments = configuration.arguments;
  const auto firstLink =
      std::ranges::find_if_not(arguments, [](const std::string& argument) { return argument.starts_with("--"); });
  Profile& profile = profileOf(lane, {arguments.begin(), firstLink});

  const auto report = std::make_shared<Report>(Report{.completion = std::move(completion)});
  const auto add = [&](std::size_t bytes) -> Batch& {
    Batch& batch = batchFor(profile, bytes, configuration.createsNewApplicationInstance);
    if (batch.reports.empty() || batch.reports.back() != report) {
      batch.reports.push_back(report);
      ++report->parts;
    }
    return batch;
  };
  if (firstLink == arguments.end()) add(0);
  for (auto link = firstLink; link != arguments.end(); ++link) add(bytesOf(*link)).links.push_back(*link);
  step();
}

LaunchQueue::Lane& LaunchQueue::laneOf(const BrowserInstallation& browser) {
  const auto found = std::ranges::find(lanes_, browser.userDataDirectory,
                                       [](const Lane& lane) { return lane.browser.userDataDirectory; });
  if (found != lanes_.end()) return *found;
  return lanes_.emplace_back(Lane{.browser = browser, .locks = LaunchLocks(browser.userDataDirectory)});
}

LaunchQueue::Profile& LaunchQueue::profileOf(Lane& lane, std::vector<std::string> options) {
  const auto found = std::ranges::find(lane.profiles, options, &Profile::options);
  if (found != lane.profiles.end()) return *found;
  return lane.profiles.emplace_back(Profile{.options = std::move(options)});
}

/// The last one that waits, when so much more of links fits into it, else a new one. One without links is for a window
/// of its own; zero bytes are no link.
LaunchQueue::Batch& LaunchQueue::batchFor(Profile& profile, std::size_t bytes, bool createsNewInstance) {
  Batch* last = profile.waiting.empty() ? nullptr : &profile.waiting.back();
  const bool fits = last != nullptr && bytes > 0 && !last->links.empty() &&
                    last->createsNewInstance == createsNewInstance && last->bytes + bytes <= maximumBytes;
  if (!fits) {
    last = &profile.waiting.emplace_back();
    last->createsNewInstance = createsNewInstance;
    for (const std::string& option : profile.options) last->bytes += bytesOf(option);
  }
  last->bytes += bytes;
  return *last;
}

void LaunchQueue::step() {
  retryDelay_ = std::clamp(retryDelay_ * 2, std::chrono::milliseconds(shortestRetryDelay),
                           std::chrono::milliseconds(longestRetryDelay));
  for (Lane& lane : lanes_) step(lane, false);
  lanes_.remove_if([](const Lane& lane) { return lane.profiles.empty(); });
  retry_ = lanes_.empty() ? Timer() : mainQueue_.after(retryDelay_, [this] { step(); });
}

void LaunchQueue::step(Lane& lane, bool isLast) {
  std::erase_if(lane.underWay, [&](const UnderWay& launched) {
    if (!isDone(lane, launched)) return false;
    launched.profile->isUnderWay = false;
    lane.waitsSince = clock_.now();
    return true;
  });
  while (launchNext(lane, isLast)) {
  }
  lane.profiles.remove_if([](const Profile& profile) { return profile.waiting.empty() && !profile.isUnderWay; });
}

bool LaunchQueue::isDone(const Lane& lane, const UnderWay& launched) {
  if (programs_.hasEnded(launched.process)) return true;
  if (launched.isStart && programs_.stateOf(lane.browser) == BrowserState::accepting) return true;
  if (clock_.now() < launched.end) return false;
  programs_.notice(lane.browser.entry.name + (launched.isStart ? " was started, but does not take links yet"
                                                               : " does not take the links that it was handed"));
  return true;
}

bool LaunchQueue::launchNext(Lane& lane, bool isLast) {
  const auto profile = std::ranges::find_if(lane.profiles, [&](const Profile& candidate) {
    return !candidate.waiting.empty() && (isLast || !candidate.isUnderWay);
  });
  if (profile == lane.profiles.end()) return false;
  const Batch& next = profile->waiting.front();
  const BrowserState state = programs_.stateOf(lane.browser);
  const bool isRunning = state != BrowserState::absent;
  if (isRunning && !next.createsNewInstance) {
    report(next, std::nullopt);
    profile->waiting.pop_front();
    return true;
  }
  if (isRunning && next.bytes > maximumBytes) {
    report(next, OpenError{"a browser that runs cannot be handed so long a link: " + shortened(next.links.front())});
    profile->waiting.pop_front();
    return true;
  }

  std::optional<UniqueFD> lock = permission(lane, state);
  if (!lock) {
    if (!isLast && clock_.now() - lane.waitsSince < patience) return false;
    programs_.notice("what keeps " + lane.browser.entry.name +
                     " from being launched does not end; launching it anyway");
    lock.emplace();
  }
  launch(lane, *profile, !isRunning, std::move(*lock));
  lane.profiles.splice(lane.profiles.end(), lane.profiles, profile);  // the others have their turns first
  return true;
}

/// Nothing as long as others have to be waited for.
std::optional<UniqueFD> LaunchQueue::permission(const Lane& lane, BrowserState state) {
  const auto isStart = [](const UnderWay& launched) { return launched.isStart; };
  // Those of this program count also where there are no locks.
  if (std::ranges::any_of(lane.underWay, isStart) || lane.underWay.size() >= LaunchLocks::forwarders) {
    return std::nullopt;
  }
  switch (state) {
    case BrowserState::accepting:
      return lane.locks.tryForward();
    case BrowserState::busy:
      return std::nullopt;
    case BrowserState::absent:
      break;
  }
  auto lock = lane.locks.tryStart();
  // Whoever held it last may have started the browser meanwhile.
  return lock && programs_.stateOf(lane.browser) == BrowserState::absent ? std::move(lock) : std::nullopt;
}

void LaunchQueue::launch(Lane& lane, Profile& profile, bool isStart, UniqueFD lock) {
  Batch batch = std::move(profile.waiting.front());
  profile.waiting.pop_front();
  std::vector<std::string> arguments = profile.options;
  std::ranges::move(batch.links, std::back_inserter(arguments));
  const pid_t process = programs_.start(lane.browser, arguments,
                                        [reports = std::move(batch.reports)](const std::optional<OpenError>& error) {
                                          for (const auto& report : reports) report->partEnded(error);
                                        });
  lane.waitsSince = clock_.now();
  retryDelay_ = shortestRetryDelay;
  if (process <= 0) return;
  profile.isUnderWay = true;
  lane.underWay.push_back({&profile, process, isStart, clock_.now() + patience, std::move(lock)});
}

void LaunchQueue::finish() {
  retry_ = {};
  const auto end = clock_.now() + lastPatience;
  for (Lane& lane : lanes_) {
    for (step(lane, false); isWaiting(lane); step(lane, clock_.now() >= end)) programs_.pause(shortestRetryDelay);
  }
}

bool LaunchQueue::isWaiting(const Lane& lane) {
  return std::ranges::any_of(lane.profiles, [](const Profile& profile) { return !profile.waiting.empty(); });
}

void LaunchQueue::report(const Batch& batch, const std::optional<OpenError>& error) {
  mainQueue_.post([reports = batch.reports, error] {
    for (const auto& report : reports) report->partEnded(error);
  });
}

}  // namespace corvana
