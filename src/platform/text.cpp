#include "platform/text.h"

#include <cctype>
#include <charconv>

namespace zyl::platform {

std::string_view TrimView(std::string_view s) {
  size_t a = 0, b = s.size();
  while (a < b && std::isspace(static_cast<unsigned char>(s[a]))) ++a;
  while (b > a && std::isspace(static_cast<unsigned char>(s[b - 1]))) --b;
  return s.substr(a, b - a);
}

std::string Trim(std::string_view s) { return std::string(TrimView(s)); }

std::string ToUpper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::string ShortestNumber(double v) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  std::string s(buf, r.ptr);
  for (char& c : s)
    if (c == 'e') c = 'E';
  return s;
}

}  // namespace zyl::platform
