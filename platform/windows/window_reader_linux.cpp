#include "platform/windows/window_reader_linux.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace corvana {

WindowReader::WindowReader(EventLoop& loop, BrowserWindowListX11& list, ChromeAccessibility& chrome)
    : loop_(loop), list_(list), chrome_(chrome) {}

void WindowReader::forget() {
  pairs_.clear();
  isWindow_.clear();
  settledNodes_.clear();
}

void WindowReader::frame(Window window, ChromeAccessibility::Answer<Node> answer,
                         std::chrono::steady_clock::duration limit) {
  requests_.push_back({window, std::move(answer), loop_.now() + limit});
  pause_ = firstPause;
  // Later, so that what is asked in one turn shares one round; a round that has begun may have missed the window.
  if (!round_) nextRound_ = loop_.after(std::chrono::milliseconds(0), [this] { look(); });
}

void WindowReader::lookAgainLater() {
  if (round_ || requests_.empty()) return;
  nextRound_ = loop_.after(pause_, [this] { look(); });
  pause_ = std::min(2 * pause_, longestPause);
}

std::vector<WindowReader::Window> WindowReader::unpairedWindows() const {
  std::vector<Window> result;
  for (const BrowserWindow& window : list_.windows()) {
    if (!pairs_.contains(window.id)) result.push_back(window.id);
  }
  std::ranges::sort(result);  // the order of their numbers is that of their opening
  return result;
}

void WindowReader::look() {
  nextRound_ = {};
  round_.emplace();
  std::erase_if(pairs_, [this](const auto& pair) { return !list_.contains(pair.first); });
  round_->windows = unpairedWindows();
  round_->looks = list_.looks(round_->windows);
  chrome_.children(ChromeAccessibility::root(), lifetime_.guard([this](std::optional<std::vector<Node>> nodes) {
    // Most often Chrome does not show the new window yet.
    if (!nodes || *nodes == settledNodes_) return endRound();
    round_->nodes = std::move(*nodes);
    classify(round_->nodes);
  }));
}

/// Of the nodes that are new, finds those that are windows.
void WindowReader::classify(const std::vector<Node>& nodes) {
  const std::set<std::string_view> there(nodes.begin(), nodes.end());
  std::erase_if(isWindow_, [&](const auto& known) { return !there.contains(known.first); });
  std::erase_if(pairs_, [&](const auto& pair) { return !isWindow_.contains(pair.second); });
  std::vector<Node> fresh;
  std::ranges::copy_if(nodes, std::back_inserter(fresh), [&](const Node& node) { return !isWindow_.contains(node); });
  ChromeAccessibility::forEach<std::string, Node>(
      fresh, [this](const Node& node, ChromeAccessibility::Answer<std::string> one) { chrome_.className(node, one); },
      lifetime_.guard([this, fresh](const std::vector<std::optional<std::string>>& classes) {
        for (std::size_t i = 0; i < fresh.size(); ++i) {
          if (classes[i]) isWindow_[fresh[i]] = classes[i] == ChromeAccessibility::windowClass;
        }
        readFrames();
      }));
}

void WindowReader::readFrames() {
  std::set<std::string_view> paired;
  for (const auto& [window, frame] : pairs_) paired.insert(frame);
  for (const Node& node : round_->nodes) {
    const auto known = isWindow_.find(node);
    if (known != isWindow_.end() && known->second && !paired.contains(node)) round_->frames.push_back(node);
  }
  ChromeAccessibility::forEach<WindowPairing::Look, Node>(
      round_->frames,
      [this](const Node& node, const ChromeAccessibility::Answer<WindowPairing::Look>& one) {
        chrome_.name(node, lifetime_.guard([this, node, one](std::optional<std::string> name) {
          if (!name) return one(std::nullopt);
          chrome_.extents(node, [name, one](std::optional<WindowPairing::Extents> extents) {
            one(extents ? std::optional(WindowPairing::Look{*name, *extents}) : std::nullopt);
          });
        }));
      },
      lifetime_.guard([this](const std::vector<std::optional<WindowPairing::Look>>& looks) {
        for (const auto& look : looks) {
          if (!look) return endRound();  // it has gone meanwhile, and the order with it
          round_->frameLooks.push_back(*look);
        }
        confirm();
      }));
}

