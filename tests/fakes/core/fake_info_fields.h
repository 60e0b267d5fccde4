#pragma once

#include "common/screen_port.h"

#include <string>

/* The information panel's four fields as plain texts, and a count of the writes. */
struct FakeInfoFields {
    std::string text[INFO_FIELD_COUNT] = {"", "2026", "01", "01"};
    bool available[INFO_FIELD_COUNT] = {true, true, true, true};
    int writes = 0;
};

FakeInfoFields& fake_info_fields();
void fake_info_fields_reset();

inline std::string& fake_info(InfoField f) { return fake_info_fields().text[static_cast<int>(f)]; }
