/* Recording information fields for the core tests. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_info_fields.h"

#include <algorithm>
#include <cstring>

FakeInfoFields& fake_info_fields() {
    static FakeInfoFields state;
    return state;
}

void fake_info_fields_reset() { fake_info_fields() = FakeInfoFields{}; }

int fake_info_field_get(InfoField field, char* out, size_t cap) {
    const int i = static_cast<int>(field);
    if (out == nullptr || cap == 0 || i < 0 || i >= INFO_FIELD_COUNT || !fake_info_fields().available[i]) return -1;
    const std::string& t = fake_info_fields().text[i];
    const size_t n = std::min(t.size(), cap - 1);
    memcpy(out, t.data(), n);
    out[n] = '\0';
    return static_cast<int>(n);
}

void fake_info_field_set(InfoField field, const char* text) {
    const int i = static_cast<int>(field);
    if (i < 0 || i >= INFO_FIELD_COUNT || text == nullptr) return;
    fake_info_fields().text[i] = text;
    ++fake_info_fields().writes;
}

void fake_info_fields_fill_port(ScreenPort& port) {
    port.info_field_get = fake_info_field_get;
    port.info_field_set = fake_info_field_set;
}
