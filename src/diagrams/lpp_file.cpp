#include "diagrams/lpp_file.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>

#include "diagrams/iep_file.h"
#include "platform/files.h"
#include "platform/text.h"

namespace zyl::diagrams {
namespace {

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> out;
  size_t start = 0;
  while (true) {
    size_t comma = line.find(',', start);
    out.push_back(platform::Trim(line.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return out;
}

std::optional<double> ToNumber(const std::string& t) {
  if (t.empty()) return std::nullopt;
  double v = 0;
  auto [p, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
  if (ec != std::errc() || p != t.data() + t.size() || !std::isfinite(v)) return std::nullopt;
  return v;
}

}  // namespace

std::string FormatLpp(const LppSetup& s) {
  std::string out = fmt::format("{}\n{}, {}, {}\n{}\n{}\n{}\n", kLppHeader, s.elements[0], s.elements[1], s.elements[2],
                                s.x_gas, s.y_gas, FormatFixed(s.T, 2));
  out += fmt::format("{}, {}, {}, {}\n", FormatFixed(s.xmin, 4), FormatFixed(s.xmax, 4), FormatFixed(s.ymin, 4),
                     FormatFixed(s.ymax, 4));
  for (const std::string& sp : s.species) out += sp + "\n";
  return out;
}

std::string WriteLpp(const std::filesystem::path& path, const LppSetup& s) {
  std::string error;
  if (!platform::WriteFileAtomic(path, FormatLpp(s), &error)) return fmt::format("Can not write {}: {}", path.string(), error);
  return {};
}

LppReadResult ParseLpp(std::string_view text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t nl = text.find('\n', start);
    lines.push_back(platform::Trim(text.substr(start, nl == std::string_view::npos ? std::string_view::npos : nl - start)));
    if (nl == std::string_view::npos) break;
    start = nl + 1;
  }
  LppReadResult r;
  auto fail = [&](size_t line, std::string_view what) {
    r.error = fmt::format("Line {} of the Lpp set-up: {}", line, what);
    return r;
  };
  if (lines.empty() || lines[0].rfind("Lpp - Diagram", 0) != 0) return fail(1, "not an Lpp set-up file");
  LppSetup s;
  if (lines.size() < 2) return fail(2, "expected the three elements");
  auto el = Split(lines[1]);
  if (el.size() != 3 || el[0].empty() || el[1].empty() || el[2].empty()) return fail(2, kMsgSelectThreeElements);
  s.elements = {el[0], el[1], el[2]};
  if (lines.size() < 4 || !IsGasName(lines[2]) || !IsGasName(lines[3])) return fail(3, "expected the two axis gases");
  s.x_gas = lines[2];
  s.y_gas = lines[3];
  auto t = lines.size() > 4 ? ToNumber(lines[4]) : std::nullopt;
  if (!t || *t <= 0) return fail(5, "expected the temperature in K");
  s.T = *t;
  if (lines.size() < 6) return fail(6, "expected the axis limits");
  auto lim = Split(lines[5]);
  std::array<double, 4> v{};
  if (lim.size() != 4) return fail(6, "expected the axis limits x min, x max, y min, y max");
  for (size_t i = 0; i < 4; ++i) {
    auto n = ToNumber(lim[i]);
    if (!n) return fail(6, "expected the axis limits x min, x max, y min, y max");
    v[i] = *n;
  }
  s.xmin = v[0], s.xmax = v[1], s.ymin = v[2], s.ymax = v[3];
  for (size_t i = 6; i < lines.size(); ++i)
    if (!lines[i].empty()) s.species.push_back(lines[i]);
  r.setup = std::move(s);
  return r;
}

LppReadResult ReadLpp(const std::filesystem::path& path) {
  return platform::ReadAndParse<LppReadResult>(path, ParseLpp, fmt::format("Can not read {}", path.string()));
}

PredomSetup ToPredomSetup(const LppSetup& s, int resolution) {
  PredomSetup p;
  p.elements = s.elements;
  p.x_axis = s.x_gas;
  p.y_axis = s.y_gas;
  p.constant = std::string(kTemperature);
  p.constant_value = s.T;
  p.celsius = false;
  p.xmin = s.xmin, p.xmax = s.xmax, p.ymin = s.ymin, p.ymax = s.ymax;
  p.species = s.species;
  p.resolution = resolution;
  return p;
}

}  // namespace zyl::diagrams
