#pragma once
// Renders the program's main windows into PNG files for the user guide.

#include <QString>

namespace zyl::shell::window {

class MainMenu;

/// Opens the main windows with sample input from the menu and saves each as <dir>/<name>.png.
/// Returns the number of pictures written.
int SaveScreenshots(MainMenu& menu, const QString& dir);

}  // namespace zyl::shell::window
