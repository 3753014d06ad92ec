#pragma once

#include <memory>
#include <utility>

namespace corvana {

/// Makes callbacks that do nothing once their owner is gone: a member of the owner, declared last so that it goes
/// first. Owner and guarded callbacks belong to one thread.
class Lifetime {
 public:
  Lifetime() = default;
  Lifetime(const Lifetime&) = delete;
  Lifetime& operator=(const Lifetime&) = delete;

  /// A weak reference that expires with the owner.
  std::weak_ptr<const void> reference() const { return anchor_; }

  /// `callback`, to be called only while the owner lives.
  template <class Callback>
  auto guard(Callback callback) const {
    return [reference = reference(), callback = std::move(callback)](auto&&... arguments) {
      if (!reference.expired()) callback(std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  std::shared_ptr<const void> anchor_ = std::make_shared<char>();
};

}  // namespace corvana
