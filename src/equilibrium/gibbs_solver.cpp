#include "equilibrium/gibbs_solver.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zyl::equilibrium {
namespace {

constexpr int kMaxIterations = 5000;
constexpr int kMaxPhaseChanges = 50;
constexpr int kMaxInner = 2000;  // Newton steps for one set of condensed phases
constexpr double kTraceLn = -18.420680743952367;  // ln(1e-8): size limit for the control factor
constexpr double kConvergence = 1e-10;  // relative size of the last Newton correction
constexpr double kTraceTargetLn = 9.2103403719761836;  // -ln(1e-4): how far a trace species may rise in one step
constexpr double kMinGasMol = 1e-300;
constexpr double kDropLn = -80.6;  // ln(1e-35): gas species below this fraction leave the Newton sums
constexpr double kPolishResidual = 1e-13;  // relative element residual the trace recomputation must keep
constexpr int kMaxPolish = 20;

// Solves a·x = b in place by Gaussian elimination with partial pivoting.
bool SolveLinear(std::vector<std::vector<double>>& a, std::vector<double>& b) {
  const size_t n = b.size();
  // Rows scaled to a largest entry of 1, so that pivoting compares like with like.
  for (size_t r = 0; r < n; ++r) {
    double m = 0.0;
    for (size_t k = 0; k < n; ++k) m = std::max(m, std::fabs(a[r][k]));
    if (m == 0.0 || !std::isfinite(m)) return false;
    for (size_t k = 0; k < n; ++k) a[r][k] /= m;
    b[r] /= m;
  }
  for (size_t c = 0; c < n; ++c) {
    size_t p = c;
    for (size_t r = c + 1; r < n; ++r)
      if (std::fabs(a[r][c]) > std::fabs(a[p][c])) p = r;
    if (std::fabs(a[p][c]) < 1e-14) return false;
    std::swap(a[p], a[c]);
    std::swap(b[p], b[c]);
    for (size_t r = c + 1; r < n; ++r) {
      const double f = a[r][c] / a[c][c];
      if (f == 0.0) continue;
      for (size_t k = c; k < n; ++k) a[r][k] -= f * a[c][k];
      b[r] -= f * b[c];
    }
  }
  for (size_t c = n; c-- > 0;) {
    double s = b[c];
    for (size_t k = c + 1; k < n; ++k) s -= a[c][k] * b[k];
    b[c] = s / a[c][c];
  }
  return true;
}

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
  // Elements present, and species made only of them.
  std::vector<size_t> el;
  for (size_t i = 0; i < ne_all; ++i) {
    if (pr.element_mol[i] < 0.0) {
      res.message = "Element " + pr.elements[i] + " has a negative amount.";
      return res;
    }
    if (pr.element_mol[i] > 0.0) el.push_back(i);
  }
  std::vector<size_t> gas, cond;
  for (size_t j = 0; j < ns; ++j) {
    const auto& s = pr.species[j];
    if (s.elements.size() != ne_all) {
      res.message = "Species " + s.name + " does not list every element.";
      return res;
    }
    bool usable = std::isfinite(s.g_rt);
    for (size_t i = 0; i < ne_all; ++i)
      if (s.elements[i] != 0.0 && pr.element_mol[i] <= 0.0) usable = false;
    if (usable) (s.condensed ? cond : gas).push_back(j);
  }
  const size_t ne = el.size();
  if (ne == 0) {
    res.message = "No element has a positive amount.";
    return res;
  }
  if (gas.empty()) {
    res.message = "The system needs at least one gas species.";
    return res;
  }
  double btot = 0.0;
  for (size_t i : el) btot += pr.element_mol[i];
  const double lnp = std::log(pr.pressure);
  auto a = [&](size_t k, size_t j) { return pr.species[j].elements[el[k]]; };

