#include "balance/species_source.h"

#include <filesystem>

#include "thermo/formula.h"
#include "thermo/lookup.h"

namespace zyl::balance {

const SpeciesInfo* DbSpeciesSource::Lookup(std::string_view name) {
  if (auto it = cache_.find(name); it != cache_.end()) return it->second.get();
  const thermo::SpeciesDatabases& dbs = dbs_ ? *dbs_ : thermo::SharedSpeciesDatabases();
  thermo::SpeciesLocation loc = thermo::FindSpecies(name, dbs);
  std::unique_ptr<SpeciesInfo> info;
  if (loc.found()) {
    info = std::make_unique<SpeciesInfo>();
    info->name = std::string(name);
    info->data = thermo::ReadSpeciesData(loc, name);
    if (info->data.ranges.empty()) {
      info.reset();
    } else {
      info->mw = thermo::MolarMass(name);
      if (info->mw == 0) info->mw = info->data.ranges.front().mw;
      info->db_density = info->data.density;
      info->db_no = loc.kind == thermo::DbKind::Own ? 1 : 2;
      info->first_rec = loc.first;
      info->last_rec = loc.last;
    }
  }
  const SpeciesInfo* p = info.get();
  cache_.emplace(std::string(name), std::move(info));
  return p;
}

void MapSpeciesSource::Add(std::string name, thermo::SpeciesData data, double db_density, double mw) {
  auto info = std::make_unique<SpeciesInfo>();
  info->name = name;
  info->data = std::move(data);
  info->data.name = name;
  info->data.density = db_density;
  info->mw = mw != 0 ? mw : thermo::MolarMass(name);
  info->db_density = db_density;
  info->db_no = 1;
  info->first_rec = static_cast<int>(species_.size()) + 1;
  info->last_rec = info->first_rec + static_cast<int>(info->data.ranges.size()) - 1;
  species_[std::move(name)] = std::move(info);
}

std::string OpenReadOnlyDatabases(thermo::SpeciesDatabases& dbs, std::string own, std::string main) {
  std::filesystem::path main_path = main.empty() ? thermo::DefaultMainDbPath() : std::filesystem::path(main);
  std::filesystem::path own_path = own.empty() ? thermo::DefaultOwnDbPath() : std::filesystem::path(own);
  std::string error;
  dbs.main = thermo::OpenSpeciesDb(main_path, nullptr, false, &error);
  if (!dbs.main) return error.empty() ? "Can not open: " + main_path.string() : error;
  std::error_code ec;
  if (std::filesystem::exists(own_path, ec)) {
    dbs.own = thermo::OpenSpeciesDb(own_path, nullptr, false, &error);
    if (!dbs.own && !own.empty()) return error;
  }
  return {};
}

const SpeciesInfo* MapSpeciesSource::Lookup(std::string_view name) {
  auto it = species_.find(name);
  return it == species_.end() ? nullptr : it->second.get();
}

}  // namespace zyl::balance
