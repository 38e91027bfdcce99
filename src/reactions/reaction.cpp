#include "reactions/reaction.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>

#include "platform/messages.h"
#include "thermo/formula.h"

namespace zyl::reactions {

namespace {

constexpr std::string_view kNobleGases[] = {"He", "Ne", "Ar", "Kr", "Xe", "Rn"};
constexpr double kLn10 = 2.302585092994045684;

/// Zero H, S and G at every temperature: the electron and the proton of the hydrogen-electrode scale.
thermo::SpeciesData ZeroSpecies(std::string_view name) {
  thermo::SpeciesData sp;
  thermo::SpeciesRange r;
  r.t1 = 0;
  r.t2 = std::numeric_limits<double>::max();
  sp.ranges.push_back(r);
  sp.name = std::string(name);  // no ion class: the Criss-Cobble estimate never applies
  return sp;
}

bool IsConventionalZero(std::string_view name) { return name == thermo::kElectron || name == "H(+a)"; }

double EnergyFactor(EnergyUnit unit) { return unit == EnergyUnit::kJ ? kCalToJ : 1.0; }

/// Pads a UTF-8 text on the left to `width` characters.
std::string PadLeft(std::string_view text, size_t width) {
  size_t chars = 0;
  for (unsigned char c : text) chars += (c & 0xC0) != 0x80;
  std::string out;
  if (chars < width) out.assign(width - chars, ' ');
  out += text;
  return out;
}

std::string CsvField(std::string_view text) {
  if (text.find_first_of(",\"\n") == std::string_view::npos) return std::string(text);
  std::string out = "\"";
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + '"';
}

}  // namespace

std::string_view UnitText(EnergyUnit unit) { return unit == EnergyUnit::kJ ? "kJ" : "kcal"; }
std::string_view EntropyUnitText(EnergyUnit unit) { return unit == EnergyUnit::kJ ? "J/K" : "cal/K"; }

std::optional<double> ReadNumberField(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  double v = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(v)) return std::nullopt;
  return v;
}

std::optional<TempUnit> ParseTempUnit(std::string_view text) {
  if (text == "C" || text == "c" || text == "°C") return TempUnit::Celsius;
  if (text == "K" || text == "k") return TempUnit::Kelvin;
  return std::nullopt;
}

std::optional<EnergyUnit> ParseEnergyUnit(std::string_view text) {
  if (text == "kJ") return EnergyUnit::kJ;
  if (text == "kcal") return EnergyUnit::kcal;
  return std::nullopt;
}

bool IsBareNobleGas(std::string_view name) {
  for (auto g : kNobleGases)
    if (name == g) return true;
  return false;
}

std::string NotFoundMessage(std::string_view name, const ParsedEquation& eq) {
  std::string first = std::string(name) + std::string(kMsgNotFound);
  for (const auto& s : eq.Species)
    if (IsBareNobleGas(s))
      return platform::JoinLines({first, kMsgCanNotCalculate, kMsgNobleGasNote, kMsgNobleGasExamples});
  return platform::JoinLines({first, kMsgCanNotCalculate});
}

ReactionSpecies LookupReactionSpecies(const ParsedEquation& eq, const thermo::SpeciesDatabases& dbs) {
  ReactionSpecies out;
  out.data.reserve(eq.Species.size());
  for (const auto& name : eq.Species) {
    thermo::SpeciesLocation loc = thermo::FindSpecies(name, dbs);
    thermo::SpeciesData sp;
    if (loc) sp = thermo::ReadSpeciesData(loc, name);
    if (sp.ranges.empty()) {
      if (!IsConventionalZero(name)) {
        out.data.clear();
        out.error = NotFoundMessage(name, eq);
        return out;
      }
      sp = ZeroSpecies(name);
    }
    out.data.push_back(std::move(sp));
  }
  return out;
}

std::vector<double> TransitionTemperatures(const thermo::SpeciesData& sp) {
  std::vector<double> t;
  for (size_t k = 1; k < sp.ranges.size(); ++k) {
    const auto& r = sp.ranges[k];
    if (std::string_view(r.phase) != std::string_view(sp.ranges[k - 1].phase) ||
        std::fabs(r.h) >= kMinTransitionEnthalpy)
      t.push_back(r.t1);
  }
  return t;
}

