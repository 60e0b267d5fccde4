#include "common/lang.h"

namespace {
LangState g_lang;
} // namespace

const LangState& lang_state() { return g_lang; }

void lang_set_chinese(int chinese) { g_lang.ui_language_chinese = chinese; }

void lang_mark_build() {
    g_lang.ui_language_at_start = g_lang.ui_language_chinese == 1 ? LANG_AT_START_CHINESE : LANG_AT_START_OTHER;
}

const char* lang_text(const char* en, const char* zh) {
    bool chinese = g_lang.ui_language_chinese == 1;
    if (g_lang.ui_language_at_start != LANG_AT_START_CHINESE) chinese = !chinese;
    return chinese ? zh : en;
}

void lang_reset() {
    g_lang.ui_language_chinese = 1;
    g_lang.ui_language_at_start = LANG_AT_START_CHINESE;
}
