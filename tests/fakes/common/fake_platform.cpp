/* Recording platform for tests: message boxes, serial wake-ups and quit requests. */
#include "tests/fakes/common/fake_platform.h"
#include "tests/fakes/common/fake_file_dialog.h"

FakePlatform& fake_platform() {
    static FakePlatform state;
    return state;
}

void fake_platform_reset() { fake_platform() = FakePlatform{}; }

void fake_platform_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    fake_platform().message_boxes.push_back({text ? text : "", caption ? caption : "", icon});
}

bool fake_platform_post_serial_rx() {
    FakePlatform& p = fake_platform();
    if (p.serial_rx_refusals.load() > 0) {
        p.serial_rx_refusals.fetch_sub(1);
        return false;
    }
    p.serial_rx_posts.fetch_add(1);
    return true;
}

void fake_platform_post_quit(int code) { fake_platform().quit_codes.push_back(code); }

const char* fake_platform_user_language() { return "en_US"; }

void fake_platform_install() {
    const PlatformPort port = {fake_platform_message_box,   fake_platform_post_serial_rx, fake_platform_post_quit,
                               fake_platform_user_language, fake_file_dialog_open_txt,    fake_file_dialog_save_txt};
    platform_port_set(&port);
}

namespace {
const bool g_installed = (fake_platform_install(), true);
} // namespace
