#pragma once
// Static dielectric constant of water (IAPWS R8-97; Fernandez et al., J. Phys. Chem. Ref. Data 26 (1997)
// 1125) and the Born functions of the aqueous-species model, all from IAPWS-95 densities.

#include "water/iapws95.h"

namespace zyl::water {

/// Relative permittivity at T (K) and density rho (kg/m3). Valid 238-1273 K.
double DielectricConstant(double T, double rho);

/// Relative permittivity by Johnson & Norton (Am. J. Sci. 291 (1991) 541), the equation the revised-HKF
/// parameters of aqueous species were regressed with. T in K, rho in kg/m3.
double DielectricJohnsonNorton(double T, double rho);

enum class DielectricModel { Iapws1997, JohnsonNorton1991 };

/// Solvent functions at one (T, P): the dielectric constant and its Born functions
/// Q = (1/eps^2)(d eps/dP)_T, Y = (1/eps^2)(d eps/dT)_P, X = (dY/dT)_P.
struct BornFunctions {
  double T = 0;      ///< K
  double P = 0;      ///< MPa
  double rho = 0;    ///< kg/m3
  double alpha = 0;  ///< 1/K, isobaric expansivity of water
  double beta = 0;   ///< 1/MPa, isothermal compressibility of water
  double dalpha_dT = 0;  ///< 1/K^2, (d alpha/dT)_P
  double eps = 0;    ///< relative permittivity
  double Z = 0;      ///< -1/eps
  double Q = 0;      ///< 1/MPa
  double Y = 0;      ///< 1/K
  double X = 0;      ///< 1/K^2
};

/// Born functions at T (K) and P (MPa) of the liquid (or the dense fluid above Tc); on and just below
/// the saturation pressure the liquid is taken.
Result<BornFunctions> BornAt(double T, double P, DielectricModel model = DielectricModel::Iapws1997);

}  // namespace zyl::water
