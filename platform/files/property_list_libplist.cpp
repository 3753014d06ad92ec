#include <plist/plist.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <type_traits>

#include "platform/files/property_list.h"

namespace corvana {
namespace {

struct FreeNode {
  void operator()(plist_t node) const { ::plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, FreeNode>;

struct FreeBytes {
  void operator()(char* bytes) const { std::free(bytes); }
};
using Bytes = std::unique_ptr<char, FreeBytes>;

PropertyDictionary dictionaryFrom(plist_t node, int depth);

/// Nothing for the kinds that the product has no use for.
std::optional<PropertyValue> valueFrom(plist_t node, int depth) {
  if (depth > PropertyList::maximumDepth) {
    throw PropertyListError("nested deeper than " + std::to_string(PropertyList::maximumDepth) + " levels");
  }
  switch (::plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      ::plist_get_bool_val(node, &flag);
      return PropertyValue{flag != 0};
    }
    case PLIST_UINT: {
      std::uint64_t bits = 0;  // negative numbers come in two's complement
      ::plist_get_uint_val(node, &bits);
      return PropertyValue{static_cast<std::int64_t>(bits)};
    }
    case PLIST_REAL: {
      double number = 0;
      ::plist_get_real_val(node, &number);
      return PropertyValue{number};
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = ::plist_get_string_ptr(node, &length);
      return PropertyValue{std::string(text == nullptr ? "" : text, text == nullptr ? 0 : length)};
    }
    case PLIST_ARRAY: {
      PropertyArray array;
      const std::uint32_t count = ::plist_array_get_size(node);
      plist_array_iter rawIterator = nullptr;
      ::plist_array_new_iter(node, &rawIterator);
      const std::unique_ptr<void, decltype(&std::free)> iterator(rawIterator, &std::free);
      for (std::uint32_t i = 0; i < count; ++i) {
        plist_t item = nullptr;
        ::plist_array_next_item(node, iterator.get(), &item);
        if (auto value = valueFrom(item, depth + 1)) array.push_back(std::move(*value));
      }
      return PropertyValue{std::move(array)};
    }
    case PLIST_DICT:
      return PropertyValue{dictionaryFrom(node, depth)};
    default:
      return std::nullopt;
  }
}

PropertyDictionary dictionaryFrom(plist_t node, int depth) {
  PropertyDictionary dictionary;
  plist_dict_iter rawIterator = nullptr;
  ::plist_dict_new_iter(node, &rawIterator);
  const std::unique_ptr<void, decltype(&std::free)> iterator(rawIterator, &std::free);
  while (true) {
    char* rawKey = nullptr;
    plist_t item = nullptr;
    ::plist_dict_next_item(node, iterator.get(), &rawKey, &item);
    const Bytes key(rawKey);
    if (key == nullptr) return dictionary;
    if (auto value = valueFrom(item, depth + 1)) dictionary.insert_or_assign(key.get(), std::move(*value));
  }
}

Node nodeFrom(const PropertyValue& value);

Node nodeFrom(const PropertyDictionary& dictionary) {
  Node node(::plist_new_dict());
  for (const auto& [key, value] : dictionary) ::plist_dict_set_item(node.get(), key.c_str(), nodeFrom(value).release());
  return node;
}

Node nodeFrom(const PropertyArray& array) {
  Node node(::plist_new_array());
  for (const PropertyValue& value : array) ::plist_array_append_item(node.get(), nodeFrom(value).release());
  return node;
}

Node nodeFrom(bool flag) {
  return Node(::plist_new_bool(flag ? 1 : 0));
}
Node nodeFrom(std::int64_t number) {
  return Node(::plist_new_uint(static_cast<std::uint64_t>(number)));
}
Node nodeFrom(double number) {
  return Node(::plist_new_real(number));
}
Node nodeFrom(const std::string& text) {
  return Node(::plist_new_string(text.c_str()));
}

Node nodeFrom(const PropertyValue& value) {
  return std::visit([](const auto& content) { return nodeFrom(content); }, value.value);
}

}  // namespace

PropertyDictionary PropertyList::parse(std::string_view bytes) {
  if (bytes.size() > maximumBytes) {
    throw PropertyListError("larger than " + std::to_string(maximumBytes) + " bytes");
  }
  if (bytes.starts_with("bplist")) checkBinaryStructure(bytes);
  plist_t parsed = nullptr;
  ::plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
  const Node root(parsed);
  if (root == nullptr) throw PropertyListError("damaged, or not a property list (XML or binary expected)");
  if (::plist_get_node_type(root.get()) != PLIST_DICT) {
    throw PropertyListError("its top level is not a dictionary");
  }
  return dictionaryFrom(root.get(), 0);
}

std::string PropertyList::xml(const PropertyDictionary& dictionary) {
  char* rawText = nullptr;
  std::uint32_t length = 0;
  ::plist_to_xml(nodeFrom(dictionary).get(), &rawText, &length);
  const Bytes text(rawText);
  if (text == nullptr) throw PropertyListError("cannot be written as XML");
  return {text.get(), length};
}

}  // namespace corvana
