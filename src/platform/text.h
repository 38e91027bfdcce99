#pragma once
// Small text helpers shared by the file readers and writers.

#include <string>
#include <string_view>

namespace zyl::platform {

/// Without leading and trailing white space (blanks, tabs, line ends).
std::string Trim(std::string_view s);
/// The same as a view into s (no copy).
std::string_view TrimView(std::string_view s);

/// ASCII upper case.
std::string ToUpper(std::string_view s);

/// Shortest text that reads back as the same double, with a point and an upper-case exponent.
std::string ShortestNumber(double v);

}  // namespace zyl::platform
