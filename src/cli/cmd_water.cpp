#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

#include "cli/commands.h"
#include "thermo/constants.h"
#include "water/iapws95.h"

namespace zyl::cli {

namespace {

using thermo::kCelsiusOffset;
constexpr double kBarPerMPa = 10.0;
constexpr double kAtmPerMPa = 1.0 / 0.101325;
constexpr double kMicroPerUnit = 1e6;  // Pa s -> µPa s

struct WaterOptions {
  std::optional<double> T, P;
  std::string tunit = "K", punit = "MPa";
  bool saturation = false;
  bool json = false;
};

nlohmann::json StateJson(const water::State& s, bool with_tp) {
  nlohmann::json j;
  if (with_tp) {
    j["T"] = s.T;
    j["P"] = s.P;
    j["phase"] = water::PhaseName(s.phase);
  }
  j["rho"] = s.rho;
  j["v"] = s.v;
  j["u"] = s.u;
  j["h"] = s.h;
  j["s"] = s.s;
  j["cp"] = s.cp;
  j["cv"] = s.cv;
  j["w"] = s.w;
  j["eta"] = s.eta;
  j["lambda"] = s.lambda;
  return j;
}

std::string StateText(const water::State& s) {
  return fmt::format(
      "  density          {:14.6f} kg/m3\n"
      "  specific volume  {:14.8g} m3/kg\n"
      "  internal energy  {:14.6f} kJ/kg\n"
      "  enthalpy         {:14.6f} kJ/kg\n"
      "  entropy          {:14.8f} kJ/(kg K)\n"
      "  cp               {:14.8f} kJ/(kg K)\n"
      "  cv               {:14.8f} kJ/(kg K)\n"
      "  speed of sound   {:14.6f} m/s\n"
      "  viscosity        {:14.6f} µPa s\n"
      "  conductivity     {:14.8f} W/(m K)\n",
      s.rho, s.v, s.u, s.h, s.s, s.cp, s.cv, s.w, s.eta * kMicroPerUnit, s.lambda);
}

int RunWater(const WaterOptions& o) {
  double T = NAN, P = NAN;
  if (o.T) T = o.tunit == "C" ? *o.T + kCelsiusOffset : *o.T;
  if (o.P) P = o.punit == "bar" ? *o.P / kBarPerMPa : o.punit == "atm" ? *o.P / kAtmPerMPa : *o.P;
  if (o.saturation) {
    if (o.T.has_value() == o.P.has_value()) return Fail("--saturation needs one of -T or -P");
    auto sat = o.T ? water::SaturationAtT(T) : water::SaturationAtP(P);
    if (!sat.ok()) return Fail(sat.error);
    if (o.json) {
      PrintJson({{"T", sat->T},
                 {"P", sat->P},
                 {"liquid", StateJson(sat->liquid, false)},
                 {"vapour", StateJson(sat->vapour, false)}});
    } else {
      fmt::print("Saturation at T = {:.6f} K ({:.4f} °C), P = {:.9g} MPa\nliquid:\n{}vapour:\n{}", sat->T,
                 sat->T - kCelsiusOffset, sat->P, StateText(sat->liquid), StateText(sat->vapour));
    }
    return 0;
  }
  if (!o.T || !o.P) return Fail("give the temperature -T and the pressure -P (or --saturation with one of them)");
  auto st = water::StateAtTP(T, P);
  if (!st.ok()) return Fail(st.error);
  if (o.json) {
    PrintJson(StateJson(*st, true));
  } else {
    fmt::print("Water at T = {:.6g} K ({:.6g} °C), P = {:.9g} MPa: {}\n{}", T, T - kCelsiusOffset, P,
               water::PhaseName(st->phase), StateText(*st));
  }
  return 0;
}

}  // namespace

void RegisterWater(CLI::App& app) {
  auto opts = std::make_shared<WaterOptions>();
  auto* cmd = app.add_subcommand("water", "Properties of water and steam (IAPWS-95; viscosity IAPWS 2008, "
                                         "thermal conductivity IAPWS 2011)");
  cmd->add_option("-T,--temperature", opts->T, "Temperature (in --tunit)");
  cmd->add_option("-P,--pressure", opts->P, "Pressure (in --punit)");
  cmd->add_option("--tunit", opts->tunit, "Temperature unit: K or C")->check(CLI::IsMember({"K", "C"}));
  cmd->add_option("--punit", opts->punit, "Pressure unit: MPa, bar or atm")->check(CLI::IsMember({"MPa", "bar", "atm"}));
  cmd->add_flag("--saturation", opts->saturation, "Both saturated phases at -T or at -P");
  cmd->add_flag("--json", opts->json,
                "Print JSON: {T (K), P (MPa), phase, rho (kg/m3), v (m3/kg), u, h (kJ/kg), s, cp, cv (kJ/(kg K)), "
                "w (m/s), eta (Pa s), lambda (W/(m K))}; with --saturation {T, P, liquid: {...}, vapour: {...}}");
  cmd->callback([opts] { RunWater(*opts); });
}

}  // namespace zyl::cli
