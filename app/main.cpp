/* Process entry: the program's loop creates the window, runs until quit and returns the exit code. */
#include "app/main_loop.h"

int main() { return main_loop_run(); }
