/* What the Linux modal boxes need of the SDL window beyond app/window.h. */
#pragma once

/* The main window's X11 id while it is shown (the owner of a modal box), else 0. */
unsigned long window_sdl_x11_window();