std::vector<ColumnInfo> ReactionTable::Columns() const {
  const std::string e(UnitText(energy_unit));
  std::vector<ColumnInfo> cols = {
      {Column::T, "T", std::string(UnitText(temp_unit)), kNumberFormat},
      {Column::DeltaH, "ΔH", e, kNumberFormat},
      {Column::DeltaS, "ΔS", std::string(EntropyUnitText(energy_unit)), kNumberFormat},
      {Column::DeltaG, "ΔG", e, kNumberFormat},
      {Column::K, "K", "", kNumberFormat},
  };
  if (show_log_k) cols.push_back({Column::LogK, "log K", "", kNumberFormat});
  if (has_potential)
    cols.push_back({Column::E, std::string(kPotentialHeader), std::string(kPotentialUnit), kPotentialFormat});
  return cols;
}

std::optional<double> ReactionTable::Cell(const ReactionRow& row, Column column) const {
  const double f = EnergyFactor(energy_unit);
  switch (column) {
    case Column::T: return FromKelvin(row.T, temp_unit);
    case Column::DeltaH: return row.DeltaH * f;
    case Column::DeltaS: return row.DeltaS * f;
    case Column::DeltaG: return row.DeltaG * f;
    case Column::K: return row.K;
    case Column::LogK: return row.LogK;
    case Column::E: return row.E;
  }
  return std::nullopt;
}

ReactionTable CalcReactionTable(const ParsedEquation& eq, const std::vector<thermo::SpeciesData>& data,
                                const ReactionOptions& options) {
  thermo::SetCrissCobble(options.criss_cobble);
  ReactionTable table;
  table.parsed = eq;
  table.temp_unit = options.temp_unit;
  table.energy_unit = options.energy_unit;
  table.show_log_k = options.show_log_k;
  const size_t n = std::min(data.size(), eq.Species.size());

  std::vector<double> transitions;
  if (options.transitions)
    for (size_t j = 0; j < n; ++j) {
      auto t = TransitionTemperatures(data[j]);
      transitions.insert(transitions.end(), t.begin(), t.end());
    }
  TemperatureList list = MakeTemperatureList(options.T1, options.T2, options.step, options.temp_unit, transitions);
  if (!list.ok()) {
    table.error = list.error;
    return table;
  }
  table.step = list.step;
  table.step_reset = list.step_reset;

  // Signed coefficients: products add, reactants subtract, the electron like any other term.
  // The potential's c is the first electron term's coefficient with its numerator's sign
  // reversed; the divisor takes the absolute value.
  std::vector<double> coef(n);
  double electron_c = 0;
  for (size_t j = 0; j < n; ++j) {
    const int i = static_cast<int>(j);
    if (eq.Species[j] == thermo::kElectron && !table.has_potential) {
      electron_c = -eq.Numerator[j] / eq.Denominator[j];
      table.has_potential = true;
    }
    coef[j] = (eq.IsLeft(i) ? -eq.Numerator[j] : eq.Numerator[j]) / eq.Denominator[j];
  }
  const double potential_divisor = std::fabs(kPotentialFactor * electron_c * kFaraday);

  // Which extrapolation kinds each species has already noted (bit per kind).
  std::vector<unsigned> noted(n, 0);
  table.rows.reserve(list.rows.size());
  for (const TemperatureRow& tr : list.rows) {
    ReactionRow row;
    row.T = tr.T;
    row.transition = tr.transition;
    double h = 0, s = 0, g = 0;  // cal, cal/K, cal
    for (size_t j = 0; j < n; ++j) {
      const thermo::SpeciesValues v = thermo::CalcSpeciesAtT(data[j], tr.T);
      h += coef[j] * v.h;
      s += coef[j] * v.s;
      g += coef[j] * v.g;
      if (v.extrapolated != thermo::Extrapolation::None) {
        row.extrapolated = true;
        const unsigned bit = 1u << static_cast<unsigned>(v.extrapolated);
        if (!(noted[j] & bit)) {
          noted[j] |= bit;
          std::string note = eq.Species[j] + ": " + thermo::ExtrapolationNote(data[j], v);
          bool seen = false;
          for (const auto& x : table.notes) seen |= x == note;
          if (!seen) table.notes.push_back(std::move(note));
        }
      }
    }
    row.DeltaH = h / 1000;
    row.DeltaS = s;
    row.DeltaG = g / 1000;
    const double x = -1000 * row.DeltaG / (kGasConstant * tr.T);
    row.K = std::exp(x);
    if (row.K > 0) row.LogK = std::isfinite(row.K) ? std::log(row.K) / kLn10 : x / kLn10;
    if (table.has_potential) row.E = -row.DeltaG / potential_divisor;
    table.rows.push_back(row);
  }
  return table;
}

