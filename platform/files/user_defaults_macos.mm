#include "platform/files/user_defaults_macos.h"

#include <stdexcept>

#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {

bool UserDefaultsMacOS::boolFor(std::string_view key) {
  NSString* name = nsStringFrom(key);
  return name != nil && [NSUserDefaults.standardUserDefaults boolForKey:name];
}

void UserDefaultsMacOS::set(std::string_view key, bool value) {
  NSString* name = nsStringFrom(key);
  if (name == nil) throw std::runtime_error("the key of a default is not UTF-8");
  [NSUserDefaults.standardUserDefaults setBool:value forKey:name];
}

}  // namespace corvana
