/**
 * Interface language. The program starts in Chinese; the "中/EN" button flips the flag.
 */
#pragma once

constexpr int LANG_AT_START_CHINESE = 4;
constexpr int LANG_AT_START_OTHER = 9;

struct LangState {
    int ui_language_chinese = 1; /* 1 = Chinese (start value), 0 = English; tested for equality with 1 */
    /* Set as the first step of the screen build: 4 when it was built in Chinese, else 9. The
     * toggle does not change it. */
    int ui_language_at_start = 0;
};

/* The language state, read-only. */
const LangState& lang_state();

/* True while the flag says Chinese. */
inline bool lang_is_chinese() { return lang_state().ui_language_chinese == 1; }

/* Sets the flag (1 Chinese, 0 English): the "中/EN" button, and tests. */
void lang_set_chinese(int chinese);

/* Records the language the screen is built in, as its build's first step (4 Chinese, else 9). */
void lang_mark_build();

/* Text of a two-language message for the language in force now: with a Chinese start, Chinese
 * while the flag is 1 and English otherwise; with any other start, the reverse. */
const char* lang_text(const char* en, const char* zh);

/* Text chosen by the flag alone (prompt titles, panel captions). */
inline const char* lang_by_flag(const char* en, const char* zh) { return lang_is_chinese() ? zh : en; }

/* Back to the state of a fresh run after its screen build (flag 1, start value 4); tests call
 * it between cases. */
void lang_reset();
