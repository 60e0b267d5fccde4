/**
 * The four fields of the servo information panel as the portable code sees them: the type text
 * and the version date (year, month, day), all plain text. The screen glue
 * (protocol/info_fields_lvgl.cpp) implements these over the LVGL text areas; core tests use a
 * recording fake.
 */
#pragma once

#include <cstddef>

enum class InfoField : int { Type, Year, Month, Day };
constexpr int INFO_FIELD_COUNT = 4;

/* Copies the text of a field into out (cut to cap - 1 bytes, always terminated). Returns the
 * length copied, or -1 when the field is not available (not built yet) or out is null or cap 0. */
int info_field_get(InfoField field, char* out, size_t cap);

/* Writes the text of a field. On screen the field's own change check runs afterwards. */
void info_field_set(InfoField field, const char* text);
