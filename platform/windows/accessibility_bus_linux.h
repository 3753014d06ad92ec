#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "platform/loop/bus_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"

namespace corvana {

/// The bus on which applications talk to assistive technology (AT-SPI 2, freedesktop.org), which the session bus knows
/// the address of. libatspi would end the program with the bus. Nothing here waits: a stopped application answers
/// nothing, and is not waited for beyond the limit. Main thread.
class AccessibilityBus {
 public:
  /// How long anybody on the bus may take for an answer.
  static constexpr std::chrono::seconds answerLimit{2};

  /// What was answered; null when it was an error, or nothing in time.
  using Answer = std::function<void(sd_bus_message*)>;

  /// `sessionBus` may be null, and outlives this object.
  AccessibilityBus(EventLoop& loop, sd_bus* sessionBus);
  AccessibilityBus(const AccessibilityBus&) = delete;
  AccessibilityBus& operator=(const AccessibilityBus&) = delete;
  /// What has not been answered is not any more.
  ~AccessibilityBus();

  /// Connects, instead of as before; `opened` is told whether it has worked, `lost` when the bus ends after that.
  void open(std::function<void(bool)> opened, Task lost);

  /// What has not been answered gets null, soon.
  void close();

  bool isOpen() const { return bus_ != nullptr; }

  /// Calls a method, whose arguments `append` adds. `answer` is called once, never before this returns, and not any
  /// more once this object is gone.
  void call(const std::string& service, const std::string& path, const char* interface, const char* method,
            Answer answer, const std::function<void(sd_bus_message*)>& append = {});

  /// Calls `heard` for every signal that matches the rule ("D-Bus Specification", "Match Rules"), for as long as the
  /// watch lives.
  [[nodiscard]] Watch watch(const std::string& rule, Answer heard);

 private:
  struct Question;
  struct Signal;

  void connect(sd_bus_message* address);
  void finish(Question& question, sd_bus_message* message);
  void fail(Answer answer);

  EventLoop& loop_;
  sd_bus* sessionBus_;
  sd_bus* bus_ = nullptr;
  std::function<void(bool)> opened_;
  Task lost_;
  std::uint64_t connection_ = 0;  // which of those that were opened one after another
  Watch disconnection_;
  std::unique_ptr<Question> addressQuestion_;
  std::list<std::unique_ptr<Question>> questions_;
  Lifetime lifetime_;
};

}  // namespace corvana
