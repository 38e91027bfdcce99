#include "equilibrium/gibbs_solver.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zyl::equilibrium {
namespace {

constexpr int kMaxIterations = 5000;
constexpr int kMaxPhaseChanges = 50;
constexpr int kMaxInner = 2000;  // Newton steps for one set of phases
constexpr double kTraceLn = -18.420680743952367;  // ln(1e-8): size limit for the control factor
constexpr double kConvergence = 1e-10;  // relative size of the last Newton correction
constexpr double kDecreaseRatio = 10.0;  // a falling species may drop this many times as far as a rising one
constexpr double kTraceTargetLn = 9.2103403719761836;  // -ln(1e-4): how far a trace species may rise in one step
constexpr double kDropLn = -80.6;  // ln(1e-35): species below this fraction of their phase leave the Newton sums
constexpr double kPolishResidual = 1e-13;  // relative element residual the trace recomputation must keep
constexpr int kMaxPolish = 20;
constexpr double kExpCap = 700.0;         // largest exponent taken, to stay finite
constexpr double kPhaseGone = 1e-12;      // a shrinking mixture phase below this share of the elements leaves
constexpr double kPhaseSeed = 1e-6;       // share of the elements a returning mixture phase starts with
constexpr double kStableLn = 1e-9;        // ln Σ x a mixture phase must exceed to come back
constexpr int kMaxReturns = 3;            // after this many returns a phase stays in and shrinks by Newton
constexpr double kMaxPhaseStepLn = 2.0;   // largest change of ln(phase amount) that one step may make
constexpr double kAcceptResidual = 1e-8;  // largest relative element residual of an answer
constexpr double kPivotMin = 1e-14;
constexpr double kRankTolerance = 1e-9;   // a balance row this close to a combination of others is dependent

// Solves the n×n row-major system a·x = b in place (x in b) by Gaussian elimination with partial
// pivoting after scaling every row to a largest entry of 1.
bool SolveLinear(double* a, double* b, size_t n) {
  for (size_t r = 0; r < n; ++r) {
    double* row = a + r * n;
    double m = 0.0;
    for (size_t k = 0; k < n; ++k) m = std::max(m, std::fabs(row[k]));
    if (m == 0.0 || !std::isfinite(m)) return false;
    const double inv = 1.0 / m;
    for (size_t k = 0; k < n; ++k) row[k] *= inv;
    b[r] *= inv;
  }
  for (size_t c = 0; c < n; ++c) {
    size_t p = c;
    for (size_t r = c + 1; r < n; ++r)
      if (std::fabs(a[r * n + c]) > std::fabs(a[p * n + c])) p = r;
    if (std::fabs(a[p * n + c]) < kPivotMin) return false;
    if (p != c) {
      std::swap_ranges(a + p * n, a + p * n + n, a + c * n);
      std::swap(b[p], b[c]);
    }
    const double* pc = a + c * n;
    const double inv = 1.0 / pc[c];
    for (size_t r = c + 1; r < n; ++r) {
      double* pr = a + r * n;
      const double f = pr[c] * inv;
      if (f == 0.0) continue;
      for (size_t k = c; k < n; ++k) pr[k] -= f * pc[k];
      b[r] -= f * b[c];
    }
  }
  for (size_t c = n; c-- > 0;) {
    double s = b[c];
    for (size_t k = c + 1; k < n; ++k) s -= a[c * n + k] * b[k];
    b[c] = s / a[c * n + c];
  }
  return true;
}

// Σ x·y and Σ x with four partial sums, so that the loops pipeline and vectorise.
double DotOf(const double* x, const double* y, size_t n) {
  double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
  size_t c = 0;
  for (; c + 4 <= n; c += 4) {
    s0 += x[c] * y[c];
    s1 += x[c + 1] * y[c + 1];
    s2 += x[c + 2] * y[c + 2];
    s3 += x[c + 3] * y[c + 3];
  }
  for (; c < n; ++c) s0 += x[c] * y[c];
  return (s0 + s1) + (s2 + s3);
}

double SumOf(const double* x, size_t n) {
  double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
  size_t c = 0;
  for (; c + 4 <= n; c += 4) {
    s0 += x[c];
    s1 += x[c + 1];
    s2 += x[c + 2];
    s3 += x[c + 3];
  }
  for (; c < n; ++c) s0 += x[c];
  return (s0 + s1) + (s2 + s3);
}

bool SolveLinear(std::vector<double>& a, std::vector<double>& b) { return SolveLinear(a.data(), b.data(), b.size()); }

}  // namespace

