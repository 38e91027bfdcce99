#pragma once
// Eh-pH diagrams from a set-up and the species databases.

#include <vector>

#include "diagrams/eph.h"
#include "diagrams/iep_file.h"
#include "diagrams/picture.h"
#include "thermo/lookup.h"

namespace zyl::diagrams {

/// Reads species from the open databases (own first).
EphSpeciesReader DatabaseReader(const thermo::SpeciesDatabases& dbs);

/// Every database species of `element` made of it, O and H only (ions and gases included, water not),
/// in database order, each name once.
std::vector<std::string> EphSpeciesOf(const std::string& element, const thermo::SpeciesDatabases& dbs);
/// The same for a system of several elements: species of the first (main) element made of the given
/// elements, O and H, and each further element's own species with O and H only.
std::vector<std::string> EphSpeciesOf(const std::vector<std::string>& elements, const thermo::SpeciesDatabases& dbs);

/// One diagram per temperature of the set-up (the first element is the main one).
std::vector<EphDiagram> ComputeSetup(const IepSetup& s, const EphSpeciesReader& read);

/// Title of a diagram: "Eh - pH Diagram of the Cu-O-H System at 25.00 C".
std::string EphTitle(const IepSetup& s, size_t temperature);

/// The drawable diagram of temperature i: field borders and water lines as lines, fields filled in
/// thin vertical strips, species at the fields' centroids (palette colour by set-up position).
DiagramPicture BuildEphPicture(const IepSetup& s, size_t i, const EphDiagram& d);

}  // namespace zyl::diagrams
