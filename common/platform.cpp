#include "common/platform.h"

namespace {
PlatformPort g_platform = {}; /* written at start-up, before the notifier thread exists */
} // namespace

void platform_port_set(const PlatformPort* port) { g_platform = port != nullptr ? *port : PlatformPort{}; }

void platform_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    if (g_platform.message_box != nullptr) g_platform.message_box(text, caption, icon);
}

bool platform_post_serial_rx() { return g_platform.post_serial_rx != nullptr && g_platform.post_serial_rx(); }

void platform_post_quit(int code) {
    if (g_platform.post_quit != nullptr) g_platform.post_quit(code);
}

const char* platform_user_language() {
    const char* language = g_platform.user_language != nullptr ? g_platform.user_language() : nullptr;
    return language != nullptr ? language : "";
}

bool file_dialog_open_txt(char* out, size_t cap) {
    return g_platform.file_dialog_open_txt != nullptr && g_platform.file_dialog_open_txt(out, cap);
}

bool file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    return g_platform.file_dialog_save_txt != nullptr && g_platform.file_dialog_save_txt(out, cap, overwrite_prompt);
}
