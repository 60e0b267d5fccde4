/* The recording platform (fake_platform.h). */
#include "tests/fakes/common/fake_platform.h"

void fake_platform_reset() {
    FakePlatform& p = fake_platform();
    p.message_boxes.clear();
    p.serial_rx_posts = 0;
    p.serial_rx_refusals = 0;
    p.quit_codes.clear();
    fake_file_dialog() = FakeFileDialog{};
}

void fake_platform_install() {
    PlatformPort port = {};
    port.message_box = [](const char* text, const char* caption, MsgBoxIcon icon) {
        fake_platform().message_boxes.push_back({text ? text : "", caption ? caption : "", icon});
    };
    port.post_serial_rx = [] {
        FakePlatform& p = fake_platform();
        if (p.serial_rx_refusals.load() > 0) {
            p.serial_rx_refusals.fetch_sub(1);
            return false;
        }
        p.serial_rx_posts.fetch_add(1);
        return true;
    };
    port.post_quit = [](int code) { fake_platform().quit_codes.push_back(code); };
    port.user_language = [] { return "en_US"; };
    port.file_dialog_open_txt = fake_file_dialog_open_txt;
    port.file_dialog_save_txt = fake_file_dialog_save_txt;
    platform_port_set(&port);
}

namespace {
const bool g_installed = (fake_platform_install(), true);
} // namespace
