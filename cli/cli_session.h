/**
 * The window-less stand-in for the screen and the platform that servo_cli runs the core in:
 *  - prompts and system boxes become messages, collected in order (English texts);
 *  - the parameter panel is the headless panel model (params/panel_model.h), the information
 *    fields and the port list plain state;
 *  - the sequencing timers are a small list run by the loop;
 *  - the serial wake-up goes to the loop's own wait (cli/cli_platform.h), after which the loop
 *    moves the received bytes into the ring and drains them into the parser, as the window does.
 * One thread; everything but the wake-up runs on it.
 */
#pragma once

#include "common/screen_port.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

enum class MessageKind { Prompt, Alert, Error, SystemBox };

struct Message {
    MessageKind kind;
    std::string text;
};

/* Installs the ports, switches the messages to English, loads the parameter defaults and puts
 * the panel and the protocol state in their start state. With verbose the diagnostic lines
 * (frames as hex among them) go to standard error; otherwise nowhere. */
void session_start(bool verbose);

/* Messages shown so far; a mark is a count to look at the ones after it. */
const std::vector<Message>& session_messages();
size_t session_mark();

/* Drops the messages kept so far (a long run keeps only the current servo's). */
void session_forget_messages();

/* True when a success prompt ("Prompt" box) was shown after the mark. */
bool session_prompt_since(size_t mark);

/* First error box (or system box) after the mark, or null. */
const Message* session_error_since(size_t mark);

/* Replaces `from` by `to` in the texts of the messages after the mark (a temporary file name
 * by the name the user gave). */
void session_replace_text(size_t mark, const std::string& from, const std::string& to);

/* Writes the messages after the mark to standard error, one line each ("Error: ..."), and
 * returns the new mark. */
size_t session_print_since(size_t mark);

/* One turn of the loop: sleeps until a wake-up, the next timer or max_wait_ms, then moves
 * received bytes into the parser and runs the timers that are due. */
void session_pump(uint32_t max_wait_ms);

/* A due timer waits while ready() says no, at most max_hold_ms past its due time (then it runs
 * as it would have). Null: timers run when due. */
void session_set_timer_gate(bool (*ready)(), uint32_t max_hold_ms);

/* Bytes handed to the parser so far (echo included). */
uint64_t session_bytes_received();

/* True while a sequencing timer runs. */
bool session_timers_running();

/* Forgets every timer without running it (a fresh start for the next servo). */
void session_timers_clear();

/* Clock time at which a timer last ran (each run sends a request), 0 before any. */
uint32_t session_last_timer_ms();

/* The four information fields as plain texts. */
void session_info_set(InfoField field, const char* text);
std::string session_info_get(InfoField field);

/* The path the next file dialog answers with (the save action of the window asks for one). */
void session_set_dialog_path(const char* path);
