/**
 * The program's one loop: it creates the window, runs the start-up sequence, then waits for the
 * window's events up to the next tick and runs the tick when it is due, until quit. The tick's
 * pace (APP_TICK_PERIOD_MS, slower when idle) is decided here once for every platform.
 *
 * Modal boxes (system message boxes, the About box, file dialogs) run their own nested loop;
 * they keep the program alive by calling main_loop_pump (or, on Windows, main_loop_tick_if_due
 * from WM_TIMER), so the tick, the serial drain and repainting go on while they are open.
 */
#pragma once

/* Runs the program: window, start-up, loop, end. Returns the exit code (0 also when the window
 * could not be created). */
int main_loop_run();

/* Asks the loop to end with this exit code once control returns to it (the first request wins).
 * UI thread only; other threads use window_post_quit. */
void main_loop_quit(int code);

/* True once quit has been asked for. */
bool main_loop_quitting();

/* For a modal box's nested loop, called every few milliseconds: handles the window's waiting
 * events without sleeping and runs the tick if it is due. Returns false once the program is
 * quitting: the box should then close. Before the loop has started (a box shown during start-up)
 * only events are handled. */
bool main_loop_pump();

/* Runs the tick if its time has come (nothing before the loop has started). */
void main_loop_tick_if_due();
