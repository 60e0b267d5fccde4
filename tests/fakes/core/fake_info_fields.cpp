/* Recording information fields for the core tests. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_info_fields.h"

#include <cstdio>
#include <cstring>

FakeInfoFields& fake_info_fields() {
    static FakeInfoFields state;
    return state;
}

void fake_info_fields_reset() { fake_info_fields() = FakeInfoFields{}; }

int fake_info_field_get(InfoField field, char* out, size_t cap) {
    if (!fake_info_fields().available[static_cast<int>(field)]) return -1;
    snprintf(out, cap, "%s", fake_info(field).c_str());
    return static_cast<int>(strlen(out));
}

void fake_info_field_set(InfoField field, const char* text) {
    fake_info(field) = text != nullptr ? text : "";
    ++fake_info_fields().writes;
}

void fake_info_fields_fill_port(ScreenPort& port) {
    port.info_field_get = fake_info_field_get;
    port.info_field_set = fake_info_field_set;
}
