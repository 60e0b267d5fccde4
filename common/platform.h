/**
 * The few services of the windowing platform that the portable code needs. The platform
 * backend (app/window_sdl.cpp on Linux) defines them; tests define recording versions.
 */
#pragma once

#include <cstdint>

enum class MsgBoxIcon { Error, Exclamation, Information };

/* Shows a modal system message box (no owner) and returns when the user closes it. */
void platform_message_box(const char* text, const char* caption, MsgBoxIcon icon);

/* Wakes the UI thread to drain received serial bytes. Safe to call from any thread. Returns
 * false when the wake-up could not be posted (the caller tries again later). */
bool platform_post_serial_rx();

/* Asks the UI loop to end with the given exit code once control returns to it. */
void platform_post_quit(int code);

/* The user's preferred interface language as the platform reports it ("zh_CN", "en_US", ...),
 * or "" when it reports none. The tool asks, and starts in Chinese whatever the answer. */
const char* platform_user_language();
