/* Size of the main screen, which is also the window's client area (pixels). */
#pragma once

constexpr int UI_SCREEN_WIDTH = 970;
constexpr int UI_SCREEN_HEIGHT = 660;
