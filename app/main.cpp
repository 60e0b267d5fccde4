/* Process entry: the platform backend creates the window and runs the event loop. */
#include "app/window_sdl.h"

int main() { return window_sdl_main(); }