GibbsResult SolveGibbs(const GibbsProblem& pr) {
  GibbsResult res;
  const size_t ne_all = pr.elements.size();
  const size_t ns = pr.species.size();
  res.mol.assign(ns, 0.0);
  res.potentials.assign(ne_all, 0.0);
  if (pr.element_mol.size() != ne_all) {
    res.message = "The element amounts do not match the element list.";
    return res;
  }
  if (!(pr.pressure > 0.0)) {
    res.message = "The pressure must be positive.";
    return res;
  }
  const std::vector<GibbsPhase> one_gas{{"GAS", MixtureKind::Gas, -1}};
  const auto& phases = pr.phases.empty() ? one_gas : pr.phases;
  const size_t nph = phases.size();
  res.phase_mol.assign(nph, 0.0);
  for (size_t i = 0; i < ne_all; ++i) {
    if (pr.element_mol[i] < 0.0) {
      res.message = "Element " + pr.elements[i] + " has a negative amount.";
      return res;
    }
  }
  for (const auto& s : pr.species) {
    if (s.elements.size() != ne_all) {
      res.message = "Species " + s.name + " does not list every element.";
      return res;
    }
    if (!s.condensed && (s.phase < 0 || static_cast<size_t>(s.phase) >= nph)) {
      res.message = "Species " + s.name + " names no mixture phase.";
      return res;
    }
  }
  for (const auto& p : phases) {
    if (p.kind == MixtureKind::Aqueous &&
        (p.solvent < 0 || static_cast<size_t>(p.solvent) >= ns || pr.species[p.solvent].condensed ||
         &phases[pr.species[p.solvent].phase] != &p)) {
      res.message = "Phase " + p.name + ": an aqueous phase needs its solvent H2O.";
      return res;
    }
  }
  // Species whose every element is present. An element with zero total (the charge) stays a
  // balance row when species of both signs can carry it; otherwise its species are left out.
  auto OthersPresent = [&](size_t j, size_t except) {
    const auto& s = pr.species[j];
    if (!std::isfinite(s.g_rt)) return false;
    for (size_t i = 0; i < ne_all; ++i)
      if (i != except && s.elements[i] != 0.0 && pr.element_mol[i] <= 0.0) return false;
    return true;
  };
  std::vector<size_t> el;
  for (size_t i = 0; i < ne_all; ++i) {
    if (pr.element_mol[i] > 0.0) {
      el.push_back(i);
      continue;
    }
    bool plus = false, minus = false;
    for (size_t j = 0; j < ns; ++j) {
      const double v = pr.species[j].elements[i];
      if (v == 0.0 || !OthersPresent(j, i)) continue;
      (v > 0.0 ? plus : minus) = true;
    }
    if (plus && minus) el.push_back(i);
  }
  std::vector<bool> usable(ns, false);
  for (size_t j = 0; j < ns; ++j) {
    bool ok = std::isfinite(pr.species[j].g_rt);
    for (size_t i = 0; i < ne_all && ok; ++i)
      if (pr.species[j].elements[i] != 0.0 && std::find(el.begin(), el.end(), i) == el.end()) ok = false;
    usable[j] = ok;
  }
  // Solutes need their solvent.
  for (size_t j = 0; j < ns; ++j) {
    const auto& s = pr.species[j];
    if (!s.condensed && phases[s.phase].kind == MixtureKind::Aqueous && !usable[phases[s.phase].solvent])
      usable[j] = false;
  }
  // Balance rows that are combinations of earlier ones over the usable species (the charge of
  // H2O, H+ and OH− follows from H and O) leave the Newton system; the residual still covers them.
  const std::vector<size_t> el_all = el;
  {
    std::vector<std::vector<double>> rows;
    std::vector<size_t> kept, order;
    // Zero-total rows (the charge) first, so that neutrality is kept exactly.
    for (size_t i : el)
      if (pr.element_mol[i] == 0.0) order.push_back(i);
    for (size_t i : el)
      if (pr.element_mol[i] != 0.0) order.push_back(i);
    for (size_t i : order) {
      std::vector<double> r;
      double big = 0.0;
      for (size_t j = 0; j < ns; ++j) {
        r.push_back(usable[j] ? pr.species[j].elements[i] : 0.0);
        big = std::max(big, std::fabs(r.back()));
      }
      for (const auto& q : rows) {
        size_t piv = 0;
        while (std::fabs(q[piv]) < kRankTolerance) ++piv;
        const double f = r[piv] / q[piv];
        if (f != 0.0)
          for (size_t j = 0; j < ns; ++j) r[j] -= f * q[j];
      }
      double left = 0.0;
      for (double v : r) left = std::max(left, std::fabs(v));
      if (left <= kRankTolerance * std::max(big, 1.0)) continue;
      for (double& v : r) v /= left;
      rows.push_back(std::move(r));
      kept.push_back(i);
    }
    std::sort(kept.begin(), kept.end());
    el = kept;
  }
  std::vector<size_t> mix, cond;
  for (size_t j = 0; j < ns; ++j)
    if (usable[j]) (pr.species[j].condensed ? cond : mix).push_back(j);
  const size_t ne = el.size();
  double btot = 0.0;
  for (size_t i : el) btot += pr.element_mol[i];
  if (ne == 0 || btot <= 0.0) {
    res.message = "No element has a positive amount.";
    return res;
  }
  if (mix.empty()) {
    res.message = "The system needs at least one gas species.";
    return res;
  }

  // Compositions over the balance rows; a solute carries its solvent's composition in `at`
  // (its Newton correction follows the solvent's: Δln n_s = Δln n_w − μ_s + a_s·π).
  const double lnp = std::log(pr.pressure);
  const double ln_mw = std::log(kWaterMolarMassKg);
  std::vector<double> a(ns * ne, 0.0), at(ns * ne, 0.0), off(ns, 0.0);
  std::vector<int> solvent(ns, -1);  // solvent of a solute
  std::vector<double> b(ne);
  for (size_t k = 0; k < ne; ++k) b[k] = pr.element_mol[el[k]];
  for (size_t j = 0; j < ns; ++j)
    for (size_t k = 0; k < ne; ++k) a[j * ne + k] = pr.species[j].elements[el[k]];
  std::vector<std::vector<size_t>> members(nph);
  for (size_t j : mix) {
    const auto& ph = phases[pr.species[j].phase];
    members[pr.species[j].phase].push_back(j);
    if (ph.kind == MixtureKind::Gas) off[j] = lnp;
    if (ph.kind == MixtureKind::Aqueous && static_cast<int>(j) != ph.solvent) {
      solvent[j] = ph.solvent;
      off[j] = -ln_mw;
    }
    for (size_t k = 0; k < ne; ++k)
      at[j * ne + k] = a[j * ne + k] + (solvent[j] >= 0 ? a[solvent[j] * ne + k] : 0.0);
  }
  // G°/RT plus the fixed part of μ/RT; each phase's compositions packed element-major.
  std::vector<double> g0(ns);
  for (size_t j = 0; j < ns; ++j) g0[j] = pr.species[j].g_rt + off[j];
  std::vector<std::vector<double>> pack_a(nph), pack_at(nph);
  size_t widest = 0;
  for (size_t p = 0; p < nph; ++p) {
    const size_t sp = members[p].size();
    widest = std::max(widest, sp);
    pack_a[p].resize(ne * sp);
    pack_at[p].resize(ne * sp);
    for (size_t c = 0; c < sp; ++c)
      for (size_t k = 0; k < ne; ++k) {
        pack_a[p][k * sp + c] = a[members[p][c] * ne + k];
        pack_at[p][k * sp + c] = at[members[p][c] * ne + k];
      }
  }
  std::vector<double> nb(widest), nm(widest), wk(widest);
  std::vector<bool> plain(nph, true);  // phase without solutes: at = a
  for (size_t j : mix)
    if (solvent[j] >= 0) plain[pr.species[j].phase] = false;
  auto Dot = [&](const std::vector<double>& m, size_t j, const std::vector<double>& v) {
    double s = 0.0;
    for (size_t k = 0; k < ne; ++k) s += m[j * ne + k] * v[k];
    return s;
  };
  // ln(n_j / n_ref) from the element potentials, n_ref the phase amount or, for a solute, the solvent.
  auto LnRatio = [&](size_t j, const std::vector<double>& pot) {
    return std::min(Dot(a, j, pot) - pr.species[j].g_rt - off[j], kExpCap);
  };
  // ln Σ x_j of a mixture phase from the element potentials: 0 for a phase in equilibrium,
  // positive for an absent phase that should form.
  auto LnPhaseSum = [&](size_t p, const std::vector<double>& pot) {
    double s = 0.0, lnxw = 0.0;
    if (phases[p].kind == MixtureKind::Aqueous) lnxw = LnRatio(phases[p].solvent, pot);
    for (size_t j : members[p]) s += std::exp(LnRatio(j, pot) + (solvent[j] >= 0 ? lnxw : 0.0));
    return std::log(s);
  };

  std::vector<double> n(ns, 0.0), lnn(ns, 0.0), np(nph, 0.0), lnnp(nph, 0.0);
  std::vector<bool> active(ns, false), live(nph, false);
  std::vector<int> returns(nph, 0);
  auto SetPhase = [&](size_t p, double amount, const double* x) {
    live[p] = true;
    np[p] = amount;
    lnnp[p] = std::log(amount);
    const double even = 1.0 / static_cast<double>(members[p].size());
    for (size_t c = 0; c < members[p].size(); ++c) {
      const size_t j = members[p][c];
      lnn[j] = lnnp[p] + std::log(x ? std::max(x[c], 1e-300) : even);
      n[j] = lnn[j] - lnnp[p] > kDropLn ? std::exp(lnn[j]) : 0.0;
    }
  };
  std::vector<double> xbuf;
  // Solution phases start absent beside a gas or aqueous phase and come in by their stability
  // test once the rest has converged (an emptying solution phase makes the Newton system
  // degenerate); one that alone holds some element starts present.
  std::vector<bool> first(nph, false);
  {
    bool carrier = false;
    for (size_t p = 0; p < nph; ++p) carrier = carrier || (!members[p].empty() && phases[p].kind != MixtureKind::Solution);
    for (size_t p = 0; p < nph; ++p)
      first[p] = !members[p].empty() && (!carrier || phases[p].kind != MixtureKind::Solution);
    for (size_t k = 0; k < ne; ++k) {
      if (b[k] <= 0.0) continue;
      auto holds = [&](size_t p) {
        return std::any_of(members[p].begin(), members[p].end(), [&](size_t j) { return a[j * ne + k] != 0.0; });
      };
      bool covered = false;
      for (size_t p = 0; p < nph && !covered; ++p) covered = first[p] && holds(p);
      for (size_t p = 0; p < nph && !covered; ++p)
        if (holds(p)) covered = first[p] = true;
    }
  }
  // Even start of the phases present first (or of the live ones only).
  auto StartAfresh = [&](bool present_only) {
    size_t count = 0;
    for (size_t p = 0; p < nph; ++p) count += present_only ? live[p] : first[p];
    for (size_t p = 0; p < nph; ++p) {
      if (!(present_only ? live[p] : first[p])) {
        live[p] = false;
        continue;
      }
      const double amount = 0.1 * btot / static_cast<double>(count);
      if (phases[p].kind == MixtureKind::Aqueous && members[p].size() > 1) {
        // Mostly solvent, as an aqueous phase is.
        xbuf.assign(members[p].size(), 0.1 / static_cast<double>(members[p].size() - 1));
        for (size_t c = 0; c < members[p].size(); ++c)
          if (static_cast<int>(members[p][c]) == phases[p].solvent) xbuf[c] = 0.9;
        SetPhase(p, amount, xbuf.data());
      } else {
        SetPhase(p, amount, nullptr);
      }
    }
  };
  StartAfresh(false);
  if (pr.start.size() == ns) {
    for (size_t p = 0; p < nph; ++p) {
      if (members[p].empty()) continue;
      double sum = 0.0;
      for (size_t j : members[p]) sum += std::max(pr.start[j], 0.0);
      if (!(sum > 0.0)) continue;
      xbuf.clear();
      for (size_t j : members[p]) xbuf.push_back(std::max(pr.start[j], 0.0) / sum);
      SetPhase(p, sum, xbuf.data());
    }
    for (size_t j : cond) {
      active[j] = pr.start[j] > 0.0;
      n[j] = active[j] ? pr.start[j] : 0.0;
    }
  }
  // An element that no mixture species holds needs a condensed phase from the start.
  // The simplest one (fewest elements) comes first: a phase that takes every atom of a gas
  // element away leaves the gas rows empty. (After a phase is dropped, `except` may not come back.)
  auto Width = [&](size_t j) {
    int w = 0;
    for (size_t k = 0; k < ne; ++k) w += a[j * ne + k] != 0.0;
    return w;
  };
  auto SeedCondensed = [&](size_t except) {
    for (size_t k = 0; k < ne; ++k) {
      if (b[k] <= 0.0) continue;
      bool covered = false;
      for (size_t j : mix) covered = covered || a[j * ne + k] != 0.0;
      for (size_t j : cond) covered = covered || (active[j] && a[j * ne + k] != 0.0);
      if (covered) continue;
      size_t best = ns;
      for (size_t j : cond) {
        const double v = a[j * ne + k];
        if (v <= 0.0 || j == except) continue;
        if (best == ns || Width(j) < Width(best) ||
            (Width(j) == Width(best) && pr.species[j].g_rt / v < pr.species[best].g_rt / a[best * ne + k]))
          best = j;
      }
      if (best == ns) return false;
      active[best] = true;
    }
    return true;
  };
  if (!SeedCondensed(ns)) {
    res.message = "Some element can be held by no species.";
    return res;
  }

  std::vector<double> pi(ne, 0.0), mu(ns, 0.0), dln(ns, 0.0), bk(ne);
  std::vector<double> M, B;
  std::vector<size_t> act, lp;  // active condensed species, live phases
  std::vector<int> col(nph, -1);  // column of each live phase
  int changes = 0;
  int polish = 0;
  bool mixtures_absent = false;
  size_t last_added = ns;
  size_t last_phase = nph;  // mixture phase brought back last
  int it = 0;
  auto Gather = [&]() {
    act.clear();
    for (size_t j : cond)
      if (active[j]) act.push_back(j);
    lp.clear();
    for (size_t p = 0; p < nph; ++p) {
      col[p] = -1;
      if (live[p]) {
        col[p] = static_cast<int>(ne + lp.size());
        lp.push_back(p);
      }
    }
  };
  for (;;) {
    bool converged = false;
    bool singular = false;
    for (int inner = 0; it < kMaxIterations && inner < kMaxInner; ++it, ++inner) {
      Gather();
      const size_t m = ne + lp.size() + act.size();
      M.assign(m * m, 0.0);
      B.assign(m, 0.0);
      // μ/RT of every species in a live phase; a solute's Newton μ adds its solvent's.
      double total = 0.0;
      for (size_t p : lp) {
        const double lnp_p = lnnp[p];
        double sum = 0.0;
        for (size_t j : members[p]) {
          if (solvent[j] >= 0) continue;
          mu[j] = g0[j] + lnn[j] - lnp_p;
          sum += n[j];
        }
        for (size_t j : members[p]) {
          if (solvent[j] < 0) continue;
          const size_t w = solvent[j];
          mu[j] = g0[j] + lnn[j] - lnn[w] + mu[w];
          sum += n[j];
        }
        total += sum;
      }
      for (size_t j : act) total += std::fabs(n[j]);
      std::fill(bk.begin(), bk.end(), 0.0);
      for (size_t j : act)
        for (size_t k = 0; k < ne; ++k) bk[k] += a[j * ne + k] * n[j];
      // Phase sums over the packed, element-major compositions (species with n = 0 add nothing).
      for (size_t p : lp) {
        const size_t cp = col[p];
        const auto& mem = members[p];
        const size_t sp = mem.size();
        const double* aT = pack_a[p].data();
        const double* atT = pack_at[p].data();
        double rhs = np[p];
        for (size_t c = 0; c < sp; ++c) {
          const size_t j = mem[c];
          nb[c] = n[j];
          nm[c] = n[j] * mu[j];
          rhs += nm[c] - n[j];
        }
        const double sump = SumOf(nb.data(), sp);
        // Without solutes the element block is symmetric and the phase row equals the phase column.
        const bool sym = plain[p];
        double* prow = &M[cp * m];
        for (size_t k = 0; k < ne; ++k) {
          const double* ak = aT + k * sp;
          for (size_t c = 0; c < sp; ++c) wk[c] = ak[c] * nb[c];
          double* row = &M[k * m];
          for (size_t i = sym ? k : 0; i < ne; ++i) {
            const double v = DotOf(wk.data(), atT + i * sp, sp);
            row[i] += v;
            if (sym && i != k) M[i * m + k] += v;
          }
          const double w = SumOf(wk.data(), sp);
          row[cp] += w;
          bk[k] += w;
          if (sym) prow[k] += w;
          B[k] += DotOf(ak, nm.data(), sp);
        }
        if (!sym)
          for (size_t i = 0; i < ne; ++i) prow[i] += DotOf(nb.data(), atT + i * sp, sp);
        M[cp * m + cp] = sump - np[p];
        B[cp] = rhs;
      }
      for (size_t k = 0; k < ne; ++k) {
        for (size_t c = 0; c < act.size(); ++c) M[k * m + ne + lp.size() + c] = a[act[c] * ne + k];
        B[k] += b[k] - bk[k];
      }
      for (size_t c = 0; c < act.size(); ++c) {
        const size_t r = ne + lp.size() + c;
        for (size_t i = 0; i < ne; ++i) M[r * m + i] = a[act[c] * ne + i];
        B[r] = pr.species[act[c]].g_rt;
      }
      if (!SolveLinear(M, B)) {
        singular = true;
        break;
      }
      for (size_t i = 0; i < ne; ++i) pi[i] = B[i];
      double l1 = 0.0, l2 = std::numeric_limits<double>::max();
      for (size_t p : lp) l1 = std::max(l1, 5.0 * std::fabs(B[col[p]]));
      for (size_t p : lp) {
        const double dlp = B[col[p]];
        const double lnp_p = lnnp[p];
        const auto& mem = members[p];
        const size_t sp = mem.size();
        const double* atT = pack_at[p].data();
        const double fall = phases[p].kind == MixtureKind::Gas ? kDecreaseRatio : 1.0;
        for (size_t c = 0; c < sp; ++c) wk[c] = dlp;
        for (size_t k = 0; k < ne; ++k) {
          const double pk = pi[k];
          const double* ak = atT + k * sp;
          for (size_t c = 0; c < sp; ++c) wk[c] += ak[c] * pk;
        }
        for (size_t c = 0; c < sp; ++c) {
          const size_t j = mem[c];
          const double s = wk[c] - mu[j];
          dln[j] = s;
          const double lx = lnn[j] - lnp_p;
          if (lx > kTraceLn) {
            l1 = std::max(l1, s > 0.0 ? s : -s / fall);
          } else if (s - dlp > 0.0) {
            l2 = std::min(l2, std::fabs((-lx - kTraceTargetLn) / (s - dlp)));
          }
        }
      }
      double lambda = 1.0;
      if (l1 > 2.0) lambda = 2.0 / l1;
      lambda = std::min(lambda, l2);
      lambda = std::max(lambda, 1e-6);
      const double scale = std::max(total, 1e-300);
      bool small = true;
      const double tol = kConvergence * scale;
      for (size_t p : lp) {
        const double dlp = B[col[p]];
        if (std::fabs(dlp) * np[p] > tol) small = false;
        const double lnp_old = lnnp[p];
        // At the smallest step factor a degenerate system (a phase seeded at a trace amount) may
        // still ask a phase to change by orders of magnitude: it changes by e^±2 at most, and
        // its species with it.
        const double step = std::clamp(lambda * dlp, -kMaxPhaseStepLn, kMaxPhaseStepLn);
        const double lnp_new = lnp_old + step;
        for (size_t j : members[p]) {
          const double v = lnn[j];
          if (v - lnp_old > kTraceLn && n[j] * std::fabs(dln[j]) > tol) small = false;
          const double u = v + lambda * (dln[j] - dlp) + step;
          lnn[j] = u;
          n[j] = u - lnp_new > kDropLn ? std::exp(u) : 0.0;
        }
        lnnp[p] = lnp_new;
        np[p] = std::exp(lnp_new);
      }
      for (size_t c = 0; c < act.size(); ++c) {
        const double d = B[ne + lp.size() + c];
        if (std::fabs(d) / scale > kConvergence) small = false;
        n[act[c]] += lambda * d;
      }
      bool finite = std::isfinite(total) && std::isfinite(lambda);
      for (size_t p : lp) finite = finite && std::isfinite(lnnp[p]) && np[p] > 0.0;
      if (!finite) {
        singular = true;
        break;
      }
      // A mixture phase shrinking away leaves the system while something else holds the elements.
      bool left = false;
      for (size_t p : lp) {
        if (returns[p] >= kMaxReturns || lp.size() + act.size() < 2) continue;
        if (np[p] < kPhaseGone * btot && B[col[p]] < 0.0 && LnPhaseSum(p, pi) < 0.0) {
          live[p] = false;
          for (size_t j : members[p]) n[j] = 0.0;
          left = true;
          break;
        }
      }
      if (left) {
        if (++changes > kMaxPhaseChanges) break;
        continue;
      }
      if (small) {
        // Trace species take their amounts from the element potentials; iterate again until the
        // balances hold with them.
        double worst = 0.0;
        for (size_t k = 0; k < ne; ++k) {
          double s = 0.0;
          for (size_t j : act) s += a[j * ne + k] * n[j];
          bk[k] = s;
        }
        for (size_t p : lp) {
          const double lnxw = phases[p].kind == MixtureKind::Aqueous ? LnRatio(phases[p].solvent, pi) : 0.0;
          for (size_t j : members[p]) {
            const double ln = lnnp[p] + LnRatio(j, pi) + (solvent[j] >= 0 ? lnxw : 0.0);
            const double v = std::exp(ln);
            for (size_t k = 0; k < ne; ++k) bk[k] += a[j * ne + k] * v;
          }
        }
        for (size_t k = 0; k < ne; ++k) worst = std::max(worst, std::fabs(bk[k] - b[k]) / btot);
        if (worst > kPolishResidual && polish < kMaxPolish) {
          ++polish;
          for (size_t p : lp) {
            const double lnxw = phases[p].kind == MixtureKind::Aqueous ? LnRatio(phases[p].solvent, pi) : 0.0;
            for (size_t j : members[p]) {
              const double lx = LnRatio(j, pi) + (solvent[j] >= 0 ? lnxw : 0.0);
              lnn[j] = lnnp[p] + lx;
              n[j] = lx > kDropLn ? std::exp(lnn[j]) : 0.0;
            }
          }
          continue;
        }
        converged = true;
        ++it;
        break;
      }
    }
    if (changes > kMaxPhaseChanges) {
      res.message = "The phases kept changing; no equilibrium found.";
      return res;
    }
    if (singular) {
      // The condensed phases alone may hold every element, the mixtures having vanished: solve
      // them alone and keep that when no mixture phase could form at their element potentials.
      Gather();
      if (act.size() == ne) {
        std::vector<double> Mc(ne * ne), Mt(ne * ne), amounts(b), pot(ne);
        for (size_t k = 0; k < ne; ++k) {
          pot[k] = pr.species[act[k]].g_rt;
          for (size_t c = 0; c < ne; ++c) {
            Mc[k * ne + c] = a[act[c] * ne + k];
            Mt[c * ne + k] = a[act[c] * ne + k];
          }
        }
        if (SolveLinear(Mc, amounts) && SolveLinear(Mt, pot) &&
            std::all_of(amounts.begin(), amounts.end(), [](double v) { return v >= 0.0; })) {
          bool none = true;
          for (size_t p = 0; p < nph; ++p)
            if (!members[p].empty() && LnPhaseSum(p, pot) >= 0.0) none = false;
          if (none) {
            for (size_t c = 0; c < ne; ++c) n[act[c]] = amounts[c];
            pi = pot;
            mixtures_absent = true;
            break;
          }
        }
      }
      // More condensed phases than the phase rule allows: drop the smallest one other than the
      // one added last and go on.
      // Likewise two mixture phases that can not coexist: the smaller one leaves.
      // A phase that alone holds some element stays.
      auto SoleHolder = [&](size_t j) {
        for (size_t k = 0; k < ne; ++k) {
          if (a[j * ne + k] == 0.0 || b[k] <= 0.0) continue;
          bool other = false;
          for (size_t p : lp)
            for (size_t q : members[p]) other = other || a[q * ne + k] != 0.0;
          for (size_t q : act) other = other || (q != j && a[q * ne + k] != 0.0);
          if (!other) return true;
        }
        return false;
      };
      size_t victim = ns;
      for (size_t j : cond)
        if (active[j] && j != last_added && !SoleHolder(j) && (victim == ns || n[j] < n[victim])) victim = j;
      size_t gone = nph;
      auto SolePhase = [&](size_t p) {
        for (size_t k = 0; k < ne; ++k) {
          if (b[k] <= 0.0) continue;
          bool here = false, other = false;
          for (size_t j : members[p]) here = here || a[j * ne + k] != 0.0;
          for (size_t q : lp)
            if (q != p)
              for (size_t j : members[q]) other = other || a[j * ne + k] != 0.0;
          for (size_t j : act) other = other || a[j * ne + k] != 0.0;
          if (here && !other) return true;
        }
        return false;
      };
      if (lp.size() > 1)
        for (size_t p : lp)
          if (p != last_phase && !SolePhase(p) && (gone == nph || np[p] < np[gone])) gone = p;
      if (gone != nph && (victim == ns || np[gone] < n[victim]) && ++changes <= kMaxPhaseChanges) {
        live[gone] = false;
        for (size_t j : members[gone]) n[j] = 0.0;
        StartAfresh(true);
        continue;
      }
      if (victim != ns && ++changes <= kMaxPhaseChanges) {
        active[victim] = false;
        n[victim] = 0.0;
        last_phase = nph;
        continue;
      }
    }
    if (!converged) {
      // The mixtures alone cannot hold the elements: bring in the condensed phase that the last
      // element potentials favour most, and start the mixtures afresh.
      size_t add = ns;
      double most = 0.0;
      for (size_t j : cond) {
        if (active[j]) continue;
        const double d = pr.species[j].g_rt - Dot(a, j, pi);
        if (add == ns || d < most) {
          most = d;
          add = j;
        }
      }
      if (add == ns || it >= kMaxIterations || ++changes > kMaxPhaseChanges) {
        res.message = singular ? "The equilibrium equations are singular (dependent species or elements)."
                               : "The calculation did not converge.";
        return res;
      }
      active[add] = true;
      n[add] = 0.0;
      StartAfresh(false);
      continue;
    }
    // A mixture phase that converged to almost nothing beside a condensed phase of negative amount:
    // one phase too many. The vanishing mixture leaves first; its stability is tested again later.
    {
      Gather();
      bool negative = false;
      for (size_t j : act) negative = negative || n[j] < 0.0;
      size_t tiny = nph;
      for (size_t p : lp)
        if (np[p] < kPhaseGone * btot && (tiny == nph || np[p] < np[tiny])) tiny = p;
      if (negative && tiny != nph && lp.size() > 1) {
        if (++changes > kMaxPhaseChanges) {
          res.message = "The phases kept changing; no equilibrium found.";
          return res;
        }
        live[tiny] = false;
        for (size_t j : members[tiny]) n[j] = 0.0;
        continue;
      }
    }
    // Phase changes: drop a condensed phase with negative amount, else add the absent phase
    // (condensed or mixture) with the most negative driving force.
    size_t drop = ns, add = ns, add_phase = nph;
    double worst = 0.0, most = -kStableLn;
    for (size_t j : cond) {
      if (active[j] && n[j] < worst) {
        worst = n[j];
        drop = j;
      }
    }
    if (drop == ns) {
      for (size_t j : cond) {
        if (active[j]) continue;
        const double d = pr.species[j].g_rt - Dot(a, j, pi);
        if (d < most) {
          most = d;
          add = j;
        }
      }
      for (size_t p = 0; p < nph; ++p) {
        if (live[p] || members[p].empty()) continue;
        const double d = -LnPhaseSum(p, pi);
        if (d < most) {
          most = d;
          add = ns;
          add_phase = p;
        }
      }
    }
    if (drop == ns && add == ns && add_phase == nph) break;
    if (++changes > kMaxPhaseChanges) {
      res.message = "The phases kept changing; no equilibrium found.";
      return res;
    }
    if (drop != ns) {
      active[drop] = false;
      n[drop] = 0.0;
    } else if (add != ns) {
      last_added = add;
      last_phase = nph;
      active[add] = true;
      n[add] = 0.0;
    } else {
      // The returning phase starts small with the composition its stability test gives.
      const size_t p = add_phase;
      // The phase rule allows no more phases than balance rows: the smallest present one makes room.
      Gather();
      if (lp.size() + act.size() + 1 > ne) {
        size_t cj = ns, cp = nph;
        for (size_t j : act)
          if (cj == ns || n[j] < n[cj]) cj = j;
        for (size_t q : lp)
          if (cp == nph || np[q] < np[cp]) cp = q;
        if (cp != nph && (cj == ns || np[cp] < n[cj])) {
          live[cp] = false;
          for (size_t j : members[cp]) n[j] = 0.0;
        } else if (cj != ns) {
          active[cj] = false;
          n[cj] = 0.0;
        }
      }
      ++returns[p];
      last_phase = p;
      last_added = ns;
      const double lnxw = phases[p].kind == MixtureKind::Aqueous ? LnRatio(phases[p].solvent, pi) : 0.0;
      const double lns = LnPhaseSum(p, pi);
      xbuf.clear();
      for (size_t j : members[p]) xbuf.push_back(std::exp(LnRatio(j, pi) + (solvent[j] >= 0 ? lnxw : 0.0) - lns));
      SetPhase(p, kPhaseSeed * btot, xbuf.data());
    }
  }
  // Mixture amounts from the element potentials, so trace species keep their true size.
  for (size_t p = 0; p < nph; ++p) {
    if (!live[p] || mixtures_absent) {
      for (size_t j : members[p]) n[j] = 0.0;
      continue;
    }
    const double lnxw = phases[p].kind == MixtureKind::Aqueous ? LnRatio(phases[p].solvent, pi) : 0.0;
    double sum = 0.0;
    for (size_t j : members[p]) {
      n[j] = std::exp(lnnp[p] + LnRatio(j, pi) + (solvent[j] >= 0 ? lnxw : 0.0));
      sum += n[j];
    }
    res.phase_mol[p] = sum;
    if (phases[p].kind == MixtureKind::Gas) res.gas_mol += sum;
  }
  for (size_t j : cond)
    if (!active[j]) n[j] = 0.0;
  res.mol = n;
  for (size_t k = 0; k < ne; ++k) {
    res.potentials[el[k]] = pi[k];
    res.g_rt += b[k] * pi[k];
  }
  for (size_t i : el_all) {
    double s = 0.0;
    for (size_t j = 0; j < ns; ++j) s += pr.species[j].elements[i] * n[j];
    res.max_residual = std::max(res.max_residual, std::fabs(s - pr.element_mol[i]) / btot);
  }
  res.iterations = it;
  // Potentials spoilt on the way (a non-finite step taken for converged) give amounts that break
  // the balances: no answer, rather than a wrong one.
  if (!(res.max_residual < kAcceptResidual)) {
    res.message = "The calculation did not converge.";
    return res;
  }
  res.ok = true;
  return res;
}

}  // namespace zyl::equilibrium
