#include <unicode/brkiter.h>
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <memory>
#include <stdexcept>

#include "platform/text/ascii.h"
#include "platform/text/text.h"

namespace corvana::text {
namespace {

[[noreturn]] void fail(UErrorCode status) {
  throw std::runtime_error(std::string("no Unicode data: ") + u_errorName(status));
}

icu::UnicodeString decode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
}

std::string encode(const icu::UnicodeString& text) {
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

}  // namespace

std::string lowercased(std::string_view utf8) {
  return encode(decode(utf8).toLower(icu::Locale::getRoot()));
}

std::string folded(std::string utf8) {
  if (ascii::isASCII(utf8)) {  // nearly every address, and a hundred times faster
    ascii::lowercase(utf8);
    return utf8;
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) fail(status);
  const icu::UnicodeString composed = composer->normalize(decode(utf8).toLower(icu::Locale::getRoot()), status);
  if (U_FAILURE(status)) fail(status);
  return encode(composed);
}

std::vector<Character> characters(std::string_view utf8) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> boundaries(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) fail(status);

  const icu::UnicodeString text = decode(utf8);
  boundaries->setText(text);
  std::vector<Character> result;
  std::int32_t begin = boundaries->first();
  for (std::int32_t end = boundaries->next(); end != icu::BreakIterator::DONE; begin = end, end = boundaries->next()) {
    const UChar32 first = text.char32At(begin);
    result.push_back({.utf8 = encode(text.tempSubStringBetween(begin, end)),
                      .isLetter = u_hasBinaryProperty(first, UCHAR_ALPHABETIC) != 0,
                      .isNumber = u_getIntPropertyValue(first, UCHAR_NUMERIC_TYPE) != U_NT_NONE});
  }
  return result;
}

std::weak_ordering compareStandard(std::string_view a, std::string_view b) {
  // Making one takes long; it keeps the language that the user had then.
  static const std::unique_ptr<const icu::Collator> collator = [] {
    UErrorCode status = U_ZERO_ERROR;
    // The "C" locale sorts by bytes, as no file manager does.
    const bool isC = std::string_view(icu::Locale::getDefault().getVariant()) == "POSIX";
    const icu::Locale& locale = isC ? icu::Locale::getRoot() : icu::Locale::getDefault();
    std::unique_ptr<icu::Collator> result(icu::Collator::createInstance(locale, status));
    if (U_FAILURE(status)) fail(status);
    result->setStrength(icu::Collator::SECONDARY);  // accents count, letter case does not
    result->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    if (U_FAILURE(status)) fail(status);
    return std::unique_ptr<const icu::Collator>(std::move(result));
  }();
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult result =
      collator->compareUTF8(icu::StringPiece(a.data(), static_cast<std::int32_t>(a.size())),
                            icu::StringPiece(b.data(), static_cast<std::int32_t>(b.size())), status);
  if (U_FAILURE(status)) fail(status);
  return result == UCOL_LESS      ? std::weak_ordering::less
         : result == UCOL_GREATER ? std::weak_ordering::greater
                                  : std::weak_ordering::equivalent;
}

}  // namespace corvana::text
