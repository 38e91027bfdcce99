#pragma once
// Hands a diagram to the picture renderer `zyl-render` (a small Qt program beside `zyl`), so that the
// command line itself links no Qt.

#include <filesystem>
#include <string>

#include "diagrams/picture.h"

namespace zyl::diagrams {

inline constexpr const char* kRendererName = "zyl-render";

/// Writes pic to out (.png, .svg or .pdf) of width x height pixels through the renderer in
/// `renderer_dir` (default: the folder of the running program), on the offscreen Qt platform.
/// Returns an error text, empty on success.
std::string RenderPicture(const DiagramPicture& pic, const std::filesystem::path& out, int width = 1000,
                          int height = 800, const std::filesystem::path& renderer_dir = {});

}  // namespace zyl::diagrams
