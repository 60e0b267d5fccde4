/* Recording platform for tests: message boxes, serial wake-ups and quit requests. */
#include "tests/fakes/common/fake_platform.h"

FakePlatform& fake_platform() {
    static FakePlatform state;
    return state;
}

void fake_platform_reset() { fake_platform() = FakePlatform{}; }

void platform_message_box(const char* text, const char* caption, MsgBoxIcon icon) {
    fake_platform().message_boxes.push_back({text ? text : "", caption ? caption : "", icon});
}

bool platform_post_serial_rx() {
    FakePlatform& p = fake_platform();
    if (p.serial_rx_refusals.load() > 0) {
        p.serial_rx_refusals.fetch_sub(1);
        return false;
    }
    p.serial_rx_posts.fetch_add(1);
    return true;
}

void platform_post_quit(int code) { fake_platform().quit_codes.push_back(code); }

const char* platform_user_language() { return "en_US"; }
