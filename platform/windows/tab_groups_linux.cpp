#include "platform/windows/tab_groups_linux.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "platform/files/files.h"
#include "platform/windows/locale_pak.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

// Chromium's names of the buttons in a group's menu. View_7 would delete the group.
constexpr const char* closeButton = "view_6";
constexpr const char* moveButton = "view_9";

constexpr int firstAction = 0;      // opens, or presses
constexpr int showContextMenu = 1;  // of a group's header
constexpr std::chrono::milliseconds menuPause{20};
constexpr std::size_t largestLocaleFile = 16 * 1024 * 1024;

/// The texts of the language in which the process runs: it keeps their file mapped.
std::optional<TabGroupTexts> textsOf(pid_t process) {
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/locales/") == std::string::npos || !line.ends_with(".pak")) continue;
    const fs::path file = line.substr(line.find('/'));
    try {
      const std::string english = files::read(file.parent_path() / "en-US.pak", largestLocaleFile);
      const std::string local = files::read(file, largestLocaleFile);
      const auto englishTexts = LocalePak::read(english);
      const auto localTexts = LocalePak::read(local);
      return englishTexts && localTexts ? TabGroupTexts::from(*englishTexts, *localTexts) : std::nullopt;
    } catch (const std::exception&) {
      return std::nullopt;  // replaced by an update while Chrome runs
    }
  }
  return std::nullopt;
}

}  // namespace

/// What a window shows of groups.
struct TabGroups::View {
  Node frame;
  std::vector<std::pair<Node, TabGroupTexts::Saved>> saved;
  /// Headers of groups and tabs.
  Views headers;
  Views tabs;

  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& [node, group] : saved) result.push_back(group.name);
    return result;
  }
};

TabGroups::TabGroups(EventLoop& loop, WindowReader& reader, ChromeAccessibility& chrome, Task changed)
    : loop_(loop), reader_(reader), chrome_(chrome), changed_(std::move(changed)) {}

void TabGroups::setProcess(std::optional<pid_t> process) {
  if (process != process_) texts_.reset();
  process_ = process;
  buttons_.clear();
  if (watches_) setWatches(true);
}

/// Chrome tells of changes of names only while somebody has asked for that.
void TabGroups::setWatches(bool watches) {
  if (!watches) buttons_.clear();
  if ((watches || watches_) && chrome_.isPresent()) chrome_.setTellsNames(watches);
  watches_ = watches;
}

const TabGroupTexts& TabGroups::texts() {
  if (!texts_) texts_ = process_ ? textsOf(*process_).value_or(TabGroupTexts()) : TabGroupTexts();
  return *texts_;
}

void TabGroups::readNames(const std::vector<Node>& nodes, ChromeAccessibility::Answer<Views> answer) {
  ChromeAccessibility::forEach<std::string, Node>(
      nodes, [this](const Node& node, const auto& one) { chrome_.name(node, one); },
      [nodes, answer = std::move(answer)](const std::vector<std::optional<std::string>>& names) {
        Views result;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
          if (names[i]) result.emplace_back(nodes[i], *names[i]);
        }
        answer(std::move(result));
      });
}

void TabGroups::readSaved(const Node& browserView, ChromeAccessibility::Answer<Views> answer) {
  const auto onButtons = [this, answer](const std::optional<std::vector<Node>>& buttons) {
    if (!buttons) return answer(std::nullopt);
    readNames(*buttons, answer);
  };
  const auto onBar = [this, answer, onButtons](const std::optional<Node>& bar) {
    if (!bar) return answer(std::nullopt);
    chrome_.childrenOfClass(*bar, "SavedTabGroupButton", lifetime_.guard(onButtons));
  };
  chrome_.descend(browserView, {"TopContainerView", "BookmarkBarView", "SavedTabGroupBar"}, lifetime_.guard(onBar));
}

