/* The recording platform of the tests: message boxes, serial wake-ups, quit requests, and file
 * dialogs that answer with the path the test set. Installed before main runs. */
#pragma once

#include "common/platform.h"

#include <atomic>
#include <string>
#include <vector>

struct FakeMessageBox {
    std::string text;
    std::string caption;
    MsgBoxIcon icon;
};

struct FakePlatform {
    std::vector<FakeMessageBox> message_boxes;
    std::atomic<int> serial_rx_posts{0};    /* posted from the notifier thread */
    std::atomic<int> serial_rx_refusals{0}; /* this many posts fail before they succeed again */
    std::vector<int> quit_codes;
};

struct FakeFileDialog {
    std::string next_path;          /* empty: the user cancels */
    std::vector<std::string> calls; /* "open", "save", "save, confirm overwrite" */
    std::string move_to; /* when set, answering moves the current directory there, as some platforms' dialogs do */
};

inline FakePlatform& fake_platform() {
    static FakePlatform s;
    return s;
}
inline FakeFileDialog& fake_file_dialog() {
    static FakeFileDialog s;
    return s;
}
/* Both recordings back to their start. */
void fake_platform_reset();
/* Puts the recording platform back. */
void fake_platform_install();

bool fake_file_dialog_open_txt(char* out, size_t cap);
bool fake_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);