  std::vector<double> n(ns, 0.0);
  double ngas = 0.1 * btot;
  // Gas amounts are carried as logarithms; a species below kDropLn of the gas is left out of the
  // sums (its amount counts as zero) until it rises again.
  std::vector<double> lnn(ns, 0.0);
  for (size_t j : gas) {
    n[j] = ngas / static_cast<double>(gas.size());
    lnn[j] = std::log(n[j]);
  }
  std::vector<bool> active(ns, false);
  if (pr.start.size() == ns) {
    double sum = 0.0;
    for (size_t j : gas) sum += std::max(pr.start[j], 0.0);
    if (sum > 0.0) {
      ngas = sum;
      for (size_t j : gas) {
        lnn[j] = std::log(std::max(pr.start[j], ngas * 1e-300));
        n[j] = lnn[j] - std::log(ngas) > kDropLn ? pr.start[j] : 0.0;
      }
    }
    for (size_t j : cond) active[j] = pr.start[j] > 0.0;
  }
  // An element that no gas species holds needs a condensed phase from the start.
  // The simplest one (fewest elements) comes first: a phase that takes every atom of a gas
  // element away leaves the gas rows empty. (After a phase is dropped, `except` may not come back.)
  auto Width = [&](size_t j) {
    int w = 0;
    for (size_t k = 0; k < ne; ++k) w += a(k, j) != 0.0;
    return w;
  };
  auto SeedCondensed = [&](size_t except) {
    for (size_t k = 0; k < ne; ++k) {
      bool covered = false;
      for (size_t j : gas) covered = covered || a(k, j) != 0.0;
      for (size_t j : cond) covered = covered || (active[j] && a(k, j) != 0.0);
      if (covered) continue;
      size_t best = ns;
      for (size_t j : cond) {
        if (a(k, j) <= 0.0 || j == except) continue;
        if (best == ns || Width(j) < Width(best) ||
            (Width(j) == Width(best) && pr.species[j].g_rt / a(k, j) < pr.species[best].g_rt / a(k, best)))
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
  std::vector<double> pi(ne, 0.0);
  std::vector<double> mu(ns, 0.0);
  int changes = 0;
  int polish = 0;
  bool gas_absent = false;
  size_t last_added = ns;
  int it = 0;
  for (;;) {
    bool converged = false;
    bool singular = false;
    for (int inner = 0; it < kMaxIterations && inner < kMaxInner; ++it, ++inner) {
      std::vector<size_t> act;
      for (size_t j : cond)
        if (active[j]) act.push_back(j);
      for (size_t j : gas) mu[j] = pr.species[j].g_rt + lnn[j] - std::log(ngas) + lnp;
      const size_t m = ne + act.size() + 1;
      std::vector<std::vector<double>> A(m, std::vector<double>(m, 0.0));
      std::vector<double> B(m, 0.0);
      double sumn = 0.0;
      for (size_t j : gas) sumn += n[j];
      for (size_t k = 0; k < ne; ++k) {
        double bk = 0.0;
        for (size_t j = 0; j < ns; ++j) bk += a(k, j) * n[j];
        for (size_t i = 0; i < ne; ++i) {
          double s = 0.0;
          for (size_t j : gas) s += a(k, j) * a(i, j) * n[j];
          A[k][i] = s;
        }
        for (size_t c = 0; c < act.size(); ++c) A[k][ne + c] = a(k, act[c]);
        double s = 0.0, t = 0.0;
        for (size_t j : gas) {
          s += a(k, j) * n[j];
          t += a(k, j) * n[j] * mu[j];
        }
        A[k][m - 1] = s;
        B[k] = pr.element_mol[el[k]] - bk + t;
      }
      for (size_t c = 0; c < act.size(); ++c) {
        for (size_t i = 0; i < ne; ++i) A[ne + c][i] = a(i, act[c]);
        B[ne + c] = pr.species[act[c]].g_rt;
      }
      double t = 0.0;
      for (size_t i = 0; i < ne; ++i) {
        double s = 0.0;
        for (size_t j : gas) s += a(i, j) * n[j];
        A[m - 1][i] = s;
      }
      for (size_t j : gas) t += n[j] * mu[j];
      A[m - 1][m - 1] = sumn - ngas;
      B[m - 1] = ngas - sumn + t;
      if (!SolveLinear(A, B)) {
        singular = true;
        break;
      }
      for (size_t i = 0; i < ne; ++i) pi[i] = B[i];
      const double dlnn = B[m - 1];
      std::vector<double> dln(ns, 0.0);
      double l1 = 5.0 * std::fabs(dlnn), l2 = std::numeric_limits<double>::max();
      for (size_t j : gas) {
        double s = -mu[j] + dlnn;
        for (size_t i = 0; i < ne; ++i) s += a(i, j) * pi[i];
        dln[j] = s;
        const double lx = lnn[j] - std::log(ngas);
        if (lx > kTraceLn) {
          l1 = std::max(l1, std::fabs(s));
        } else if (s - dlnn > 0.0) {
          l2 = std::min(l2, std::fabs((-lx - kTraceTargetLn) / (s - dlnn)));
        }
      }
      double lambda = 1.0;
      if (l1 > 2.0) lambda = 2.0 / l1;
      lambda = std::min(lambda, l2);
      lambda = std::max(lambda, 1e-6);
      bool small = std::fabs(dlnn) * ngas / sumn <= kConvergence;
      for (size_t j : gas) {
        if (lnn[j] - std::log(ngas) > kTraceLn && n[j] * std::fabs(dln[j]) / sumn > kConvergence) small = false;
        lnn[j] += lambda * dln[j];
      }
      for (size_t c = 0; c < act.size(); ++c) {
        if (std::fabs(B[ne + c]) / sumn > kConvergence) small = false;
        n[act[c]] += lambda * B[ne + c];
      }
      ngas *= std::exp(lambda * dlnn);
      for (size_t j : gas) n[j] = lnn[j] - std::log(ngas) > kDropLn ? std::exp(lnn[j]) : 0.0;
      if (!std::isfinite(ngas) || !std::isfinite(sumn)) {
        singular = true;
        break;
      }
      if (small) {
        // Trace species take their amounts from the element potentials; iterate again until the
        // balances hold with them.
        double worst = 0.0;
        for (size_t k = 0; k < ne; ++k) {
          double bk = 0.0;
          for (size_t j : gas) {
            double s = -pr.species[j].g_rt - lnp;
            for (size_t i = 0; i < ne; ++i) s += a(i, j) * pi[i];
            bk += a(k, j) * ngas * std::exp(std::min(s, 700.0));
          }
          for (size_t j : act) bk += a(k, j) * n[j];
          worst = std::max(worst, std::fabs(bk - pr.element_mol[el[k]]) / btot);
        }
        if (worst > kPolishResidual && polish < kMaxPolish) {
          ++polish;
          for (size_t j : gas) {
            double s = -pr.species[j].g_rt - lnp;
            for (size_t i = 0; i < ne; ++i) s += a(i, j) * pi[i];
            lnn[j] = std::log(ngas) + std::min(s, 700.0);
            n[j] = s > kDropLn ? std::exp(lnn[j]) : 0.0;
          }
          continue;
        }
        converged = true;
        ++it;
        break;
      }
    }
    if (singular) {
      // The condensed phases alone may hold every element, the gas having vanished: solve them
      // alone and keep that when the gas species' partial pressures sum below the pressure.
      std::vector<size_t> act;
      for (size_t j : cond)
        if (active[j]) act.push_back(j);
      if (act.size() == ne) {
        std::vector<std::vector<double>> M(ne, std::vector<double>(ne)), Mt = M;
        std::vector<double> amounts(ne), pot(ne);
        for (size_t k = 0; k < ne; ++k) {
          amounts[k] = pr.element_mol[el[k]];
          pot[k] = pr.species[act[k]].g_rt;
          for (size_t c = 0; c < ne; ++c) {
            M[k][c] = a(k, act[c]);
            Mt[c][k] = a(k, act[c]);
          }
        }
        if (SolveLinear(M, amounts) && SolveLinear(Mt, pot) &&
            std::all_of(amounts.begin(), amounts.end(), [](double v) { return v >= 0.0; })) {
          double pressure_sum = 0.0;
          for (size_t j : gas) {
            double s = -pr.species[j].g_rt - lnp;
            for (size_t i = 0; i < ne; ++i) s += a(i, j) * pot[i];
            pressure_sum += std::exp(std::min(s, 700.0));
          }
          if (pressure_sum < 1.0) {
            for (size_t c = 0; c < ne; ++c) n[act[c]] = amounts[c];
            pi = pot;
            gas_absent = true;
            break;
          }
        }
      }
      // More condensed phases than the phase rule allows: drop the smallest one other than the
      // one added last and go on.
      size_t victim = ns;
      for (size_t j : cond)
        if (active[j] && j != last_added && (victim == ns || n[j] < n[victim])) victim = j;
      if (victim != ns && ++changes <= kMaxPhaseChanges) {
        active[victim] = false;
        n[victim] = 0.0;
        continue;
      }
    }
    if (!converged) {
      // Gas alone cannot hold the elements: bring in the condensed phase that
      // the last element potentials favour most, and start the gas afresh.
      size_t add = ns;
      double most = 0.0;
      for (size_t j : cond) {
        if (active[j]) continue;
        double d = pr.species[j].g_rt;
        for (size_t i = 0; i < ne; ++i) d -= a(i, j) * pi[i];
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
      ngas = 0.1 * btot;
      for (size_t j : gas) {
        n[j] = ngas / static_cast<double>(gas.size());
        lnn[j] = std::log(n[j]);
      }
      continue;
    }
    // Phase changes: drop a condensed phase with negative amount, else add the
    // absent one with the most negative driving force.
    size_t drop = ns, add = ns;
    double worst = 0.0, most = -1e-9;
    for (size_t j : cond) {
      if (active[j] && n[j] < worst) {
        worst = n[j];
        drop = j;
      }
    }
    if (drop == ns) {
      for (size_t j : cond) {
        if (active[j]) continue;
        double d = pr.species[j].g_rt;
        for (size_t i = 0; i < ne; ++i) d -= a(i, j) * pi[i];
        if (d < most) {
          most = d;
          add = j;
        }
      }
    }
    if (drop == ns && add == ns) break;
    if (++changes > kMaxPhaseChanges) {
      res.message = "The condensed phases kept changing; no equilibrium found.";
      return res;
    }
    if (drop != ns) {
      active[drop] = false;
      n[drop] = 0.0;
    } else {
      last_added = add;
      active[add] = true;
      n[add] = 0.0;
    }
  }
  // Gas amounts from the element potentials, so trace species keep their true size.
  double sum = 0.0;
  for (size_t j : gas) {
    double s = -pr.species[j].g_rt - lnp;
    for (size_t i = 0; i < ne; ++i) s += a(i, j) * pi[i];
    n[j] = gas_absent ? 0.0 : ngas * std::exp(s);
    sum += n[j];
  }
  res.gas_mol = sum;
  for (size_t j : cond)
    if (!active[j]) n[j] = 0.0;
  res.mol = n;
  for (size_t k = 0; k < ne; ++k) {
    res.potentials[el[k]] = pi[k];
    double bk = 0.0;
    for (size_t j = 0; j < ns; ++j) bk += a(k, j) * n[j];
    res.max_residual = std::max(res.max_residual, std::fabs(bk - pr.element_mol[el[k]]) / btot);
  }
  res.iterations = it;
  res.ok = true;
  return res;
}

}  // namespace zyl::equilibrium
