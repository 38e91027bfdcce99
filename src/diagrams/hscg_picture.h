#pragma once
// Drawable form of an H, S, C and G table: one coloured polyline per species with its label at the
// right end, phase changes of the species and its elements as small marks.

#include <cmath>

#include "diagrams/hscg.h"
#include "diagrams/picture.h"

namespace zyl::diagrams {

/// Distinct, saturated line colours for species 1.. (entries 10 + k of the palette).
Palette LinePalette();

/// The picture of a table; y limits NaN choose them from the values. Values outside the limits are
/// clipped by the painter; a gap (NaN) interrupts the line.
DiagramPicture BuildHscgPicture(const HscgTable& t, double ymin = NAN, double ymax = NAN);

/// The pO2, CO/CO2 and H2/H2O scales of an Ellingham picture of oxides on its right and bottom
/// edges, with the origin points "O", "C" and "H" at 0 K (the x axis is extended to 0 K and the y
/// axis to the points). False, and the picture unchanged, for other tables.
bool AddEllinghamScales(DiagramPicture& pic, const HscgTable& t, const thermo::SpeciesDatabases& dbs);

}  // namespace zyl::diagrams
