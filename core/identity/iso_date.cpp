#include "core/identity/iso_date.h"

#include <algorithm>

#include "platform/text/ascii.h"

namespace corvana {
namespace {

using namespace std::chrono;

/// Takes a text apart from the front; does nothing more once something did not fit.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool fits() const { return fits_; }
  bool isAtEnd() const { return text_.empty(); }

  /// A number of just that many digits, at most `maximum`.
  int number(std::size_t digits, int maximum) {
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      const char c = take();
      if (!ascii::isDigit(c)) fits_ = false;
      value = value * 10 + (c - '0');
    }
    if (value > maximum) fits_ = false;
    return fits_ ? value : 0;
  }
  void expect(char c) {
    if (take() != c) fits_ = false;
  }
  bool next(char c) {
    if (!text_.starts_with(c)) return false;
    text_.remove_prefix(1);
    return true;
  }
  void skipDigits() {
    if (text_.empty() || !ascii::isDigit(text_.front())) fits_ = false;
    while (!text_.empty() && ascii::isDigit(text_.front())) text_.remove_prefix(1);
  }

 private:
  char take() {
    if (text_.empty()) {
      fits_ = false;
      return '\0';
    }
    const char c = text_.front();
    text_.remove_prefix(1);
    return c;
  }

  std::string_view text_;
  bool fits_ = true;
};

bool canBeWritten(sys_seconds date) {
  const int yearNumber = static_cast<int>(year_month_day(floor<days>(date)).year());
  return yearNumber >= 0 && yearNumber <= 9999;
}

std::string digits(int value, std::size_t count) {
  const std::string text = std::to_string(value);
  return std::string(count - std::min(text.size(), count), '0') + text;
}

}  // namespace

std::optional<sys_seconds> parseISODate(std::string_view text) {
  Scanner scanner(text);
  const int yearNumber = scanner.number(4, 9999);
  scanner.expect('-');
  const int monthNumber = scanner.number(2, 12);
  scanner.expect('-');
  const int dayNumber = scanner.number(2, 31);
  scanner.expect('T');
  const hours hour(scanner.number(2, 23));
  scanner.expect(':');
  const minutes minute(scanner.number(2, 59));
  scanner.expect(':');
  const seconds second(scanner.number(2, 59));
  if (scanner.next('.')) scanner.skipDigits();
  minutes offset(0);
  if (!scanner.next('Z')) {
    const bool isEast = scanner.next('+');
    if (!isEast) scanner.expect('-');
    offset = hours(scanner.number(2, 23));
    scanner.expect(':');
    offset += minutes(scanner.number(2, 59));
    if (!isEast) offset = -offset;
  }
  const year_month_day date{year(yearNumber), month(static_cast<unsigned>(monthNumber)),
                            day(static_cast<unsigned>(dayNumber))};
  if (!scanner.fits() || !scanner.isAtEnd() || !date.ok()) return std::nullopt;
  const sys_seconds result = sys_days(date) + hour + minute + second - offset;
  return canBeWritten(result) ? std::optional(result) : std::nullopt;
}

std::string isoDate(sys_seconds time) {
  const sys_days midnight = floor<days>(time);
  const year_month_day date(midnight);
  const hh_mm_ss clock(time - midnight);
  return digits(static_cast<int>(date.year()), 4) + "-" +
         digits(static_cast<int>(static_cast<unsigned>(date.month())), 2) + "-" +
         digits(static_cast<int>(static_cast<unsigned>(date.day())), 2) + "T" +
         digits(static_cast<int>(clock.hours().count()), 2) + ":" +
         digits(static_cast<int>(clock.minutes().count()), 2) + ":" +
         digits(static_cast<int>(clock.seconds().count()), 2) + "Z";
}

}  // namespace corvana
