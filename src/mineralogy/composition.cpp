#include "mineralogy/composition.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "thermo/elements.h"
#include "thermo/formula.h"

namespace zyl::mineralogy {

namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

/// wt-% of each row from the amounts in a basis; molar masses set.
bool ToWeightPercent(std::vector<ContentRow>& rows, const std::vector<double>& amounts, Basis basis, std::string* error) {
  if (basis == Basis::MolPercent) {
    double mass = 0;
    for (size_t i = 0; i < rows.size(); ++i) mass += amounts[i] * rows[i].molar_mass;
    if (mass <= 0) {
      *error = "The amounts add up to zero.";
      return false;
    }
    double total_mol = 0;
    for (double a : amounts) total_mol += a;
    // Scale so that the wt-% add up to the same total as the mol-% given.
    for (size_t i = 0; i < rows.size(); ++i) rows[i].wt = amounts[i] * rows[i].molar_mass / mass * total_mol;
  } else {
    for (size_t i = 0; i < rows.size(); ++i) rows[i].wt = basis == Basis::Ppm ? amounts[i] / kPpmPerPercent : amounts[i];
  }
  return true;
}

void FillMolAndPpm(std::vector<ContentRow>& rows) {
  double wt = 0, moles = 0;
  for (const auto& r : rows) {
    wt += r.wt;
    moles += r.molar_mass > 0 ? r.wt / r.molar_mass : 0;
  }
  for (auto& r : rows) {
    r.mol = moles > 0 && r.molar_mass > 0 ? r.wt / r.molar_mass / moles * wt : 0;
    r.ppm = r.wt * kPpmPerPercent;
  }
}

}  // namespace

bool ParseBasis(std::string_view text, Basis* out) {
  const std::string t = Lower(text);
  if (t == "wt" || t == "wt-%" || t == "wt%") *out = Basis::WtPercent;
  else if (t == "mol" || t == "mol-%" || t == "mol%") *out = Basis::MolPercent;
  else if (t == "ppm") *out = Basis::Ppm;
  else return false;
  return true;
}

CompositionResult ConvertCompounds(const std::vector<Content>& compounds, Basis basis) {
  CompositionResult r;
  std::vector<double> amounts;
  const auto& table = thermo::Elements();
  std::map<std::string, double> element_mass;  // g of element per 100 g of sample
  std::vector<std::string> order;
  for (const auto& c : compounds) {
    if (c.amount < 0) {
      r.error = c.name + ": contents can not be negative.";
      return r;
    }
    const auto comp = thermo::ParseFormula(c.name);
    const auto fw = thermo::FormulaWeight(comp, table);
    const bool unknown = std::any_of(comp.entries.begin(), comp.entries.end(), [&](const thermo::FormulaEntry& e) {
      return e.symbol != thermo::kElectron && table.Find(e.symbol) <= 0;
    });
    if (!comp.ok() || unknown || fw.formula_weight <= 0) {
      r.error = c.name + ": not a formula of known elements.";
      return r;
    }
    r.compounds.push_back({c.name, fw.formula_weight, 0, 0, 0});
    amounts.push_back(c.amount);
  }
  if (r.compounds.empty()) {
    r.error = "Please, give at least one compound.";
    return r;
  }
  if (!ToWeightPercent(r.compounds, amounts, basis, &r.error)) return r;
  FillMolAndPpm(r.compounds);
  for (const auto& row : r.compounds) {
    r.total_wt += row.wt;
    const auto comp = thermo::ParseFormula(row.name);
    for (const auto& e : comp.entries) {
      if (e.symbol == thermo::kElectron) continue;
      const int idx = table.Find(e.symbol);
      if (idx <= 0) continue;
      if (!element_mass.count(e.symbol)) order.push_back(e.symbol);
      element_mass[e.symbol] += row.wt * e.amount * table.weight[idx] / row.molar_mass;
    }
  }
  for (const auto& s : order) r.elements.push_back({s, table.weight[table.Find(s)], element_mass[s], 0, 0});
  FillMolAndPpm(r.elements);
  return r;
}

CompositionResult ElementsToCompounds(const std::vector<Content>& elements, Basis basis,
                                      const std::vector<Carrier>& carriers) {
  CompositionResult r;
  if (basis == Basis::MolPercent) {
    r.error = "Element contents are given in wt-% or ppm.";
    return r;
  }
  const auto& table = thermo::Elements();
  std::vector<Content> compounds;
  for (const auto& c : carriers) {
    const auto comp = thermo::ParseFormula(c.compound);
    std::string el = c.element;
    if (el.empty())
      for (const auto& e : comp.entries)
        if (e.symbol != "O" && e.symbol != thermo::kElectron) {
          el = e.symbol;
          break;
        }
    const double n = comp.Amount(el);
    const auto fw = thermo::FormulaWeight(comp, table);
    const int idx = table.Find(el);
    if (n <= 0 || idx <= 0 || fw.formula_weight <= 0) {
      r.error = c.compound + ": holds no " + (el.empty() ? std::string("element") : el) + ".";
      return r;
    }
    auto it = std::find_if(elements.begin(), elements.end(), [&](const Content& e) { return e.name == el; });
    if (it == elements.end()) {
      r.error = "No content given for " + el + ".";
      return r;
    }
    const double wt = basis == Basis::Ppm ? it->amount / kPpmPerPercent : it->amount;
    compounds.push_back({c.compound, wt * fw.formula_weight / (n * table.weight[idx])});
  }
  return ConvertCompounds(compounds, Basis::WtPercent);
}

}  // namespace zyl::mineralogy
