// zyl-eph [FILE.iep]: the Eh-pH diagram program, started by the set-up form with the file name.

#include "diagrams/window/eph_window.h"

int main(int argc, char** argv) { return zyl::diagrams::RunDiagramProgram<zyl::diagrams::EphWindow>(argc, argv); }