void TabGroups::readStrip(const Node& browserView, View view, ChromeAccessibility::Answer<View> answer) {
  const auto onTabs = [this, answer](View whole, const Node& strip) {
    chrome_.childrenOfClass(strip, "Tab", lifetime_.guard([this, whole, answer](const auto& tabs) {
      if (!tabs) return answer(std::nullopt);
      readNames(*tabs, [whole, answer](std::optional<Views> names) mutable {
        whole.tabs = std::move(*names);
        answer(std::move(whole));
      });
    }));
  };
  const auto onStrip = [this, answer, onTabs, view = std::move(view)](const std::optional<Node>& strip) {
    if (!strip) return answer(view);  // a window without tabs
    chrome_.childrenOfClass(*strip, "TabGroupHeader",
                            lifetime_.guard([this, view, answer, onTabs, strip = *strip](const auto& headers) {
                              if (!headers) return answer(std::nullopt);
                              readNames(*headers, [view, onTabs, strip](std::optional<Views> names) mutable {
                                view.headers = std::move(*names);
                                onTabs(std::move(view), strip);
                              });
                            }));
  };
  chrome_.descend(browserView, {"HorizontalTabStripRegionViewOld", "TabStrip", "TabContainerImpl"},
                  lifetime_.guard(onStrip));
}

void TabGroups::readView(Window window, ChromeAccessibility::Answer<View> answer) {
  const auto onBrowserView = [this, answer](const Node& frame, const Node& browserView) {
    readSaved(browserView, lifetime_.guard([this, frame, browserView, answer](const std::optional<Views>& buttons) {
      if (!buttons) return answer(std::nullopt);
      View view{.frame = frame, .saved = {}, .headers = {}, .tabs = {}};
      for (const auto& [node, text] : *buttons) {
        if (auto saved = texts().saved(text)) view.saved.emplace_back(node, std::move(*saved));
      }
      readStrip(browserView, std::move(view), answer);
    }));
  };
  const auto onFrame = [this, answer, onBrowserView](const std::optional<Node>& frame) {
    if (!frame) return answer(std::nullopt);
    chrome_.descend(*frame, {"NonClientView", "BrowserFrameViewLinux", "BrowserView"},
                    lifetime_.guard([frame = *frame, answer, onBrowserView](const std::optional<Node>& browserView) {
                      if (!browserView) return answer(std::nullopt);
                      onBrowserView(frame, *browserView);
                    }));
  };
  reader_.frame(window, lifetime_.guard(onFrame));
}

void TabGroups::watch(Window window, const View& view) {
  std::map<Node, Watch> watched;
  for (const auto& [node, group] : view.saved) {
    auto known = buttons_[window].extract(node);
    watched[node] = known ? std::move(known.mapped()) : chrome_.watchName(node, changed_);
  }
  buttons_[window] = std::move(watched);
}

void TabGroups::read(Window window, GroupsCompletion completion) {
  readView(window, lifetime_.guard([this, window, completion = std::move(completion)](std::optional<View> view) {
    if (!view) return completion(std::nullopt);
    if (watches_) watch(window, *view);
    std::set<std::string> here;
    for (const auto& [node, header] : view->headers) {
      if (auto name = texts().nameIn(header, view->names())) here.insert(std::move(*name));
    }
    std::vector<BrowserTabGroup> result;
    for (const auto& [node, group] : view->saved) {
      const auto isOfGroup = [&, name = group.name](const auto& tab) { return texts().belongsTo(tab.second, name); };
      const bool isHere = here.contains(group.name);
      const bool isAlone = isHere && view->headers.size() == 1 && std::ranges::all_of(view->tabs, isOfGroup);
      result.push_back(
          {.name = group.name, .isSaved = true, .isOpen = group.isOpen, .isHere = isHere, .isAlone = isAlone});
    }
    completion(std::move(result));
  }));
}

void TabGroups::open(Window window, const std::string& name, Completion completion) {
  readView(window, lifetime_.guard([this, name, completion = std::move(completion)](const std::optional<View>& view) {
    if (!view) return completion(false);
    const auto group = std::ranges::find(view->saved, name, [](const auto& each) { return each.second.name; });
    if (group == view->saved.end()) return completion(false);
    chrome_.act(group->first, firstAction, [completion](std::optional<bool> isDone) { completion(isDone == true); });
  }));
}

