/* What the Windows modal boxes need of the main window beyond app/window.h. */
#pragma once

#include <windows.h>

/* The program's module (the resources' owner). */
HINSTANCE window_win32_instance();

/* The main window while it is shown (the owner of a modal box), else null. */
HWND window_win32_owner();
