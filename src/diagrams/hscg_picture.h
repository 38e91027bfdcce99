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

}  // namespace zyl::diagrams
