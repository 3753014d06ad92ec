#include "platform/windows/accessibility_bus_linux.h"

#include <utility>

namespace corvana {
namespace {

constexpr std::uint64_t limit = std::chrono::microseconds(AccessibilityBus::answerLimit).count();

}  // namespace

/// What has been asked and not been answered. Destroying it ends the waiting.
struct AccessibilityBus::Question {
  AccessibilityBus& owner;
  Answer answer;
  std::list<std::unique_ptr<Question>>::iterator place;
  BusSlot slot;

  static int onAnswer(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    Question& question = *static_cast<Question*>(userData);
    question.owner.finish(question, message);
    return 0;
  }
  static int onAddress(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    static_cast<Question*>(userData)->owner.connect(message);
    return 0;
  }
};

struct AccessibilityBus::Signal final : Watch::Source {
  explicit Signal(Answer listener) : heard(std::make_shared<Answer>(std::move(listener))) {}

  std::shared_ptr<Answer> heard;
  BusSlot slot;

  static int onSignal(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    // Held here, because it may destroy its own watch.
    const auto heard = static_cast<Signal*>(userData)->heard;
    (*heard)(message);
    return 0;
  }
  // Without a handler of its own, a match that is refused would close the connection.
  static int onInstalled(sd_bus_message*, void*, sd_bus_error*) noexcept { return 0; }
};

AccessibilityBus::AccessibilityBus(EventLoop& loop, sd_bus* sessionBus) : loop_(loop), sessionBus_(sessionBus) {}

AccessibilityBus::~AccessibilityBus() {
  questions_.clear();
  disconnection_ = {};
  ::sd_bus_close_unref(bus_);
}

void AccessibilityBus::open(std::function<void(bool)> opened, Task lost) {
  close();
  opened_ = std::move(opened);
  lost_ = std::move(lost);
  addressQuestion_ = std::make_unique<Question>(Question{*this, {}, {}, {}});
  sd_bus_message* raw = nullptr;
  sd_bus_slot* slot = nullptr;
  const bool isMade =
      sessionBus_ != nullptr && ::sd_bus_message_new_method_call(sessionBus_, &raw, "org.a11y.Bus", "/org/a11y/bus",
                                                                 "org.a11y.Bus", "GetAddress") >= 0;
  const BusMessage message(raw);
  if (isMade && ::sd_bus_call_async(sessionBus_, &slot, raw, Question::onAddress, addressQuestion_.get(), limit) >= 0) {
    addressQuestion_->slot.reset(slot);
  } else {
    loop_.post(lifetime_.guard([opened = std::exchange(opened_, {})] { opened(false); }));
  }
}

void AccessibilityBus::connect(sd_bus_message* address) {
  const auto question = std::move(addressQuestion_);  // until the end of its callback
  const char* text = nullptr;
  const bool isAddress =
      ::sd_bus_message_is_method_error(address, nullptr) == 0 && ::sd_bus_message_read(address, "s", &text) > 0;
  const bool isStarted = isAddress && ::sd_bus_new(&bus_) >= 0 && ::sd_bus_set_address(bus_, text) >= 0 &&
                         ::sd_bus_set_bus_client(bus_, 1) >= 0 && ::sd_bus_start(bus_) >= 0 &&
                         ::sd_bus_attach_event(bus_, loop_.event(), SD_EVENT_PRIORITY_NORMAL) >= 0;
  const auto opened = std::exchange(opened_, {});
  if (!isStarted) {
    bus_ = ::sd_bus_close_unref(bus_);
    return opened(false);
  }
  disconnection_ = watch(
      "type='signal',sender='org.freedesktop.DBus.Local',interface='org.freedesktop.DBus.Local',member='Disconnected'",
      // Later, since the connection cannot be given up while it calls.
      [this, connection = connection_](sd_bus_message*) {
        loop_.post(lifetime_.guard([this, connection] {
          if (connection != connection_) return;
          close();
          lost_();
        }));
      });
  opened(true);
}

void AccessibilityBus::close() {
  ++connection_;
  addressQuestion_.reset();
  opened_ = {};
  disconnection_ = {};
  for (auto& question : std::exchange(questions_, {})) fail(std::move(question->answer));
  bus_ = ::sd_bus_close_unref(bus_);
}

void AccessibilityBus::fail(Answer answer) {
  loop_.post(lifetime_.guard([answer = std::move(answer)] { answer(nullptr); }));
}

void AccessibilityBus::call(const std::string& service, const std::string& path, const char* interface,
                            const char* method, Answer answer, const std::function<void(sd_bus_message*)>& append) {
  sd_bus_message* raw = nullptr;
  if (bus_ == nullptr ||
      ::sd_bus_message_new_method_call(bus_, &raw, service.c_str(), path.c_str(), interface, method) < 0) {
    return fail(std::move(answer));
  }
  const BusMessage message(raw);
  (void)::sd_bus_message_set_auto_start(raw, 0);
  if (append) append(raw);
  auto question = std::make_unique<Question>(Question{*this, std::move(answer), {}, {}});
  sd_bus_slot* slot = nullptr;
  if (::sd_bus_call_async(bus_, &slot, raw, Question::onAnswer, question.get(), limit) < 0) {
    return fail(std::move(question->answer));
  }
  question->slot.reset(slot);
  Question& kept = *question;
  kept.place = questions_.insert(questions_.end(), std::move(question));
}

void AccessibilityBus::finish(Question& question, sd_bus_message* message) {
  const auto kept = std::move(*question.place);  // until the end of its callback
  questions_.erase(kept->place);
  kept->answer(::sd_bus_message_is_method_error(message, nullptr) > 0 ? nullptr : message);
}

Watch AccessibilityBus::watch(const std::string& rule, Answer heard) {
  auto signal = std::make_unique<Signal>(std::move(heard));
  sd_bus_slot* slot = nullptr;
  if (bus_ == nullptr ||
      ::sd_bus_add_match_async(bus_, &slot, rule.c_str(), Signal::onSignal, Signal::onInstalled, signal.get()) < 0) {
    return {};
  }
  signal->slot.reset(slot);
  return Watch(std::move(signal));
}

}  // namespace corvana
