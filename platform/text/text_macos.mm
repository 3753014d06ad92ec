#include "platform/text/text.h"

#include <utility>

#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"
#include "platform/text/repaired_string_macos.h"

namespace corvana::text {
namespace {

/// The string is not empty and, since it was UTF-8, has its surrogates in pairs.
UTF32Char firstCodePoint(NSString* _Nonnull string) {
  const unichar first = [string characterAtIndex:0];
  if (first < 0xD800 || first > 0xDBFF) return first;
  return 0x10000 + ((UTF32Char{first} - 0xD800) << 10) + (UTF32Char{[string characterAtIndex:1]} - 0xDC00);
}

/// Foundation has sets of general categories only, so that some code points come out differently from what the header
/// says: a Roman numeral is a number but no letter, an ideograph that stands for a number is a letter but no number,
/// and a circled letter, or a vowel sign without its consonant, is no letter.
Character characterFrom(NSString* _Nonnull string) {
  const UTF32Char first = firstCodePoint(string);
  // The categories L and M, then L, M and N, then M.
  const bool isLetterOrMark = [NSCharacterSet.letterCharacterSet longCharacterIsMember:first];
  const bool isAlphanumeric = [NSCharacterSet.alphanumericCharacterSet longCharacterIsMember:first];
  const bool isMark = [NSCharacterSet.nonBaseCharacterSet longCharacterIsMember:first];
  return {
      .utf8 = utf8From(string), .isLetter = isLetterOrMark && !isMark, .isNumber = isAlphanumeric && !isLetterOrMark};
}

}  // namespace

std::string lowercased(std::string_view utf8) {
  @autoreleasepool {
    return utf8From(repairedStringFrom(utf8).lowercaseString);
  }
}

std::string folded(std::string utf8) {
  @autoreleasepool {
    return utf8From(repairedStringFrom(utf8).lowercaseString.precomposedStringWithCanonicalMapping);
  }
}

std::vector<Character> characters(std::string_view utf8) {
  @autoreleasepool {
    NSString* string = repairedStringFrom(utf8);
    __block std::vector<Character> result;
    [string enumerateSubstringsInRange:NSMakeRange(0, string.length)
                               options:NSStringEnumerationByComposedCharacterSequences
                            usingBlock:^(NSString* _Nullable substring, NSRange, NSRange, BOOL* _Nonnull) {
                              NSString* composed = substring;
                              if (composed == nil) return;
                              Character character = characterFrom(composed);
                              // A line's end is one character, but not always one composed sequence.
                              if (character.utf8 == "\n" && !result.empty() && result.back().utf8 == "\r") {
                                result.back().utf8 += character.utf8;
                              } else {
                                result.push_back(std::move(character));
                              }
                            }];
    return std::move(result);
  }
}

/// Of texts that differ in letter case alone the system puts one first as well, where ICU calls them equivalent.
std::weak_ordering compareStandard(std::string_view a, std::string_view b) {
  @autoreleasepool {
    return [repairedStringFrom(a) localizedStandardCompare:repairedStringFrom(b)] <=> NSOrderedSame;
  }
}

}  // namespace corvana::text
