/* What both fuzzers share: a driven clock, a quiet log, a screen that checks everything the core
 * shows, and a fresh run for every input. */
#pragma once

#include "common/screen_port.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/* Reports a broken guarantee and aborts, so that libFuzzer keeps the input. */
[[noreturn]] void fuzz_fail(const char* what, const std::string& detail = "");
#define FUZZ_CHECK(cond, detail) ((cond) ? (void)0 : fuzz_fail(#cond, detail))

/* Milliseconds of the driven clock; sleeps advance it. It starts just before the 32-bit wrap. */
void fuzz_advance_ms(uint32_t ms);

/* A fresh run: protocol, parameters, import, ring, screen, clock and language as at start, the
 * panel showing the defaults, the port open. */
void fuzz_new_run();

/* The text the user may type into a panel entry: cut to the entry's length, valid UTF-8. */
void fuzz_type_entry(PanelEntry entry, const std::string& text);

/* Prompts shown since the run started (every one was checked as it was shown). */
size_t fuzz_prompt_count();
bool fuzz_prompt_shown_since(size_t first, const char* en, const char* zh);

/* Each panel entry shows its text. */
using EntryTexts = std::vector<std::pair<PanelEntry, const char*>>;
void fuzz_check_entries(const EntryTexts& expected);
