#include "platform/files/property_list.h"

#include <algorithm>
#include <optional>

#import <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {
namespace {

[[noreturn]] void failNotAList() {
  throw PropertyListError("damaged, or not a property list (XML or binary expected)");
}

[[noreturn]] void failTooDeep() {
  throw PropertyListError("nested deeper than " + std::to_string(PropertyList::maximumDepth) + " levels");
}

/// Foundation takes nearly any text for a list in the form that came before XML, and also reads UTF-16, which shows in
/// its zero bytes. The depth of neither could be seen beforehand.
bool isXML(std::string_view bytes) {
  const std::size_t start = bytes.find_first_not_of("\xEF\xBB\xBF \t\r\n");
  return start != std::string_view::npos && bytes[start] == '<' && bytes.find('\0') == std::string_view::npos;
}

/// Whether elements lie so deep in each other that a parser which calls itself for each level runs out of stack. The
/// bound is far above what valueFrom lets pass.
bool wouldExhaustStack(std::string_view xml) {
  int depth = 0;
  while (true) {
    xml.remove_prefix(std::min(xml.find('<'), xml.size()));
    if (xml.empty()) return false;
    // A comment and a literal text may show tags that are none.
    const std::string_view end = xml.starts_with("<!--") ? "-->" : xml.starts_with("<![CDATA[") ? "]]>" : ">";
    const std::size_t length = std::min(xml.find(end, end.size() == 1 ? 1 : 4), xml.size());
    const std::string_view tag = xml.substr(0, length);
    xml.remove_prefix(std::max<std::size_t>(length, 1));
    if (tag.starts_with("<!") || tag.starts_with("<?") || tag.ends_with('/')) continue;
    depth = tag.starts_with("</") ? std::max(depth - 1, 0) : depth + 1;
    if (depth > 4 * PropertyList::maximumDepth) return true;
  }
}

PropertyDictionary dictionaryFrom(NSDictionary<id, id>* _Nonnull object, int depth);

PropertyValue valueFrom(NSNumber* _Nonnull number) {
  // Foundation keeps truth values as numbers of a type of their own.
  if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) {
    return {static_cast<bool>(number.boolValue)};
  }
  if (CFNumberIsFloatType((__bridge CFNumberRef)number)) return {number.doubleValue};
  return {std::int64_t{number.longLongValue}};
}

/// Nothing for the kinds that the product has no use for.
std::optional<PropertyValue> valueFrom(id _Nonnull object, int depth) {
  if (depth > PropertyList::maximumDepth) failTooDeep();
  if ([object isKindOfClass:NSString.class]) return PropertyValue{utf8From(object)};
  if ([object isKindOfClass:NSNumber.class]) return valueFrom(static_cast<NSNumber*>(object));
  if ([object isKindOfClass:NSDictionary.class]) return PropertyValue{dictionaryFrom(object, depth)};
  if (![object isKindOfClass:NSArray.class]) return std::nullopt;
  PropertyArray array;
  for (id item in static_cast<NSArray<id>*>(object)) {
    if (auto value = valueFrom(item, depth + 1)) array.push_back(std::move(*value));
  }
  return PropertyValue{std::move(array)};
}

PropertyDictionary dictionaryFrom(NSDictionary<id, id>* _Nonnull object, int depth) {
  PropertyDictionary dictionary;
  for (id key in object) {
    id item = object[key];
    // The binary form has room for keys of other kinds.
    if (item == nil || ![key isKindOfClass:NSString.class]) continue;
    if (auto value = valueFrom(item, depth + 1)) dictionary.insert_or_assign(utf8From(key), std::move(*value));
  }
  return dictionary;
}

id _Nonnull objectFrom(const PropertyValue& value);

id _Nonnull objectFrom(bool flag) { return @(flag); }
id _Nonnull objectFrom(std::int64_t number) { return @(number); }
id _Nonnull objectFrom(double number) { return @(number); }

NSString* _Nonnull objectFrom(const std::string& text) {
  NSString* string = nsStringFrom(text);
  if (string == nil) throw PropertyListError("cannot be written as XML: a text is not UTF-8");
  return string;
}

id _Nonnull objectFrom(const PropertyArray& array) {
  NSMutableArray<id>* object = [NSMutableArray arrayWithCapacity:array.size()];
  for (const PropertyValue& value : array) [object addObject:objectFrom(value)];
  return object;
}

id _Nonnull objectFrom(const PropertyDictionary& dictionary) {
  NSMutableDictionary<NSString*, id>* object = [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
  for (const auto& [key, value] : dictionary) object[objectFrom(key)] = objectFrom(value);
  return object;
}

id _Nonnull objectFrom(const PropertyValue& value) {
  return std::visit([](const auto& content) -> id { return objectFrom(content); }, value.value);
}

}  // namespace

PropertyDictionary PropertyList::parse(std::string_view bytes) {
  if (bytes.size() > maximumBytes) throw PropertyListError("larger than " + std::to_string(maximumBytes) + " bytes");
  if (bytes.starts_with("bplist")) {
    checkBinaryStructure(bytes);
  } else {
    if (!isXML(bytes)) failNotAList();
    if (wouldExhaustStack(bytes)) failTooDeep();
  }
  @autoreleasepool {
    NSPropertyListFormat format = NSPropertyListXMLFormat_v1_0;
    id root = [NSPropertyListSerialization propertyListWithData:[NSData dataWithBytes:bytes.data() length:bytes.size()]
                                                        options:NSPropertyListImmutable
                                                         format:&format
                                                          error:nil];
    if (root == nil || format == NSPropertyListOpenStepFormat) failNotAList();
    if (![root isKindOfClass:NSDictionary.class]) throw PropertyListError("its top level is not a dictionary");
    return dictionaryFrom(root, 0);
  }
}

std::string PropertyList::xml(const PropertyDictionary& dictionary) {
  @autoreleasepool {
    NSError* error = nil;
    NSData* data = [NSPropertyListSerialization dataWithPropertyList:objectFrom(dictionary)
                                                              format:NSPropertyListXMLFormat_v1_0
                                                             options:0
                                                               error:&error];
    if (data == nil) {
      throw PropertyListError("cannot be written as XML: " +
                              (error != nil ? utf8From(error.localizedDescription) : ""));
    }
    return std::string(static_cast<const char*>(data.bytes), data.length);
  }
}

}  // namespace corvana
