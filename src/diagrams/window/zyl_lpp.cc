// zyl-lpp [FILE.lpp]: the phase stability diagram program, started by the set-up form with the file name.

#include "diagrams/window/lpp_window.h"

int main(int argc, char** argv) { return zyl::diagrams::RunDiagramProgram<zyl::diagrams::LppWindow>(argc, argv); }
