#include "thermo/elements.h"

#include <cstdlib>
#include <fstream>

#include "platform/paths.h"
#include "platform/text.h"

namespace zyl::thermo {

namespace {

using platform::TrimView;

int SlotOf(std::string_view sym) {
  if (sym.empty() || sym.size() > 2 || sym[0] < 'A' || sym[0] > 'Z') return -1;
  int lower = 0;
  if (sym.size() == 2) {
    if (sym[1] < 'a' || sym[1] > 'z') return -1;
    lower = sym[1] - 'a' + 1;
  }
  return (sym[0] - 'A') * 27 + lower;
}

double ParseNumber(std::string_view s) {
  std::string t(TrimView(s));
  return t.empty() ? 0.0 : std::strtod(t.c_str(), nullptr);
}

}  // namespace

void ElementTable::Reindex() {
  index_.fill(0);
  for (int i = 1; i <= kElementCount; ++i) {
    int slot = SlotOf(symbol[i]);
    if (slot >= 0 && index_[slot] == 0) index_[slot] = static_cast<uint8_t>(i);
  }
}

int ElementTable::Find(std::string_view sym) const {
  int slot = SlotOf(sym);
  if (slot >= 0) return index_[slot];
  for (int i = 1; i <= kElementCount; ++i)
    if (symbol[i] == sym) return i;
  return 0;
}

std::optional<ElementTable> LoadAtomicWeights(const std::filesystem::path& path, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    if (error) *error = "Can not open: " + path.string();
    return std::nullopt;
  }
  ElementTable t;
  std::string line;
  int n = 0;
  while (n < kElementCount && std::getline(in, line)) {
    std::string_view v(line);
    ++n;
    t.symbol[n] = std::string(TrimView(v.substr(0, 2)));
    if (v.size() > 2) t.weight[n] = ParseNumber(v.substr(2, 12));
    if (v.size() > 14) t.second[n] = ParseNumber(v.substr(14, 8));
  }
  if (n < kElementCount) {
    if (error) *error = "Atomic weights file has " + std::to_string(n) + " lines, 102 expected: " + path.string();
    return std::nullopt;
  }
  t.Reindex();
  return t;
}

namespace {
ElementTable& Shared() {
  static ElementTable table = [] {
    auto t = LoadAtomicWeights(platform::DataPath("Databases/AWDB4.ZYL"));
    return t ? *t : ElementTable{};
  }();
  return table;
}
}  // namespace

const ElementTable& Elements() { return Shared(); }

void SetElements(const ElementTable& table) {
  Shared() = table;
  Shared().Reindex();
}

}  // namespace zyl::thermo
