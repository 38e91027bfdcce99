// Spreadsheet number formats: digit placeholders 0 # ?, point, thousands comma, percent, scientific E+00,
// sections pos;neg;zero;text, quoted and escaped literals, and dates (d m y h s, AM/PM). Always a '.' as decimal
// separator.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/workbook.h"

namespace zyl::platform {

namespace {

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

/// Decimal digits of |x| rounded half away from zero at `decimals` places, after first taking x to 15
/// significant digits as a spreadsheet does (so 2.675 shows as 2.68). Returns integer digits ("" for zero) and
/// exactly `decimals` fraction digits.
void Digits(double x, int decimals, std::string* int_part, std::string* frac) {
  x = std::fabs(x);
  int_part->clear();
  frac->assign(std::size_t(std::max(decimals, 0)), '0');
  if (x == 0 || !std::isfinite(x)) return;
  std::string e = fmt::format("{:.14e}", x);  // d.dddddddddddddde+XX
  std::size_t epos = e.find('e');
  int exp10 = std::stoi(e.substr(epos + 1));
  std::string digits = e.substr(0, 1) + e.substr(2, epos - 2);  // 15 digits
  // Value = 0.digits * 10^(exp10+1); the point sits after `point` digits.
  int point = exp10 + 1;
  // Place digits on a line with the point at index `lead` where lead = max(point, 0).
  std::string line;
  int lead;
  if (point <= 0) {
    line = std::string(std::size_t(-point), '0') + digits;
    lead = 0;
  } else {
    line = digits;
    if (int(line.size()) < point) line += std::string(std::size_t(point - int(line.size())), '0');
    lead = point;
  }
  int keep = lead + decimals;  // digits kept
  if (int(line.size()) < keep) line += std::string(std::size_t(keep - int(line.size())), '0');
  bool up = keep < int(line.size()) && line[std::size_t(keep)] >= '5';
  if (keep < 0) {
    line.clear();
    keep = 0;
    up = false;
  }
  line.resize(std::size_t(keep));
  if (up) {
    int i = keep - 1;
    for (; i >= 0; --i) {
      if (line[std::size_t(i)] == '9') {
        line[std::size_t(i)] = '0';
      } else {
        ++line[std::size_t(i)];
        break;
      }
    }
    if (i < 0) {
      line.insert(line.begin(), '1');
      ++lead;
    }
  }
  *int_part = line.substr(0, std::size_t(lead));
  *frac = line.substr(std::size_t(lead));
  std::size_t nz = int_part->find_first_not_of('0');
  *int_part = nz == std::string::npos ? std::string() : int_part->substr(nz);
}

std::string General(double x) {
  if (x == 0) return "0";
  bool neg = x < 0;
  double a = std::fabs(x);
  int width = neg ? 10 : 11;
  if (a >= 1e-5 && a < 1e11) {
    int int_digits = a < 1 ? 1 : int(std::floor(std::log10(a))) + 1;
    int decimals = std::max(0, width - int_digits - 1);
    decimals = std::min(decimals, std::max(0, 15 - int_digits));
    std::string ip, fp;
    Digits(a, decimals, &ip, &fp);
    if (ip.empty()) ip = "0";
    if (int(ip.size()) <= width) {
      while (!fp.empty() && fp.back() == '0') fp.pop_back();
      std::string s = ip;
      if (!fp.empty()) s += "." + fp;
      if (s != "0") return (neg ? "-" : "") + s;
    }
  }
  std::string s = fmt::format("{:.5E}", a);  // d.dddddE+XX
  std::size_t e = s.find('E');
  std::string m = s.substr(0, e), ex = s.substr(e + 1);
  while (m.back() == '0') m.pop_back();
  if (m.back() == '.') m.pop_back();
  char sign = ex[0];
  std::string d = ex.substr(1);
  while (d.size() > 2 && d[0] == '0') d.erase(0, 1);
  return (neg ? "-" : "") + m + "E" + sign + d;
}

// ---------------------------------------------------------------------------------------------------------------

struct Part {
  enum Kind { Literal, Digit, Point, Exp, Percent, Date, Text } kind;
  std::string text;  ///< Literal: the text; Digit: "0" "#" "?"; Exp: "E+" or "E-"; Date: the code
};

struct Section {
  std::vector<Part> parts;
  bool date = false;
  bool thousands = false;
  int scale_thousands = 0;  ///< trailing commas divide by 1000 each
  std::string condition;    ///< [<0] and the like (kept, not evaluated beyond sign sections)
};

std::vector<std::string> SplitSections(std::string_view p) {
  std::vector<std::string> out(1);
  bool quoted = false, bracket = false;
  for (std::size_t i = 0; i < p.size(); ++i) {
    char c = p[i];
    if (c == '\\' && i + 1 < p.size() && !quoted) {
      out.back() += c;
      out.back() += p[++i];
      continue;
    }
    if (c == '"') quoted = !quoted;
    else if (c == '[' && !quoted) bracket = true;
    else if (c == ']' && !quoted) bracket = false;
    if (c == ';' && !quoted && !bracket) {
      out.emplace_back();
      continue;
    }
    out.back() += c;
  }
  return out;
}

Section ParseSection(std::string_view s) {
  Section sec;
  auto lit = [&](std::string t) {
    if (!sec.parts.empty() && sec.parts.back().kind == Part::Literal) sec.parts.back().text += t;
    else sec.parts.push_back({Part::Literal, std::move(t)});
  };
  bool seen_digit = false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    char c = s[i], l = Lower(c);
    if (c == '"') {
      std::size_t j = s.find('"', i + 1);
      if (j == std::string_view::npos) j = s.size();
      lit(std::string(s.substr(i + 1, j - i - 1)));
      i = j;
    } else if (c == '\\' && i + 1 < s.size()) {
      lit(std::string(1, s[++i]));
    } else if (c == '_' && i + 1 < s.size()) {
      lit(" ");
      ++i;
    } else if (c == '*' && i + 1 < s.size()) {
      ++i;  // fill character: no fixed width here
    } else if (c == '[') {
      std::size_t j = s.find(']', i);
      if (j == std::string_view::npos) j = s.size();
      std::string inner(s.substr(i + 1, j - i - 1));
      std::string lo = inner;
      std::transform(lo.begin(), lo.end(), lo.begin(), Lower);
      if (lo == "h" || lo == "hh" || lo == "m" || lo == "mm" || lo == "s" || lo == "ss") {
        sec.parts.push_back({Part::Date, "[" + lo + "]"});
        sec.date = true;
      } else if (!inner.empty() && (inner[0] == '<' || inner[0] == '>' || inner[0] == '=')) {
        sec.condition = inner;
      }
      i = j;
    } else if (c == '0' || c == '#' || c == '?') {
      sec.parts.push_back({Part::Digit, std::string(1, c)});
      seen_digit = true;
    } else if (c == '.') {
      bool dateish = sec.date && !seen_digit;
      if (dateish) lit(".");
      else sec.parts.push_back({Part::Point, "."});
    } else if (c == ',') {
      if (seen_digit) {
        // Between placeholders: thousands separator; after the last one: divide by 1000.
        std::size_t k = i + 1;
        if (k < s.size() && (s[k] == '0' || s[k] == '#' || s[k] == '?')) sec.thousands = true;
        else ++sec.scale_thousands;
      } else {
        lit(",");
      }
    } else if (c == '%') {
      sec.parts.push_back({Part::Percent, "%"});
    } else if ((c == 'E' || c == 'e') && i + 1 < s.size() && (s[i + 1] == '+' || s[i + 1] == '-')) {
      sec.parts.push_back({Part::Exp, std::string("E") + s[i + 1]});
      ++i;
    } else if (c == '@') {
      sec.parts.push_back({Part::Text, "@"});
    } else if (l == 'y' || l == 'm' || l == 'd' || l == 'h' || l == 's') {
      std::size_t j = i;
      while (j < s.size() && Lower(s[j]) == l) ++j;
      sec.parts.push_back({Part::Date, std::string(j - i, l)});
      sec.date = true;
      i = j - 1;
    } else if ((l == 'a') && (s.substr(i, 5) == "AM/PM" || s.substr(i, 5) == "am/pm")) {
      sec.parts.push_back({Part::Date, "ampm"});
      sec.date = true;
      i += 4;
    } else if ((l == 'a') && (s.substr(i, 3) == "A/P" || s.substr(i, 3) == "a/p")) {
      sec.parts.push_back({Part::Date, "ap"});
      sec.date = true;
      i += 2;
    } else {
      lit(std::string(1, c));
    }
  }
  if (sec.date && seen_digit) {
    // "ss.00": fraction of seconds is not supported; treat placeholders as literals of the date.
    for (auto& p : sec.parts)
      if (p.kind == Part::Digit) p.kind = Part::Literal;
  }
  return sec;
}

// Days since 1970-01-01 of a civil date (proleptic Gregorian).
long DaysFromCivil(long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = unsigned(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + long(doe) - 719468;
}

void CivilFromDays(long z, int* y, int* m, int* d) {
  z += 719468;
  const long era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = unsigned(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  long yy = long(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  *d = int(doy - (153 * mp + 2) / 5 + 1);
  *m = int(mp < 10 ? mp + 3 : mp - 9);
  *y = int(yy + (*m <= 2));
}

constexpr const char* kMonths[] = {"January", "February", "March",     "April",   "May",      "June",
                                   "July",    "August",   "September", "October", "November", "December"};
constexpr const char* kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

std::string FormatDate(double serial, const Section& sec) {
  if (serial < 0 || serial >= 2958466) return std::string(sec.parts.size(), '#').empty() ? "#" : "########";
  double whole = std::floor(serial);
  double secs = std::round((serial - whole) * 86400.0);
  if (secs >= 86400) {
    secs -= 86400;
    whole += 1;
  }
  long days = long(whole);
  int y, m, d;
  if (days == 60) {
    y = 1900, m = 2, d = 29;  // the 1900 leap-year day that spreadsheets count
  } else if (days == 0) {
    y = 1900, m = 1, d = 0;
  } else {
    CivilFromDays(days + DaysFromCivil(1899, 12, 31) - (days > 60 ? 1 : 0), &y, &m, &d);
  }
  int weekday = int((days + 6) % 7);  // serial 1 (1900-01-01) shown as Sunday by spreadsheets
  int hh = int(secs) / 3600, mi = (int(secs) / 60) % 60, ss = int(secs) % 60;
  bool ampm = std::any_of(sec.parts.begin(), sec.parts.end(),
                          [](const Part& p) { return p.kind == Part::Date && (p.text == "ampm" || p.text == "ap"); });
  std::string out;
  for (std::size_t i = 0; i < sec.parts.size(); ++i) {
    const Part& p = sec.parts[i];
    if (p.kind != Part::Date) {
      if (p.kind == Part::Literal) out += p.text;
      continue;
    }
    const std::string& t = p.text;
    if (t[0] == 'y') {
      out += t.size() <= 2 ? fmt::format("{:02}", y % 100) : fmt::format("{}", y);
    } else if (t[0] == 'm') {
      // "m" after an hour or before a second means minutes.
      bool minutes = false;
      for (std::size_t k = i; k-- > 0;)
        if (sec.parts[k].kind == Part::Date) {
          minutes = sec.parts[k].text[0] == 'h' || sec.parts[k].text == "[h]";
          break;
        }
      for (std::size_t k = i + 1; k < sec.parts.size() && !minutes; ++k)
        if (sec.parts[k].kind == Part::Date) {
          minutes = sec.parts[k].text[0] == 's';
          break;
        }
      if (minutes) out += t.size() >= 2 ? fmt::format("{:02}", mi) : fmt::format("{}", mi);
      else if (t.size() == 1) out += fmt::format("{}", m);
      else if (t.size() == 2) out += fmt::format("{:02}", m);
      else if (t.size() == 3) out += std::string(kMonths[m - 1]).substr(0, 3);
      else if (t.size() == 5) out += kMonths[m - 1][0];
      else out += kMonths[m - 1];
    } else if (t[0] == 'd') {
      if (t.size() == 1) out += fmt::format("{}", d);
      else if (t.size() == 2) out += fmt::format("{:02}", d);
      else if (t.size() == 3) out += std::string(kDays[weekday]).substr(0, 3);
      else out += kDays[weekday];
    } else if (t[0] == 'h') {
      int h = ampm ? (hh % 12 == 0 ? 12 : hh % 12) : hh;
      out += t.size() >= 2 ? fmt::format("{:02}", h) : fmt::format("{}", h);
    } else if (t[0] == 's') {
      out += t.size() >= 2 ? fmt::format("{:02}", ss) : fmt::format("{}", ss);
    } else if (t == "[h]") {
      out += fmt::format("{}", long(whole) * 24 + hh);
    } else if (t == "[m]" || t == "[mm]") {
      out += fmt::format("{}", (long(whole) * 24 + hh) * 60 + mi);
    } else if (t == "[s]" || t == "[ss]") {
      out += fmt::format("{}", long(whole) * 86400 + long(secs));
    } else if (t == "ampm") {
      out += hh < 12 ? "AM" : "PM";
    } else if (t == "ap") {
      out += hh < 12 ? "A" : "P";
    }
  }
  return out;
}

std::string GroupThousands(const std::string& digits) {
  std::string out;
  int n = int(digits.size());
  for (int i = 0; i < n; ++i) {
    if (i > 0 && (n - i) % 3 == 0) out += ',';
    out += digits[std::size_t(i)];
  }
  return out;
}

std::string FormatNumeric(double x, const Section& sec, bool sign) {
  // Positions of the placeholders.
  int point = -1, exp = -1;
  for (std::size_t i = 0; i < sec.parts.size(); ++i) {
    if (sec.parts[i].kind == Part::Point && point < 0 && exp < 0) point = int(i);
    if (sec.parts[i].kind == Part::Exp && exp < 0) exp = int(i);
  }
  int percents = 0;
  std::vector<int> int_ph, frac_ph, exp_ph;
  for (std::size_t i = 0; i < sec.parts.size(); ++i) {
    const Part& p = sec.parts[i];
    if (p.kind == Part::Percent) ++percents;
    if (p.kind != Part::Digit) continue;
    if (exp >= 0 && int(i) > exp) exp_ph.push_back(int(i));
    else if (point >= 0 && int(i) > point) frac_ph.push_back(int(i));
    else int_ph.push_back(int(i));
  }
  double a = std::fabs(x);
  for (int i = 0; i < percents; ++i) a *= 100;
  for (int i = 0; i < sec.scale_thousands; ++i) a /= 1000;

  int exponent = 0;
  if (exp >= 0 && a != 0) {
    int lead = std::max<int>(1, int(int_ph.size()));
    exponent = int(std::floor(std::log10(a))) - (lead - 1);
    double m = a / std::pow(10.0, exponent);
    std::string ip, fp;
    Digits(m, int(frac_ph.size()), &ip, &fp);
    if (int(ip.size()) > lead) {
      ++exponent;
      m = a / std::pow(10.0, exponent);
    }
    a = m;
  }
  std::string ip, fp;
  Digits(a, int(frac_ph.size()), &ip, &fp);
  bool neg = sign && x < 0;

  // Fraction: trailing zeros under '#' vanish, under '?' become spaces.
  std::vector<std::string> frac_out(frac_ph.size());
  bool trailing = true;
  for (std::size_t k = frac_ph.size(); k-- > 0;) {
    char ph = sec.parts[std::size_t(frac_ph[k])].text[0];
    char d = fp[k];
    if (trailing && d == '0' && ph != '0') {
      frac_out[k] = ph == '?' ? " " : "";
    } else {
      trailing = false;
      frac_out[k] = std::string(1, d);
    }
  }
  // Integer digits: right-aligned over the placeholders; extra digits go to the first one.
  std::vector<std::string> int_out(int_ph.size());
  {
    std::string digits = ip;
    int n = int(int_ph.size());
    int nd = int(digits.size());
    for (int k = n - 1, j = nd - 1; k >= 0; --k, --j) {
      char ph = sec.parts[std::size_t(int_ph[std::size_t(k)])].text[0];
      if (j >= 0) int_out[std::size_t(k)] = std::string(1, digits[std::size_t(j)]);
      else int_out[std::size_t(k)] = ph == '0' ? "0" : ph == '?' ? " " : "";
      if (k == 0 && j > 0) int_out[0] = digits.substr(0, std::size_t(j + 1));
    }
    if (sec.thousands) {
      std::string all;
      for (auto& s : int_out) all += s;
      std::string lead_spaces;
      std::size_t nsp = all.find_first_not_of(' ');
      if (nsp == std::string::npos) nsp = all.size();
      std::string grouped = GroupThousands(all.substr(nsp));
      std::fill(int_out.begin(), int_out.end(), std::string());
      if (!int_out.empty()) int_out.back() = all.substr(0, nsp) + grouped;
    }
  }
  std::string exp_digits;
  if (exp >= 0) {
    int e = std::abs(exponent);
    std::string ed = std::to_string(e);
    int min_digits = 0;
    for (int k : exp_ph)
      if (sec.parts[std::size_t(k)].text[0] == '0') ++min_digits;
    while (int(ed.size()) < min_digits) ed.insert(ed.begin(), '0');
    exp_digits = ed;
  }
  // A zero shown without any digit at all keeps its sign off (e.g. "-0" only where a digit shows).
  std::string out;
  if (neg) out += '-';
  std::size_t ii = 0, fi = 0;
  for (std::size_t i = 0; i < sec.parts.size(); ++i) {
    const Part& p = sec.parts[i];
    switch (p.kind) {
      case Part::Literal: out += p.text; break;
      case Part::Point: if (int(i) == point) out += '.'; else out += '.'; break;
      case Part::Percent: out += '%'; break;
      case Part::Text: break;
      case Part::Date: break;
      case Part::Exp:
        if (int(i) == exp) {
          out += 'E';
          out += exponent < 0 ? "-" : (p.text[1] == '+' ? "+" : "");
          out += exp_digits;
        }
        break;
      case Part::Digit:
        if (exp >= 0 && int(i) > exp) break;
        if (point >= 0 && int(i) > point) out += frac_out[fi++];
        else out += int_out[ii++];
        break;
    }
  }
  return out;
}

}  // namespace

double DateSerial(int year, int month, int day) {
  if (year == 1900 && month == 2 && day == 29) return 60;
  long days = DaysFromCivil(year, unsigned(month), unsigned(day)) - DaysFromCivil(1899, 12, 31);
  if (days >= 60) ++days;
  return double(days);
}

std::string FormatNumber(double value, std::string_view pattern) {
  if (!std::isfinite(value)) return "#NUM!";
  std::string lower(pattern);
  std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
  if (pattern.empty() || lower == "general") return General(value);
  std::vector<std::string> secs = SplitSections(pattern);
  // Choose the section: positive;negative;zero;text.
  std::size_t idx = 0;
  bool sign = true;
  if (secs.size() >= 2 && value < 0) {
    idx = 1;
    sign = false;
  } else if (secs.size() >= 3 && value == 0) {
    idx = 2;
  }
  Section sec = ParseSection(secs[idx]);
  bool any = std::any_of(sec.parts.begin(), sec.parts.end(), [](const Part& p) {
    return p.kind == Part::Digit || p.kind == Part::Date || p.kind == Part::Point;
  });
  if (sec.date) return FormatDate(value, sec);
  if (!any) {
    std::string out = sign && value < 0 ? "-" : "";
    for (const Part& p : sec.parts)
      if (p.kind == Part::Literal) out += p.text;
      else if (p.kind == Part::Text) out += General(value);
      else if (p.kind == Part::Percent) out += '%';
    return out;
  }
  return FormatNumeric(value, sec, sign);
}

std::string FormatValue(const CellValue& v, std::string_view pattern) {
  switch (v.type) {
    case ValueType::Number: return FormatNumber(v.number, pattern);
    case ValueType::Text: {
      std::vector<std::string> secs = SplitSections(pattern);
      if (secs.size() < 4) return v.text;
      std::string out;
      for (const Part& p : ParseSection(secs[3]).parts)
        if (p.kind == Part::Literal) out += p.text;
        else if (p.kind == Part::Text) out += v.text;
      return out;
    }
    case ValueType::Bool: return v.number != 0 ? "TRUE" : "FALSE";
    case ValueType::Error: return std::string(ErrorText(v.error));
    case ValueType::Empty: return {};
  }
  return {};
}

}  // namespace zyl::platform
