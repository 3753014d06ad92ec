#include "platform/windows/chrome_accessibility_linux.h"

#include <algorithm>
#include <set>
#include <utility>

namespace corvana {
namespace {

constexpr const char* registry = "org.a11y.atspi.Registry";
constexpr const char* accessible = "org.a11y.atspi.Accessible";
constexpr const char* properties = "org.freedesktop.DBus.Properties";

/// Visits a list of nodes, each with the name of its application on the bus. False when there is none.
template <class Visit>
bool forEachNode(sd_bus_message* message, Visit visit) {
  if (message == nullptr || ::sd_bus_message_enter_container(message, 'a', "(so)") < 0) return false;
  const char* service = nullptr;
  const char* path = nullptr;
  while (::sd_bus_message_read(message, "(so)", &service, &path) > 0) visit(service, path);
  return true;
}

std::optional<std::string> attributeIn(sd_bus_message* message, std::string_view name) {
  if (message == nullptr || ::sd_bus_message_enter_container(message, 'a', "{ss}") < 0) return std::nullopt;
  const char* key = nullptr;
  const char* value = nullptr;
  while (::sd_bus_message_read(message, "{ss}", &key, &value) > 0) {
    if (key == name) return value;
  }
  return std::string();
}

}  // namespace

ChromeAccessibility::ChromeAccessibility(EventLoop& loop, sd_bus* sessionBus, Task changed)
    : loop_(loop), changed_(std::move(changed)), bus_(loop, sessionBus) {}

const ChromeAccessibility::Node& ChromeAccessibility::root() {
  static const Node path = "/org/a11y/atspi/accessible/root";
  return path;
}

void ChromeAccessibility::setProcess(std::optional<pid_t> process) {
  process_ = process;
  application_.clear();
  isAbsent_ = false;
  appearance_ = {};
  patience_ = {};
  bus_.close();
  changed_();
  if (!process) return;
  patience_ = loop_.after(appearanceLimit, [this] { giveUp(); });
  bus_.open(
      [this](bool isOpen) {
        if (!isOpen) return;
        // Chrome may come to the bus only now; the registry tells that.
        appearance_ = bus_.watch(
            "type='signal',interface='org.a11y.atspi.Event.Object',member='ChildrenChanged',path='" + root() + "'",
            [this](sd_bus_message*) {
              if (!isPresent()) find();
            });
        find();
      },
      // A Chrome that has lost the bus never comes back to it.
      [this] {
        application_.clear();
        giveUp();
      });
}

void ChromeAccessibility::giveUp() {
  patience_ = {};
  isAbsent_ = !isPresent();
  changed_();
}

void ChromeAccessibility::find() {
  bus_.call(registry, root(), accessible, "GetChildren", lifetime_.guard([this](sd_bus_message* message) {
    std::set<std::string> services;
    (void)forEachNode(message, [&](const char* service, const char*) { services.insert(service); });
    for (const std::string& service : services) {
      bus_.call(
          "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
          [this, service](sd_bus_message* answer) {
            std::uint32_t process = 0;
            if (answer == nullptr || ::sd_bus_message_read(answer, "u", &process) <= 0) return;
            if (process_ && static_cast<pid_t>(process) == *process_) become(service);
          },
          [&](sd_bus_message* call) { (void)::sd_bus_message_append(call, "s", service.c_str()); });
    }
  }));
}

void ChromeAccessibility::become(const std::string& service) {
  if (isPresent()) return;
  application_ = service;
  isAbsent_ = false;
  patience_ = {};
  // Later, since the connection is calling just now: other applications' comings matter no more.
  loop_.post(lifetime_.guard([this] {
    if (isPresent()) appearance_ = {};
  }));
  changed_();
}

void ChromeAccessibility::call(const Node& node, const char* interface, const char* method,
                               AccessibilityBus::Answer answer, const std::function<void(sd_bus_message*)>& append) {
  bus_.call(application_, node, interface, method, std::move(answer), append);
}

void ChromeAccessibility::children(const Node& node, Answer<std::vector<Node>> answer) {
  call(node, accessible, "GetChildren", [answer = std::move(answer)](sd_bus_message* message) {
    std::vector<Node> result;
    const bool isList = forEachNode(message, [&](const char*, const char* path) { result.emplace_back(path); });
    answer(isList ? std::optional(std::move(result)) : std::nullopt);
  });
}

void ChromeAccessibility::name(const Node& node, Answer<std::string> answer) {
  call(
      node, properties, "Get",
      [answer = std::move(answer)](sd_bus_message* message) {
        const char* text = nullptr;
        if (message == nullptr || ::sd_bus_message_read(message, "v", "s", &text) <= 0) return answer(std::nullopt);
        answer(std::string(text));
      },
      [](sd_bus_message* message) { (void)::sd_bus_message_append(message, "ss", accessible, "Name"); });
}

void ChromeAccessibility::attribute(const Node& node, std::string name, Answer<std::string> answer) {
  call(node, accessible, "GetAttributes",
       [name = std::move(name), answer = std::move(answer)](sd_bus_message* message) {
         answer(attributeIn(message, name));
       });
}

void ChromeAccessibility::className(const Node& node, Answer<std::string> answer) {
  attribute(node, "class", std::move(answer));
}

void ChromeAccessibility::viewID(const Node& node, Answer<std::string> answer) {
  attribute(node, "id", std::move(answer));
}

void ChromeAccessibility::text(const Node& node, Answer<std::string> answer) {
  call(
      node, "org.a11y.atspi.Text", "GetText",
      [answer = std::move(answer)](sd_bus_message* message) {
        const char* text = nullptr;
        if (message == nullptr || ::sd_bus_message_read(message, "s", &text) <= 0) return answer(std::nullopt);
        answer(std::string(text));
      },
      [](sd_bus_message* message) {
        constexpr std::int32_t toTheEnd = -1;
        (void)::sd_bus_message_append(message, "ii", 0, toTheEnd);
      });
}

void ChromeAccessibility::extents(const Node& node, Answer<WindowPairing::Extents> answer) {
  call(
      node, "org.a11y.atspi.Component", "GetExtents",
      [answer = std::move(answer)](sd_bus_message* message) {
        WindowPairing::Extents extents;
        if (message == nullptr ||
            ::sd_bus_message_read(message, "(iiii)", &extents.x, &extents.y, &extents.width, &extents.height) <= 0) {
          return answer(std::nullopt);
        }
        answer(extents);
      },
      [](sd_bus_message* message) {
        constexpr std::uint32_t ofTheScreen = 0;  // ATSPI_COORD_TYPE_SCREEN
        (void)::sd_bus_message_append(message, "u", ofTheScreen);
      });
}

void ChromeAccessibility::childrenOfClass(const Node& node, std::string_view wanted, Answer<std::vector<Node>> answer) {
  children(node, lifetime_.guard([this, wanted = std::string(wanted),
                                  answer = std::move(answer)](std::optional<std::vector<Node>> nodes) {
    if (!nodes) return answer(std::nullopt);
    forEach<std::string, Node>(
        *nodes, [this](const Node& child, Answer<std::string> one) { className(child, std::move(one)); },
        [nodes = *nodes, wanted, answer](const std::vector<std::optional<std::string>>& names) {
          std::vector<Node> result;
          for (std::size_t i = 0; i < nodes.size(); ++i) {
            if (names[i] == wanted) result.push_back(nodes[i]);
          }
          answer(std::move(result));
        });
  }));
}

void ChromeAccessibility::descend(const Node& node, std::vector<std::string_view> classes, Answer<Node> answer) {
  if (classes.empty()) return answer(node);
  const std::string_view next = classes.front();
  classes.erase(classes.begin());
  childrenOfClass(node, next,
                  lifetime_.guard([this, classes = std::move(classes),
                                   answer = std::move(answer)](std::optional<std::vector<Node>> nodes) {
                    if (!nodes || nodes->empty()) return answer(std::nullopt);
                    descend(nodes->front(), classes, answer);
                  }));
}

void ChromeAccessibility::act(const Node& node, int action, Answer<bool> answer) {
  call(
      node, "org.a11y.atspi.Action", "DoAction",
      [answer = std::move(answer)](sd_bus_message* message) {
        int isDone = 0;
        if (message == nullptr || ::sd_bus_message_read(message, "b", &isDone) <= 0) return answer(std::nullopt);
        answer(isDone != 0);
      },
      [action](sd_bus_message* message) { (void)::sd_bus_message_append(message, "i", action); });
}

void ChromeAccessibility::setTellsNames(bool tells) {
  constexpr const char* event = "object:property-change:accessible-name";
  bus_.call(
      registry, "/org/a11y/atspi/registry", registry, tells ? "RegisterEvent" : "DeregisterEvent",
      [](sd_bus_message*) {},
      [this, tells](sd_bus_message* message) {
        (void)(tells ? ::sd_bus_message_append(message, "sass", event, 0, application_.c_str())
                     : ::sd_bus_message_append(message, "s", event));
      });
}

Watch ChromeAccessibility::watchName(const Node& node, Task changed) {
  return bus_.watch("type='signal',sender='" + application_ +
                        "',interface='org.a11y.atspi.Event.Object',member='PropertyChange',arg0='accessible-name',"
                        "path='" +
                        node + "'",
                    [changed = std::move(changed)](sd_bus_message*) { changed(); });
}

}  // namespace corvana