void TabGroups::close(Window window, const std::string& name, Completion completion) {
  pressInMenu(window, name, closeButton, std::move(completion));
}

void TabGroups::moveToOwnWindow(Window window, const std::string& name, Completion completion) {
  pressInMenu(window, name, moveButton, std::move(completion));
}

void TabGroups::pressInMenu(Window window, const std::string& name, std::string button, Completion completion) {
  const auto onView = [this, name, button = std::move(button),
                       completion = std::move(completion)](const std::optional<View>& view) {
    if (!view) return completion(false);
    const auto isIts = [&](const auto& header) { return texts().nameIn(header.second, view->names()) == name; };
    const auto header = std::ranges::find_if(view->headers, isIts);
    if (header == view->headers.end()) return completion(false);
    const auto onMenu = [this, frame = view->frame, name, button, completion](std::optional<bool> isShown) {
      if (isShown != true) return completion(false);
      awaitMenu(frame, name, button, loop_.now() + AccessibilityBus::answerLimit, completion);
    };
    chrome_.act(header->first, showContextMenu, lifetime_.guard(onMenu));
  };
  readView(window, lifetime_.guard(onView));
}

/// The menu is a bubble over the window. Its first field holds the group's name: no other group's menu is touched.
void TabGroups::awaitMenu(const Node& frame, const std::string& name, const std::string& button,
                          std::chrono::steady_clock::time_point deadline, Completion completion) {
  const auto again = lifetime_.guard([this, frame, name, button, deadline, completion] {
    if (loop_.now() >= deadline) return completion(false);
    const std::uint64_t number = nextWait_++;
    waits_[number] = loop_.after(menuPause, [this, number, frame, name, button, deadline, completion] {
      const auto kept = waits_.extract(number);
      awaitMenu(frame, name, button, deadline, completion);
    });
  });
  const auto onMenu = [this, name, button, completion, again](const std::optional<Node>& menu) {
    if (!menu) return again();
    const auto onName = [this, menu = *menu, name, button, completion, again](const std::optional<std::string>& text) {
      if (text != name) return again();
      press(menu, button, completion);
    };
    const auto onField = [this, again, onName](const std::optional<Node>& field) {
      if (!field) return again();
      chrome_.text(*field, lifetime_.guard(onName));
    };
    chrome_.descend(*menu, {"TabGroupEditorBubbleView::TitleField"}, lifetime_.guard(onField));
  };
  const auto onBubbles = [this, again, onMenu](const std::optional<std::vector<Node>>& bubbles) {
    if (!bubbles || bubbles->empty()) return again();
    ChromeAccessibility::forEach<Node, Node>(
        *bubbles,
        [this](const Node& bubble, const auto& one) {
          chrome_.descend(bubble, {"NonClientView", "BubbleFrameView", "DialogClientView", "TabGroupEditorBubbleView"},
                          one);
        },
        [onMenu](const std::vector<std::optional<Node>>& menus) {
          const auto menu = std::ranges::find_if(menus, [](const auto& each) { return each.has_value(); });
          onMenu(menu == menus.end() ? std::nullopt : *menu);
        });
  };
  chrome_.childrenOfClass(frame, "RootView", lifetime_.guard(onBubbles));
}

void TabGroups::press(const Node& menu, const std::string& button, Completion completion) {
  const auto onButtons = [this, button, completion](const std::optional<std::vector<Node>>& buttons) {
    if (!buttons) return completion(false);
    const auto onIDs = [this, buttons = *buttons, button, completion](const auto& ids) {
      const auto found = std::ranges::find(ids, std::optional(button));
      if (found == ids.end()) return completion(false);
      chrome_.act(buttons[static_cast<std::size_t>(found - ids.begin())], firstAction,
                  [completion](std::optional<bool> isDone) { completion(isDone == true); });
    };
    ChromeAccessibility::forEach<std::string, Node>(
        *buttons, [this](const Node& node, const auto& one) { chrome_.viewID(node, one); }, lifetime_.guard(onIDs));
  };
  chrome_.childrenOfClass(menu, "BubbleMenuItemButton", lifetime_.guard(onButtons));
}

}  // namespace corvana
