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
    std::atomic<int> serial_rx_posts{0}; /* posted from the notifier thread */
    std::atomic<int> serial_rx_refusals{0}; /* this many posts fail before they succeed again */
    std::vector<int> quit_codes;
    FakePlatform() = default;
    FakePlatform& operator=(const FakePlatform&) {
        message_boxes.clear();
        serial_rx_posts = 0;
        serial_rx_refusals = 0;
        quit_codes.clear();
        return *this;
    }
};

FakePlatform& fake_platform();
void fake_platform_reset();
/* Puts the recording platform back (it is installed before main runs). */
void fake_platform_install();
