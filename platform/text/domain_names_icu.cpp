#include <unicode/bytestream.h>
#include <unicode/idna.h>

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "platform/text/domain_names.h"

namespace corvana {
namespace {

std::unique_ptr<const icu::IDNA> makeIDNA() {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<const icu::IDNA> idna(
      icu::IDNA::createUTS46Instance(UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII, status));
  if (U_FAILURE(status)) throw std::runtime_error(std::string("no Unicode data: ") + u_errorName(status));
  return idna;
}

}  // namespace

std::optional<std::string> domainToASCII(std::string_view utf8) {
  static const std::unique_ptr<const icu::IDNA> idna = makeIDNA();
  // What the URL standard asks for with CheckHyphens and VerifyDnsLength off.
  constexpr std::uint32_t allowed = UIDNA_ERROR_EMPTY_LABEL | UIDNA_ERROR_LABEL_TOO_LONG |
                                    UIDNA_ERROR_DOMAIN_NAME_TOO_LONG | UIDNA_ERROR_LEADING_HYPHEN |
                                    UIDNA_ERROR_TRAILING_HYPHEN | UIDNA_ERROR_HYPHEN_3_4;
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  icu::IDNAInfo info;
  UErrorCode status = U_ZERO_ERROR;
  idna->nameToASCII_UTF8(icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())), sink, info, status);
  if (U_FAILURE(status) || (info.getErrors() & ~allowed) != 0) return std::nullopt;
  return result;
}

}  // namespace corvana
