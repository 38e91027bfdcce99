#include "units/units.h"

#include <algorithm>
#include <cctype>

#include "platform/paths.h"

namespace zyl::units {

namespace {
constexpr int kColName = 0, kColSymbol = 1, kColFactor = 2, kColOffset = 3;
constexpr int kFirstUnitRow = 1;

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}
}  // namespace

std::vector<Unit> ReadUnits(platform::Workbook& book) {
  book.Recalculate();
  std::vector<Unit> out;
  for (int s = 0; s < book.SheetCount(); ++s) {
    const auto& sh = book.sheet(s);
    if (sh.name() == kPrefixSheet) continue;
    for (int r = kFirstUnitRow; r <= sh.LastRow(); ++r) {
      const std::string symbol = sh.DisplayText(r, kColSymbol);
      const auto factor = sh.Number(r, kColFactor);
      if (symbol.empty() || !factor || *factor == 0) continue;
      out.push_back({sh.name(), sh.DisplayText(r, kColName), symbol, *factor, sh.Number(r, kColOffset).value_or(0)});
    }
  }
  return out;
}

std::filesystem::path StandardUnitsPath() {
  return platform::DataDir() / "Databases" / (std::string(kStandardUnitsName) + std::string(kUnitsExtension));
}

Conversion Convert(const std::vector<Unit>& units, double value, std::string_view from, std::string_view to) {
  Conversion c;
  c.value = value;
  c.from = from;
  c.to = to;
  auto find = [&](std::string_view sym, std::string_view quantity) -> const Unit* {
    for (int pass = 0; pass < 2; ++pass)
      for (const Unit& u : units)
        if ((quantity.empty() || u.quantity == quantity) && (pass == 0 ? u.symbol == sym : SameIgnoringCase(u.symbol, sym)))
          return &u;
    return nullptr;
  };
  const Unit* a = find(from, {});
  if (!a) {
    c.error = "Unknown unit: " + std::string(from);
    return c;
  }
  const Unit* b = find(to, a->quantity);
  if (!b) {
    // The first match of `from` may sit on another sheet than `to` (a symbol used twice).
    if (const Unit* b2 = find(to, {})) {
      if (const Unit* a2 = find(from, b2->quantity)) {
        a = a2;
        b = b2;
      } else {
        c.error = std::string(from) + " (" + a->quantity + ") can not be converted to " + std::string(to) + " (" +
                  b2->quantity + ")";
        return c;
      }
    } else {
      c.error = "Unknown unit: " + std::string(to);
      return c;
    }
  }
  c.quantity = a->quantity;
  c.result = (value * a->factor + a->offset - b->offset) / b->factor;
  return c;
}

bool IsBasicSheet(std::string_view name, const std::vector<std::string>& basic) {
  return std::find(basic.begin(), basic.end(), name) != basic.end();
}

std::string DeleteUnitsSheet(platform::Workbook& book, int index, const std::vector<std::string>& basic) {
  if (index < 0 || index >= book.SheetCount()) return std::string(kErrorPrefix) + "9";
  if (IsBasicSheet(book.sheet(index).name(), basic)) return std::string(kMsgBasicSheet);
  return book.DeleteSheet(index);
}

void WritePrefixSheet(platform::Workbook& book) {
  int idx = book.FindSheet(kPrefixSheet);
  if (idx < 0) {
    book.InsertSheet(kPrefixSheet);
    idx = book.FindSheet(kPrefixSheet);
  }
  auto& sh = book.sheet(idx);
  for (size_t i = 0; i < kSiPrefixLines.size(); ++i) sh.SetText(static_cast<int>(i), 0, kSiPrefixLines[i]);
}

}  // namespace zyl::units
