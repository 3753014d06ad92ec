#pragma once

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "platform/desktop/application_handlers.h"

namespace corvana::fakes {

/// A system's registry of handlers in memory.
class FakeApplicationHandlers final : public ApplicationHandlers {
 public:
  // The world, for tests to set up.
  std::map<std::filesystem::path, ApplicationInfo> infos;
  std::map<Handled, std::vector<std::filesystem::path>> handlers;
  std::map<Handled, std::filesystem::path> defaults;
  /// What every request fails with, if anything.
  std::optional<std::string> error;

  /// Adds an application that opens web links.
  void addBrowser(const std::string& path, const std::string& bundleID, const std::string& name) {
    infos[path] = {.bundleIdentifier = bundleID, .name = name};
    handlers[{Handled::Kind::scheme, "https"}].push_back(path);
  }

  /// The system answers what was requested so far, and what is requested thereupon.
  void deliverAnswers() {
    while (!answers_.empty()) {
      for (const auto& answer : std::exchange(answers_, {})) answer();
    }
  }

  std::vector<std::filesystem::path> applications(const Handled& handled) override {
    std::vector<std::filesystem::path> result = handlers[handled];
    if (const auto preferred = defaultApplication(handled)) {
      std::erase(result, *preferred);
      result.insert(result.begin(), *preferred);
    }
    return result;
  }
  std::optional<std::filesystem::path> defaultApplication(const Handled& handled) override {
    if (const auto found = defaults.find(handled); found != defaults.end()) return found->second;
    const auto& all = handlers[handled];
    return all.empty() ? std::nullopt : std::optional(all.front());
  }
  void setDefaultApplication(const std::filesystem::path& application, const Handled& handled,
                             Completion completion) override {
    std::optional<std::string> problem = error;
    if (!problem && !infos.contains(application)) problem = application.string() + ": no such application";
    if (!problem) defaults[handled] = application;
    answers_.push_back([completion = std::move(completion), problem] { completion(problem); });
  }
  std::optional<ApplicationInfo> info(const std::filesystem::path& application) override {
    const auto found = infos.find(application);
    return found == infos.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::vector<std::function<void()>> answers_;
};

}  // namespace corvana::fakes
