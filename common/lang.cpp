#include "common/lang.h"

int ui_language_chinese = 1;
int ui_language_at_start = 0;

const char* lang_text(const char* en, const char* zh) {
    bool chinese = ui_language_chinese == 1;
    if (ui_language_at_start != LANG_AT_START_CHINESE) chinese = !chinese;
    return chinese ? zh : en;
}

void lang_reset() {
    ui_language_chinese = 1;
    ui_language_at_start = LANG_AT_START_CHINESE;
}