ReactionTable CalcReaction(std::string_view equation, const ReactionOptions& options,
                           const thermo::SpeciesDatabases& dbs) {
  ReactionTable table;
  auto fail = [&](std::string message) {
    table.error = std::move(message);
    table.equation = std::string(equation);
    return table;
  };
  ParsedEquation eq = ParseEquation(equation);
  if (!eq.ok()) return fail(eq.error);
  ReactionSpecies species = LookupReactionSpecies(eq, dbs);
  if (!species.ok()) return fail(species.error);
  BalanceResult balance = CheckBalance(eq);
  if (!balance.error.empty()) return fail(balance.error);
  if (!balance.balanced()) return fail(balance.message);
  table = CalcReactionTable(eq, species.data, options);
  table.equation = std::string(equation);
  return table;
}

std::string FormatCell(double value, Column column) {
  if (column == Column::E) return fmt::format("{:.4f}", value);
  if (std::isinf(value)) return value > 0 ? "INF " : "-INF ";
  if (std::fabs(value) >= 1e9 || (column == Column::K && value != 0 && std::fabs(value) < 1e-3))
    return fmt::format("{:.4E} ", value);
  if (value == 0) value = 0;  // no "-0.000"
  std::string s = fmt::format("{:.3f} ", value);
  if (s == "-0.000 ") s = "0.000 ";
  return s;
}

std::string FormatLargeK(double log_k) {
  double exponent = std::floor(log_k);
  double mantissa = std::pow(10.0, log_k - exponent);
  if (std::stod(fmt::format("{:.4f}", mantissa)) >= 10) mantissa /= 10, exponent += 1;  // 9.99996 -> 1.0000E+n
  return fmt::format("{:.4f}E{}{:.0f}", mantissa, exponent < 0 ? "-" : "+", std::fabs(exponent));
}

std::string CellText(const ReactionTable& table, const ReactionRow& row, Column column) {
  std::optional<double> v = table.Cell(row, column);
  if (!v) return {};
  std::string s = column == Column::K && std::isinf(*v) && row.LogK && std::isfinite(*row.LogK)
                      ? FormatLargeK(*row.LogK)
                      : FormatCell(*v, column);
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

std::string FormatReactionText(const ReactionTable& table) {
  constexpr size_t kWidth = 14;
  std::string out = fmt::format("{}{}\n\n", kResultsCaptionPrefix, table.equation);
  if (!table.ok()) return out + table.error + "\n";
  const auto cols = table.Columns();
  std::string header, units;
  for (const auto& c : cols) {
    header += PadLeft(c.header + (c.number_format == kNumberFormat ? " " : ""), kWidth);
    units += PadLeft(c.unit + (c.number_format == kNumberFormat && !c.unit.empty() ? " " : ""), kWidth);
  }
  auto add_line = [&out](std::string line) {
    while (!line.empty() && line.back() == ' ') line.pop_back();
    out += line;
    out += '\n';
  };
  add_line(header);
  add_line(units);
  bool any_transition = false;
  for (const auto& row : table.rows) {
    std::string line;
    for (const auto& c : cols) {
      std::optional<double> v = table.Cell(row, c.column);
      std::string cell = v ? FormatCell(*v, c.column) : std::string();
      if (v && std::isinf(*v) && c.column == Column::K) cell = CellText(table, row, c.column) + " ";
      line += PadLeft(cell, kWidth);
    }
    if (row.transition) {
      line += "  *";
      any_transition = true;
    }
    add_line(std::move(line));
  }
  if (any_transition || table.step_reset || !table.notes.empty()) out += "\n";
  if (table.step_reset)
    out += fmt::format("Step widened to {:.3f} to keep the table at {} rows.\n", table.step, kMaxRegularRows);
  if (any_transition) out += "* row at a phase transition (0.00003 K below or 0.00001 K above it)\n";
  for (const auto& n : table.notes) out += n + "\n";
  return out;
}

std::string FormatReactionCsv(const ReactionTable& table) {
  std::string out;
  const auto cols = table.Columns();
  for (size_t i = 0; i < cols.size(); ++i) {
    std::string name = cols[i].header;
    if (!cols[i].unit.empty()) name += " (" + cols[i].unit + ")";
    out += (i ? "," : "") + CsvField(name);
  }
  out += ",transition\n";
  for (const auto& row : table.rows) {
    for (size_t i = 0; i < cols.size(); ++i) {
      std::optional<double> v = table.Cell(row, cols[i].column);
      if (i) out += ',';
      if (v && std::isinf(*v)) out += CellText(table, row, cols[i].column);
      else if (v) out += fmt::format("{}", *v);
    }
    out += row.transition ? ",1\n" : ",0\n";
  }
  return out;
}

}  // namespace zyl::reactions
