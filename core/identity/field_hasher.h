#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace corvana {

/// The visitor that hashes a record, over the same field list that reads and writes it.
class FieldHasher {
 public:
  void required(const char*, const auto& field) { add(field); }
  void defaulted(const char*, const auto& field) { add(field); }
  void optional(const char*, const auto& field) { add(field); }

  template <class T>
  void add(const T& value) {
    value_ = value_ * 31 + std::hash<T>()(value);
  }
  void add(const std::chrono::sys_seconds& value) { add(value.time_since_epoch().count()); }
  template <class T>
  void add(const std::vector<T>& values) {
    add(values.size());
    for (const T& value : values) add(value);
  }
  template <class Key, class T>
  void add(const std::map<Key, T>& values) {
    add(values.size());
    for (const auto& [key, value] : values) {
      add(key);
      add(value);
    }
  }

  std::size_t value() const { return value_; }

 private:
  std::size_t value_ = 0;
};

}  // namespace corvana
