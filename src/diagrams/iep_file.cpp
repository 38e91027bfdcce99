#include "diagrams/iep_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "platform/files.h"
#include "platform/text.h"

namespace zyl::diagrams {
namespace {

constexpr int kNameWidth = 24;
constexpr int kNumberWidth = 12;
constexpr std::string_view kEndOfList = "N";
constexpr int kMaxElements = 100;

std::string JoinFixed(const std::vector<double>& v, int decimals) {
  std::string s;
  for (size_t i = 0; i < v.size(); ++i) {
    if (i) s += ", ";
    s += FormatFixed(v[i], decimals);
  }
  return s;
}

struct Lines {
  std::vector<std::string> lines;
  size_t next = 0;
  bool Done() const { return next >= lines.size(); }
  std::optional<std::string> Take() {
    if (Done()) return std::nullopt;
    return platform::Trim(lines[next++]);
  }
};

std::optional<double> ParseNumber(std::string_view s) {
  std::string t = platform::Trim(s);
  if (t.empty()) return std::nullopt;
  const char* b = t.data();
  if (*b == '+') ++b;
  double v = 0;
  auto [p, ec] = std::from_chars(b, t.data() + t.size(), v);
  if (ec != std::errc() || p != t.data() + t.size() || !std::isfinite(v)) return std::nullopt;
  return v;
}

/// A line of exactly `count` numbers separated by commas.
std::optional<std::vector<double>> Numbers(const std::string& line, size_t count) {
  std::vector<double> out;
  size_t start = 0;
  while (true) {
    size_t comma = line.find(',', start);
    auto v = ParseNumber(std::string_view(line).substr(start, comma == std::string::npos ? std::string::npos
                                                                                         : comma - start));
    if (!v) return std::nullopt;
    out.push_back(*v);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (out.size() != count) return std::nullopt;
  return out;
}

}  // namespace

std::string FormatFixed(double v, int decimals) {
  std::string s = fmt::format("{:.{}f}", v, decimals);
  if (s.find_first_not_of("-0.") == std::string::npos && s[0] == '-') s.erase(0, 1);  // no "-0.0000"
  return s;
}

std::string ValidateIep(const IepSetup& s) {
  if (s.species.size() < 3) return std::string(kMsgEphThreeSpecies);
  if (s.temperatures.empty()) return std::string(kMsgSelectTemperature);
  if (s.temperatures.size() > kMaxEphTemperatures) return "At most four temperatures.";
  if (s.elements.empty()) return "Please, select an Element";
  return {};
}

std::string FormatIep(const IepSetup& s) {
  const size_t n = s.temperatures.size();
  auto per_t = [&](const std::vector<double>& v, double fallback) {
    std::vector<double> out(n, fallback);
    for (size_t i = 0; i < n && i < v.size(); ++i) out[i] = v[i];
    return out;
  };
  const double la = s.elements.empty() ? -6 : s.elements[0].log_activity;
  const double lp = s.elements.empty() ? 0 : s.elements[0].log_pressure;
  const std::vector<double> a = per_t(s.log_activity, la), p = per_t(s.log_pressure, lp);
  std::string out;
  out += fmt::format("{}\n{}\n", kIepHeader, s.elements.size());
  for (const IepElement& e : s.elements)
    out += fmt::format("{}\n{}\n", e.symbol, JoinFixed({e.log_activity, e.log_pressure}, 4));
  out += fmt::format("{}\n{}\n{}\n", n, JoinFixed(s.temperatures, 2), s.celsius ? "C" : "K");
  if (n == 1) {
    out += JoinFixed({a[0], p[0], s.log_water_activity}, 4) + "\n";
  } else {
    out += JoinFixed(a, 4) + "\n" + JoinFixed(p, 4) + "\n" + FormatFixed(s.log_water_activity, 4) + "\n";
  }
  out += JoinFixed({s.eh_min, s.eh_max, s.ph_min, s.ph_max}, 4) + "\n";
  for (size_t k = 0; k < s.species.size(); ++k) {
    std::string line = fmt::format("{:<{}}", s.species[k], kNameWidth);
    for (size_t i = 0; i < n; ++i) {
      const double g = k < s.species_g.size() && i < s.species_g[k].size() ? s.species_g[k][i] : 0.0;
      line += fmt::format(", {:>{}}", FormatFixed(g, 4), kNumberWidth);
    }
    out += line + "\n";
  }
  out += std::string(kEndOfList) + "\n";
  return out;
}

std::string WriteIep(const std::filesystem::path& path, const IepSetup& s) {
  std::string error;
  if (!platform::WriteFileAtomic(path, FormatIep(s), &error)) return fmt::format("Can not write {}: {}", path.string(), error);
  return {};
}

IepReadResult ParseIep(std::string_view text) {
  IepReadResult r;
  Lines in;
  size_t start = 0;
  while (start <= text.size()) {
    size_t nl = text.find('\n', start);
    std::string_view line = text.substr(start, nl == std::string_view::npos ? std::string_view::npos : nl - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    in.lines.emplace_back(line);
    if (nl == std::string_view::npos) break;
    start = nl + 1;
  }
  auto fail = [&](std::string_view what) {
    r.error = fmt::format("Line {} of the Eh - pH set-up: {}", in.next, what);
    r.setup.reset();
    return r;
  };
  IepSetup s;
  auto header = in.Take();
  if (!header) return fail("the file is empty");
  s.version = header->find("4.0") != std::string::npos ? 4 : 3;
  auto count_line = in.Take();
  auto count = count_line ? ParseNumber(*count_line) : std::nullopt;
  if (!count || *count < 1 || *count > kMaxElements || *count != std::floor(*count))
    return fail("expected the number of elements");
  for (int i = 0; i < static_cast<int>(*count); ++i) {
    IepElement e;
    auto sym = in.Take();
    if (!sym || sym->empty()) return fail("expected an element symbol");
    e.symbol = *sym;
    auto nums_line = in.Take();
    auto nums = nums_line ? Numbers(*nums_line, 2) : std::nullopt;
    if (!nums) return fail("expected the two numbers of an element");
    e.log_activity = (*nums)[0];
    e.log_pressure = (*nums)[1];
    s.elements.push_back(e);
  }
  size_t n = 1;
  if (s.version == 4) {
    auto nt_line = in.Take();
    auto nt = nt_line ? ParseNumber(*nt_line) : std::nullopt;
    if (!nt || *nt < 1 || *nt > kMaxEphTemperatures || *nt != std::floor(*nt))
      return fail("expected the number of temperatures, 1 to 4");
    n = static_cast<size_t>(*nt);
  }
  auto t_line = in.Take();
  auto temps = t_line ? Numbers(*t_line, n) : std::nullopt;
  if (!temps) return fail(fmt::format("expected {} temperature(s)", n));
  s.temperatures = *temps;
  auto unit = in.Take();
  if (!unit || (*unit != "C" && *unit != "K")) return fail("expected the temperature unit C or K");
  s.celsius = *unit == "C";
  for (size_t i = 0; i < n; ++i)
    if (s.Kelvin(i) <= 0) return fail("temperatures must be above 0 K");
  if (n == 1) {
    auto l = in.Take();
    auto v = l ? Numbers(*l, 3) : std::nullopt;
    if (!v) return fail("expected three numbers");
    s.log_activity = {(*v)[0]};
    s.log_pressure = {(*v)[1]};
    s.log_water_activity = (*v)[2];
  } else {
    auto l1 = in.Take();
    auto a = l1 ? Numbers(*l1, n) : std::nullopt;
    auto l2 = a ? in.Take() : std::nullopt;
    auto p = l2 ? Numbers(*l2, n) : std::nullopt;
    auto l3 = p ? in.Take() : std::nullopt;
    auto w = l3 ? Numbers(*l3, 1) : std::nullopt;
    if (!w) return fail(fmt::format("expected two lines of {} numbers and one of one number", n));
    s.log_activity = *a;
    s.log_pressure = *p;
    s.log_water_activity = (*w)[0];
  }
  auto lim_line = in.Take();
  auto lim = lim_line ? Numbers(*lim_line, 4) : std::nullopt;
  if (!lim) return fail("expected the axis limits Eh min, Eh max, pH min, pH max");
  s.eh_min = (*lim)[0];
  s.eh_max = (*lim)[1];
  s.ph_min = (*lim)[2];
  s.ph_max = (*lim)[3];
  while (auto l = in.Take()) {
    if (l->empty() || *l == kEndOfList) continue;
    const size_t comma = l->find(',');
    std::string name = platform::Trim(l->substr(0, comma));
    if (name.empty()) continue;
    std::vector<double> g;
    if (comma != std::string::npos) {
      std::string rest = l->substr(comma + 1);
      size_t parts = 1 + static_cast<size_t>(std::count(rest.begin(), rest.end(), ','));
      if (auto v = Numbers(rest, parts)) g = *v;
    }
    s.species.push_back(name);
    s.species_g.push_back(g);
  }
  r.setup = std::move(s);
  return r;
}

IepReadResult ReadIep(const std::filesystem::path& path) {
  return platform::ReadAndParse<IepReadResult>(path, ParseIep, fmt::format("Can not read {}", path.string()));
}

}  // namespace zyl::diagrams
