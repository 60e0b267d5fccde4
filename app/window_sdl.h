/* SDL2 window backend (Linux): the process entry's window, event loop and 5 ms tick. */
#pragma once

/* Creates the window, runs the loop until it closes; returns the exit code. */
int window_sdl_main();
