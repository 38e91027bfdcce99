#include "platform/text.h"
#include "balance/balance_io.h"

#include <cmath>
#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "balance/target.h"

namespace zyl::balance {

namespace {

using platform::Trim;
std::string Upper(std::string_view s) { return platform::ToUpper(s); }

std::optional<double> ToNumber(std::string_view s) {
  std::string t = Trim(s);
  if (t.empty()) return std::nullopt;
  char* end = nullptr;
  double v = std::strtod(t.c_str(), &end);
  if (end != t.c_str() + t.size() || !std::isfinite(v)) return std::nullopt;  // "1e999", "inf", "nan"
  return v;
}

bool IsFinite(const nlohmann::json& v) { return v.is_number() && std::isfinite(v.get<double>()); }

std::string ParseRows(const nlohmann::json& rows, std::vector<DescRow>& out, std::string_view where) {
  if (!rows.is_array()) return fmt::format("{}: a list of rows expected", where);
  int i = 0;
  for (const auto& r : rows) {
    ++i;
    if (!r.is_object()) return fmt::format("{} row {}: an object expected", where, i);
    DescRow d;
    if (r.contains("heat")) {
      if (!r["heat"].is_string() || !r.contains("value") || !IsFinite(r["value"]))
        return fmt::format("{} row {}: a heat row needs \"heat\" (text) and \"value\" (number)", where, i);
      d.heat = true;
      d.species = r["heat"].get<std::string>();
      d.amount = r["value"].get<double>();
      out.push_back(d);
      continue;
    }
    if (!r.contains("species") || !r["species"].is_string())
      return fmt::format("{} row {}: \"species\" missing", where, i);
    d.species = r["species"].get<std::string>();
    if (r.contains("T")) {
      if (!IsFinite(r["T"])) return fmt::format("{} row {}: \"T\" must be a number", where, i);
      d.T = r["T"].get<double>();
    }
    int n = 0;
    for (auto [key, c] : {std::pair{"kmol", col::kKmol}, std::pair{"kg", col::kKg}, std::pair{"Nm3", col::kNm3}}) {
      if (!r.contains(key)) continue;
      if (r[key].is_string() && r[key].get<std::string>().rfind("=", 0) == 0) d.amount_formula = r[key].get<std::string>();
      else if (!IsFinite(r[key])) return fmt::format("{} row {}: \"{}\" must be a number", where, i, key);
      else d.amount = r[key].get<double>();
      d.amount_col = c;
      ++n;
    }
    if (n != 1) return fmt::format("{} row {}: give exactly one of \"kmol\", \"kg\", \"Nm3\"", where, i);
    if (r.contains("stream")) {
      if (!r["stream"].is_string()) return fmt::format("{} row {}: \"stream\" must be a text", where, i);
      d.stream = r["stream"].get<std::string>();
    }
    out.push_back(d);
  }
  return {};
}

/// Writes the rows of one side, a stream row before each run of rows of the same stream.
void WriteSide(BalanceBook& book, int sheet, const std::vector<DescRow>& rows, std::vector<std::string>& unknown) {
  int r = book.NextFreeRow(sheet);
  std::string current;
  for (const DescRow& d : rows) {
    if (!d.stream.empty() && d.stream != current) {
      book.PutStream(sheet, r++, d.stream);
    } else if (d.stream.empty() && !current.empty()) {
      ++r;  // a blank row ends the stream
    }
    current = d.stream;
    if (d.heat) {
      book.PutHeat(sheet, r++, d.species, d.amount);
      continue;
    }
    if (!d.amount_formula.empty()) book.book().sheet(sheet).SetFormula(r, d.amount_col, d.amount_formula);
    bool found = d.amount_formula.empty() ? book.PutSpecies(sheet, r, d.species, d.T, d.amount_col, d.amount)
                                          : book.PutSpecies(sheet, r, d.species, d.T, -1, 0);
    if (!found) unknown.push_back(d.species);
    ++r;
  }
  book.RefreshStreamT(sheet);
}

}  // namespace

std::string ParseDescription(std::string_view text, BalanceDescription& out) {
  nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
  if (j.is_discarded() || !j.is_object()) return "the description is not a JSON object";
  out = {};
  if (j.contains("energy_unit")) {
    auto u = j["energy_unit"].is_string() ? ParseEnergyUnit(j["energy_unit"].get<std::string>()) : std::nullopt;
    if (!u) return "\"energy_unit\" must be one of kcal, Mcal, kJ, MJ, kWh";
    out.units.energy = *u;
  }
  if (j.contains("temperature_unit")) {
    std::string t = j["temperature_unit"].is_string() ? j["temperature_unit"].get<std::string>() : "";
    if (t == "C" || t == "°C") out.units.temp = TempUnit::C;
    else if (t == "K") out.units.temp = TempUnit::K;
    else return "\"temperature_unit\" must be C or K";
  }
  if (j.contains("ideal_gas")) out.units.ideal_gas = j["ideal_gas"].is_boolean() && j["ideal_gas"].get<bool>();
  if (!j.contains("areas") || !j["areas"].is_array() || j["areas"].empty())
    return "\"areas\" must be a non-empty list";
  int k = 0;
  for (const auto& a : j["areas"]) {
    ++k;
    DescArea area;
    if (!a.is_object()) return fmt::format("area {}: an object expected", k);
    if (a.contains("in"))
      if (auto e = ParseRows(a["in"], area.in, fmt::format("area {} in", k)); !e.empty()) return e;
    if (a.contains("out"))
      if (auto e = ParseRows(a["out"], area.out, fmt::format("area {} out", k)); !e.empty()) return e;
    out.areas.push_back(std::move(area));
  }
  if (j.contains("targets")) {
    if (!j["targets"].is_array()) return "\"targets\" must be a list";
    int i = 0;
    for (const auto& t : j["targets"]) {
      ++i;
      if (!t.is_object() || !t.contains("variable") || !t["variable"].is_string() || !t.contains("target") ||
          !t["target"].is_string() || !t.contains("value") || !t["value"].is_number() || !t.contains("min") ||
          !t["min"].is_number() || !t.contains("max") || !t["max"].is_number())
        return fmt::format("target {}: \"variable\", \"min\", \"max\", \"target\" and \"value\" are needed", i);
      DescTarget d;
      d.variable = t["variable"].get<std::string>();
      d.target = t["target"].get<std::string>();
      d.min = t["min"].get<double>();
      d.max = t["max"].get<double>();
      d.value = t["value"].get<double>();
      d.name = t.contains("name") && t["name"].is_string() ? t["name"].get<std::string>() : "Variable";
      d.target_name =
          t.contains("target_name") && t["target_name"].is_string() ? t["target_name"].get<std::string>() : "Target";
      if (t.contains("iterations")) {
        if (!t["iterations"].is_number_integer()) return fmt::format("target {}: \"iterations\" must be a whole number", i);
        d.iterations = t["iterations"].get<int>();
      }
      out.targets.push_back(d);
    }
  }
  return {};
}

std::string BuildBalance(BalanceBook& book, const BalanceDescription& desc) {
  book.MNew(desc.units);
  bool was = book.book().AutoRecalc();
  book.book().SetAutoRecalc(false);
  while (book.AreaCount() < static_cast<int>(desc.areas.size())) book.MInsBA();
  std::vector<std::string> unknown;
  for (size_t k = 0; k < desc.areas.size(); ++k) {
    int area = static_cast<int>(k) + 1;
    WriteSide(book, book.InSheet(area), desc.areas[k].in, unknown);
    WriteSide(book, book.OutSheet(area), desc.areas[k].out, unknown);
  }
  if (!desc.targets.empty()) {
    platform::Sheet& sh = book.book().sheet(TargetSheet(book));
    int r = kTargetFirstRow;
    for (const DescTarget& t : desc.targets) {
      sh.SetText(r, tcol::kVarName, t.name);
      SetCellRef(sh, r, true, t.variable, true);
      sh.SetNumber(r, tcol::kMin, t.min);
      sh.SetNumber(r, tcol::kMax, t.max);
      sh.SetText(r, tcol::kTargetName, t.target_name);
      SetCellRef(sh, r, false, t.target, false);
      sh.SetNumber(r, tcol::kTargetValue, t.value);
      sh.SetNumber(r, tcol::kIterations, t.iterations);
      ++r;
    }
  }
  book.book().Recalculate();
  book.book().SetAutoRecalc(was);
  if (!unknown.empty()) {
    std::string e = "unknown species:";
    for (const auto& u : unknown) e += " " + u;
    return e;
  }
  return {};
}

std::string ParseOheText(std::string_view text, BalanceDescription& desc) {
  enum class Section { None, Component, ExtraInput, ExtraHeat, HeatLosses };
  Section section = Section::None;
  desc = {};
  desc.units.energy = EnergyUnit::Mcal;
  desc.units.temp = TempUnit::C;
  desc.areas.resize(1);
  DescArea& area = desc.areas[0];
  std::istringstream in{std::string(text)};
  std::string line;
  int n = 0;
  auto fail = [&](std::string_view why) { return fmt::format("Error in line {}: {} ({})", n, Trim(line), why); };
  while (std::getline(in, line)) {
    ++n;
    std::string t = Trim(line);
    if (t.empty() || t[0] == '#' || t[0] == '!') continue;
    std::string u = Upper(t);
    if (u == "COMPONENT" || u == "COMPONENT:") { section = Section::Component; continue; }
    if (u == "EXTRA INPUT" || u == "EXTRA INPUT:") { section = Section::ExtraInput; continue; }
    if (u == "EXTRA HEAT:" || u == "EXTRA HEAT") { section = Section::ExtraHeat; continue; }
    if (u == "HEAT LOSSES" || u == "HEAT LOSSES:" || u == "HEAT LOSESS" || u == "HEAT LOSESS:") {
      section = Section::HeatLosses;
      continue;
    }
    std::vector<std::string> f;
    {
      std::string cur;
      for (char c : t) {
        if (c == ' ' || c == '\t' || c == ';') {
          if (!cur.empty()) f.push_back(cur), cur.clear();
        } else {
          cur += c;
        }
      }
      if (!cur.empty()) f.push_back(cur);
    }
    if (f.empty()) continue;  // separators only
    if (section == Section::None) {
      std::string key = Upper(f[0]);
      if (key == "UNIT" || key == "UNIT:") {
        auto e = f.size() > 1 ? ParseEnergyUnit(f[1]) : std::nullopt;
        if (!e || (*e != EnergyUnit::Mcal && *e != EnergyUnit::MJ && *e != EnergyUnit::kWh))
          return fail("energy unit Mcal, MJ or kWh expected");
        desc.units.energy = *e;
        continue;
      }
      if (key == "TITLE" || key == "TITLE:") continue;
      return fail("a section head expected");
    }
    if (section == Section::ExtraHeat || section == Section::HeatLosses) {
      if (f.size() < 2) return fail("description and value expected");
      auto v = ToNumber(f.back());
      if (!v) return fail("the value is not a number");
      DescRow d;
      d.heat = true;
      std::string desc_text;
      for (size_t i = 0; i + 1 < f.size(); ++i) desc_text += (i ? " " : "") + f[i];
      d.species = desc_text;
      d.amount = *v;
      (section == Section::ExtraHeat ? area.in : area.out).push_back(d);
      continue;
    }
    size_t i = 0;
    bool input = true;
    if (section == Section::Component) {
      std::string side = Upper(f[0]);
      if (side != "IN" && side != "OUT") return fail("IN or OUT expected");
      input = side == "IN";
      i = 1;
    }
    if (f.size() < i + 3) return fail("formula, temperature and amount expected");
    DescRow d;
    d.species = f[i];
    auto T = ToNumber(f[i + 1]);
    auto a = ToNumber(f[i + 2]);
    if (!T || !a) return fail("temperature and amount must be numbers");
    d.T = *T;
    d.amount = *a;
    if (f.size() > i + 3) {
      std::string unit = Upper(f[i + 3]);
      if (unit == "KG") d.amount_col = col::kKg;
      else if (unit == "NM3") d.amount_col = col::kNm3;
      else if (unit != "KMOL") return fail("unit kmol, kg or Nm3 expected");
    }
    (input ? area.in : area.out).push_back(d);
  }
  return {};
}

std::string ImportOheText(BalanceBook& book, std::string_view text) {
  BalanceDescription desc;
  std::string err = ParseOheText(text, desc);
  if (err.empty()) err = BuildBalance(book, desc);
  return err;
}

std::string ImportOhe(BalanceBook& book, const std::filesystem::path& path) {
  std::ifstream f(path, std::ios::binary);
  if (!f) {
    std::string e = "Can not open: " + path.string();
    book.messages().Error(e);
    return e;
  }
  std::stringstream ss;
  ss << f.rdbuf();
  std::string err = ImportOheText(book, ss.str());
  if (!err.empty()) book.messages().Error(err);
  else book.SetFile(path);
  return err;
}

}  // namespace zyl::balance
