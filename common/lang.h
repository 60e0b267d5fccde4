/**
 * Interface language. The program starts in Chinese; the "中/EN" button flips the flag.
 */
#pragma once

/* 1 = Chinese (start value), 0 = English. Tested for equality with 1. */
extern int ui_language_chinese;

/* Set as the first step of the screen build: 4 when it was built in Chinese, else 9.
 * The toggle does not change it. */
extern int ui_language_at_start;

constexpr int LANG_AT_START_CHINESE = 4;
constexpr int LANG_AT_START_OTHER = 9;

/* Text of a two-language message for the language in force now: with a Chinese start, Chinese
 * while the flag is 1 and English otherwise; with any other start, the reverse. */
const char* lang_text(const char* en, const char* zh);

/* Text chosen by the flag alone (prompt titles, panel captions). */
inline const char* lang_by_flag(const char* en, const char* zh) { return ui_language_chinese == 1 ? zh : en; }

/* Back to the state of a fresh run after its screen build (flag 1, start value 4); tests call
 * it between cases. */
void lang_reset();
