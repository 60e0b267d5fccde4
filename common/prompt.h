/**
 * The three prompt boxes. Every part of the program that talks to the user calls these; the UI
 * layer draws them as non-blocking LVGL message boxes (ui/prompt.cpp), tests record them.
 *
 * Each takes one UTF-8 text (copied, cut to 1023 bytes) and returns at once. Successes use
 * show_prompt ("提示"/"Prompt"), the hot-plug notices show_prompt_alert (same title, red text),
 * refusals, failures and time-outs show_error ("错误"/"Error", red text).
 */
#pragma once

/* A shown box; null when none could be made (no display). */
typedef void* prompt_box_t;

/* Shows a "Prompt" box with the text; returns the box. */
prompt_box_t show_prompt(const char* text);

/* Shows a "Prompt" box with red text; returns the box (the hot-plug notices keep it to close it). */
prompt_box_t show_prompt_alert(const char* text);

/* Shows an "Error" box with red text; returns the box. */
prompt_box_t show_error(const char* text);

/* Closes a box returned by one of the three; null is ignored. */
void prompt_close(prompt_box_t box);
