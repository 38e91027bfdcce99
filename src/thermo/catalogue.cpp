#include "thermo/catalogue.h"

#include <charconv>

#include "platform/files.h"
#include "thermo/elements.h"
#include "thermo/formula.h"

namespace zyl::thermo {

bool SpeciesCatalogue::Usable(int record_count) const {
  if (lines_read < kCatalogueEntries) return false;
  int prev = 0;
  for (int i = 1; i <= kCatalogueEntries; ++i) {
    if (entry[i] < prev || entry[i] > record_count) return false;
    prev = entry[i];
  }
  return true;
}

std::filesystem::path CataloguePath(const std::filesystem::path& db_path) {
  std::string s = db_path.string();
  if (s.size() >= 3) s.resize(s.size() - 3);
  return std::filesystem::path(s + "CAT");
}

SpeciesCatalogue ParseCatalogue(std::string_view text) {
  SpeciesCatalogue cat;
  size_t pos = 0;
  while (cat.lines_read < kCatalogueEntries && pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    int32_t v = 0;
    auto [p, ec] = std::from_chars(line.data(), line.data() + line.size(), v);
    if (line.empty() || ec != std::errc() || p != line.data() + line.size() || v < 0) break;
    cat.entry[++cat.lines_read] = v;
  }
  cat.entry101 = cat.entry[kElectronBlock];
  return cat;
}

SpeciesCatalogue ReadCatalogue(const std::filesystem::path& cat_path) {
  auto text = platform::ReadFile(cat_path);
  if (!text) return SpeciesCatalogue{};
  return ParseCatalogue(*text);
}

std::string FormatCatalogue(const SpeciesCatalogue& cat) {
  std::string out;
  out.reserve(kCatalogueEntries * 6);
  for (int i = 1; i <= kCatalogueEntries; ++i) {
    out += std::to_string(cat.entry[i]);
    out += '\n';
  }
  return out;
}

bool WriteCatalogue(const std::filesystem::path& cat_path, const SpeciesCatalogue& cat, std::string* error) {
  return platform::WriteFileAtomic(cat_path, FormatCatalogue(cat), error);
}

int CatalogueBlockOf(std::string_view formula) {
  // The first element symbol is the formula's first upper-case letter with an optional lower-case
  // letter after it (the parser's own rule); formulas without one go through the parser.
  for (size_t i = 0; i < formula.size(); ++i) {
    char c = formula[i];
    if (c >= 'A' && c <= 'Z') {
      char sym[2] = {c, 0};
      size_t len = 1;
      if (i + 1 < formula.size() && formula[i + 1] >= 'a' && formula[i + 1] <= 'z') sym[len++] = formula[i + 1];
      int k = Elements().Find(std::string_view(sym, len));
      return k >= 1 && k <= kDeuteriumBlock ? k : kOtherBlock;
    }
  }
  if (formula.empty()) return kOtherBlock;
  FormulaComposition comp = ParseFormula(formula);
  if (comp.ok() && comp.FirstElement() == kElectron) return kElectronBlock;
  return kOtherBlock;
}

std::string_view CatalogueBlockName(int block) {
  if (block >= 1 && block <= kDeuteriumBlock) return Elements().symbol[block];
  if (block == kOtherBlock) return "other";
  return "";
}

}  // namespace zyl::thermo
