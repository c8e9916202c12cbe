#pragma once

#include "core/reading/GrayImage.h"

#include <vector>

namespace nomara {

/// Tells a window's own controls from what it shows, by its picture alone: most toolkits draw menus, bars and panels on
/// another background than lists and text. Pure; callable from any thread.
namespace WindowControls {

/// For each line of a window's picture, as `LineSegmenter` finds them, whether it is the window's own. None is where
/// the window has no row of menus, or where most of its text stands on the menus' background. What is long is kept
/// wherever it stands.
std::vector<bool> among(const GrayImage& window, const std::vector<PixelBox>& lines, int strokeScale);

} // namespace WindowControls

} // namespace nomara