/// What was seen holds only if nothing came or went while it was looked at.
void WindowReader::confirm() {
  if (round_->frames.empty()) return endRound();
  chrome_.children(ChromeAccessibility::root(), lifetime_.guard([this](const std::optional<std::vector<Node>>& nodes) {
    if (nodes) takePairs(*nodes);
    endRound();
  }));
}

void WindowReader::takePairs(const std::vector<Node>& nodes) {
  const bool areAllClassified =
      std::ranges::all_of(nodes, [this](const Node& node) { return isWindow_.contains(node); });
  if (nodes != round_->nodes || !areAllClassified || unpairedWindows() != round_->windows) return;
  std::vector<WindowPairing::Look> windowLooks;
  for (const auto& look : round_->looks) {
    if (!look) return;
    windowLooks.push_back(*look);
  }
  if (list_.looks(round_->windows) != round_->looks) return;
  const auto pairs = WindowPairing::pair(round_->frameLooks, windowLooks);
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (pairs[i]) pairs_[round_->windows[*pairs[i]]] = round_->frames[i];
  }
  if (std::ranges::all_of(pairs, [](const auto& pair) { return pair.has_value(); })) settledNodes_ = nodes;
}

void WindowReader::endRound() {
  round_.reset();
  const auto now = loop_.now();
  std::list<Request> answered;
  for (auto request = requests_.begin(); request != requests_.end();) {
    const auto next = std::next(request);
    const bool isHopeless = !list_.contains(request->window) || !chrome_.isPresent() || now >= request->deadline;
    if (isHopeless || pairs_.contains(request->window)) answered.splice(answered.end(), requests_, request);
    request = next;
  }
  lookAgainLater();
  for (const Request& request : answered) {
    const auto pair = pairs_.find(request.window);
    const bool isThere = pair != pairs_.end() && chrome_.isPresent();
    request.answer(isThere ? std::optional(pair->second) : std::nullopt);
  }
}

void WindowReader::read(Window window, BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion) {
  const auto deadline = loop_.now() + patience;
  frame(window,
        lifetime_.guard([this, window, deadline, completion = std::move(completion)](std::optional<Node> frame) {
          if (!frame) return completion(std::nullopt);
          readPaired(window, *frame, deadline, completion);
        }));
}

void WindowReader::readPaired(Window window, const Node& frame, std::chrono::steady_clock::time_point deadline,
                              BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion) {
  const auto before = list_.looks({window}).front();
  chrome_.name(frame, lifetime_.guard([this, window, frame, deadline, before,
                                       completion = std::move(completion)](std::optional<std::string> name) {
    const auto after = list_.looks({window}).front();
    const auto pair = pairs_.find(window);
    const bool isStillPaired = pair != pairs_.end() && pair->second == frame && list_.contains(window);
    if (!name || !before || !after || !isStillPaired) return completion(std::nullopt);
    if (before->text == after->text && WindowPairing::isShownAs(after->text, *name)) {
      return readButton(frame, BrowserWindowReading{*name, after->text, std::nullopt}, completion);
    }
    // The page has just changed, and one of the two lags behind.
    requests_.push_back({window, lifetime_.guard([this, window, deadline, completion](std::optional<Node> found) {
                           if (!found) return completion(std::nullopt);
                           readPaired(window, *found, deadline, completion);
                         }),
                         deadline});
    lookAgainLater();
  }));
}

/// The button takes some 50 calls to find, so that it is looked for only when the name says nothing.
void WindowReader::readButton(const Node& frame, BrowserWindowReading reading,
                              BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion) {
  if (reading.name != reading.title) return completion(std::move(reading));
  chrome_.descend(frame,
                  {"NonClientView", "BrowserFrameViewLinux", "BrowserView", "TopContainerView", "ToolbarView",
                   "AvatarToolbarButton"},
                  lifetime_.guard([this, reading = std::move(reading),
                                   completion = std::move(completion)](std::optional<Node> button) {
                    if (!button) return completion(reading);
                    chrome_.name(*button, [reading, completion](std::optional<std::string> name) {
                      completion(BrowserWindowReading{reading.name, reading.title, std::move(name)});
                    });
                  }));
}

}  // namespace corvana
