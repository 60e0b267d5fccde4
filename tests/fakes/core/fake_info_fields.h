#pragma once

#include "protocol/info_fields.h"

#include <string>
#include <vector>

/* The information panel's four fields as plain texts, and every write in order ("year=2026"). */
struct FakeInfoFields {
    std::string text[INFO_FIELD_COUNT] = {"", "2026", "01", "01"};
    bool available[INFO_FIELD_COUNT] = {true, true, true, true};
    std::vector<std::string> writes;
};

FakeInfoFields& fake_info_fields();
void fake_info_fields_reset();

inline std::string& fake_info(InfoField f) {
    return fake_info_fields().text[static_cast<int>(f)];
}
