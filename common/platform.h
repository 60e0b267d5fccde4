/**
 * The few services of the host platform that the portable code needs: system message boxes, the
 * serial wake-up of the UI thread, the quit request, the user's language and the two file
 * dialogs. The program's shell fills a PlatformPort at start (app/), tests and tools fill their
 * own; until one is installed every call does nothing and answers "no".
 */
#pragma once

#include <cstddef>
#include <cstdint>

enum class MsgBoxIcon { Error, Exclamation, Information };

struct PlatformPort {
    /* Shows a modal system message box (no owner); returns when the user closes it. */
    void (*message_box)(const char* text, const char* caption, MsgBoxIcon icon);
    /* Wakes the UI thread to drain received serial bytes; called from the notifier thread.
     * False when the wake-up could not be posted (the caller tries again later). */
    bool (*post_serial_rx)();
    /* Asks the UI loop to end with the exit code once control returns to it. */
    void (*post_quit)(int code);
    /* The user's preferred interface language ("zh_CN", "en_US", ...), "" when none. */
    const char* (*user_language)();
    /* Asks for an existing file to open: true with the UTF-8 path in out (cap bytes). */
    bool (*file_dialog_open_txt)(char* out, size_t cap);
    /* Asks for a file name to save under (".txt" added to a bare name); with overwrite_prompt the
     * user confirms an existing file. True with the path in out. */
    bool (*file_dialog_save_txt)(char* out, size_t cap, bool overwrite_prompt);
};

/* Installs the port (copied; null members stay no-ops); null uninstalls. Call before any thread
 * that uses it starts. */
void platform_port_set(const PlatformPort* port);

/* ---- the calls of the portable code, through the installed port ---- */

void platform_message_box(const char* text, const char* caption, MsgBoxIcon icon);
bool platform_post_serial_rx();
void platform_post_quit(int code);
const char* platform_user_language();
bool file_dialog_open_txt(char* out, size_t cap);
bool file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);
