#include "platform/workbook.h"

#include <fmt/format.h>

namespace zyl::platform {

std::string FormatNumber(double value, std::string_view) { return fmt::format("{}", value); }
std::string FormatValue(const CellValue& v, std::string_view pattern) {
  switch (v.type) {
    case ValueType::Number: return FormatNumber(v.number, pattern);
    case ValueType::Text: return v.text;
    case ValueType::Bool: return v.number != 0 ? "TRUE" : "FALSE";
    case ValueType::Error: return std::string(ErrorText(v.error));
    default: return {};
  }
}
double DateSerial(int, int, int) { return 0; }

}  // namespace zyl::platform
