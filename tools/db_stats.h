#pragma once
// Summary figures of a database build (counts and worst fit deviations).

#include <map>
#include <string>

#include "tools/db_builder.h"

namespace zyl::tools {

struct BuildStats {
  int species = 0;
  int ranges = 0;
  int elements = 0;                      ///< distinct elements (1..100) appearing in some species
  std::map<std::string, int> by_origin;  ///< "NASA gas", "NASA condensed", "OBIGT aqueous", ...
  int ranges_out_of_tolerance = 0;
  double max_dcp_percent = 0;  ///< worst Cp deviation, % of the source Cp
  double max_dh = 0;           ///< J/mol
  double max_ds = 0;           ///< J/(mol K)
  double max_dg = 0;           ///< J/mol
};

BuildStats ComputeBuildStats(const BuildResult& result);

std::string_view OriginName(SpeciesOrigin origin);

}  // namespace zyl::tools
