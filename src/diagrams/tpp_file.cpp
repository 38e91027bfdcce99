#include "diagrams/tpp_file.h"

#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "platform/files.h"
#include "platform/text.h"

namespace zyl::diagrams {

namespace {

using platform::TrimView;

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    start = end + 1;
  }
  return lines;
}

bool ReadDouble(std::string_view s, double& v) {
  s = TrimView(s);
  if (!s.empty() && s.front() == '+') s.remove_prefix(1);
  if (s.empty()) return false;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  return ec == std::errc() && p == s.data() + s.size() && std::isfinite(v);
}

std::string Number(double v) { return fmt::format("{}", v); }

}  // namespace

std::string ValidateForSave(const PredomSetup& s) {
  if (s.species.size() < 3) return std::string(kMsgAtLeastThreeSpecies);
  if (s.x_axis.empty()) return std::string(kMsgSelectX);
  if (s.y_axis.empty()) return std::string(kMsgSelectY);
  if (s.constant.empty()) return std::string(kMsgSelectConstant);
  return {};
}

std::string FormatTpp(const PredomSetup& s) {
  std::string out;
  auto line = [&](std::string_view l) {
    out += l;
    out += '\n';
  };
  line(kTppHeader);
  for (const auto& e : s.elements) line(e);
  line(" ");
  for (double v : {s.xmin, s.xmax, s.ymin, s.ymax}) line(fmt::format("{:.2f}", v));
  line(" ");
  line(Number(s.constant_value));
  double t = s.x_axis == kTemperature ? s.xmin : s.constant_value;
  line(fmt::format("{}", static_cast<float>(ToKelvin(t, s.celsius))));
  line(" ");
  line(s.x_axis);
  line(s.y_axis);
  line(s.constant);
  line(" ");
  for (const auto& sp : s.species) line(sp);
  return out;
}

std::string ButSave(const std::filesystem::path& path, const PredomSetup& s) {
  if (auto e = ValidateForSave(s); !e.empty()) return e;
  std::string error;
  if (!platform::WriteFileAtomic(path, FormatTpp(s), &error)) return error;
  return {};
}

std::optional<PredomSetup> Parse2(std::string_view text, std::string* error) {
  auto fail = [&](std::string msg) -> std::optional<PredomSetup> {
    if (error) *error = std::move(msg);
    return std::nullopt;
  };
  std::vector<std::string_view> lines = SplitLines(text);
  if (lines.empty() || TrimView(lines[0]) != TrimView(kTppHeader)) return fail("This is not a predominance set-up file.");
  if (lines.size() < 17) return fail("The set-up file ends too early.");
  PredomSetup s;
  for (int i = 0; i < 3; ++i) s.elements[i] = std::string(TrimView(lines[1 + i]));
  double* limits[4] = {&s.xmin, &s.xmax, &s.ymin, &s.ymax};
  for (int i = 0; i < 4; ++i)
    if (!ReadDouble(lines[5 + i], *limits[i]))
      return fail(fmt::format("The set-up file holds no number on line {}.", 6 + i));
  if (!ReadDouble(lines[10], s.constant_value)) return fail("The set-up file holds no number on line 11.");
  double kelvin = 0;
  if (!ReadDouble(lines[11], kelvin)) return fail("The set-up file holds no number on line 12.");
  s.x_axis = std::string(TrimView(lines[13]));
  s.y_axis = std::string(TrimView(lines[14]));
  s.constant = std::string(TrimView(lines[15]));
  for (size_t i = 17; i < lines.size(); ++i) {
    std::string_view sp = TrimView(lines[i]);
    if (!sp.empty()) s.species.emplace_back(sp);
  }
  double entered = s.x_axis == kTemperature ? s.xmin : s.constant_value;
  s.celsius = std::fabs(kelvin - (entered + kCelsiusOffset)) < 0.01 && std::fabs(kelvin - entered) >= 0.01;
  return s;
}

TppReadResult Parse(std::string_view text, const SpeciesSource& db) {
  TppReadResult r;
  r.setup = Parse2(text, &r.error);
  if (!r.setup) return r;
  PredomSetup& s = *r.setup;
  auto gone = [&](std::string& name, std::string_view what) {
    if (name.empty() || name == kTemperature || !db.Read(name).empty()) return;
    r.messages.push_back(std::string(what) + name + " is no longer available.");
    name.clear();
  };
  std::vector<std::string> kept;
  for (const auto& sp : s.species) {
    if (db.Read(sp).empty()) r.messages.push_back("The Specie: " + sp + " is no longer available.");
    else kept.push_back(sp);
  }
  s.species = std::move(kept);
  for (std::string& m : CheckSystem(s, true)) r.messages.push_back(std::move(m));
  gone(s.x_axis, "The x-axis: ");
  gone(s.y_axis, "The y-axis: ");
  gone(s.constant, "The diagram constant: ");
  return r;
}

TppReadResult ParseFile(const std::filesystem::path& path, const SpeciesSource& db) {
  std::string error;
  std::optional<std::string> text = platform::ReadFile(path, &error);
  if (!text) {
    TppReadResult r;
    r.error = error.empty() ? "Can not read " + path.string() : error;
    return r;
  }
  return Parse(*text, db);
}

}  // namespace zyl::diagrams
