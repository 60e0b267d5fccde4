/**
 * The one way from the core (serial link, protocol, parameters) to the screen: a struct of
 * function pointers that the screen layer fills at start (ui/screen_port.cpp), as LVGL's display
 * and input drivers take their callbacks. Tests and the command-line tool install their own.
 *
 * The core calls the plain functions below; each goes through the installed port. Until a port
 * is installed, or where a member is null, a call does nothing: getters answer 0, "" or false,
 * prompts return no box and timers cannot be started. Everything here runs on the UI thread.
 */
#pragma once

#include "common/prompt.h"

#include <cstddef>
#include <cstdint>

/* The sixteen entries of the parameter panel, in the order the panel lays them out. */
enum class PanelEntry : int {
    MinAngle,    /* row 7 `MinAngle`,   register family LA */
    MaxAngle,    /* row 5 `MaxAngle`,   MA */
    MidAngle,    /* row 6 `MidAngle`,   CA */
    MinPulse,    /* row 4 `PulseMin`,   LP / 4 */
    MaxPulse,    /* row 2 `PulseMax`,   MP / 4 */
    Deadband,    /* row 14 `Deadband1`, DZ */
    Gain,        /* row 0 `Gain`,       KP */
    Damping,     /* row 1 `Brake`,      KD */
    OutputPower, /* row 22 `PowerMax`,  MD / 80 */
    Stall1Time,  /* row 8 `StallTime1` in ms (value x 100), OT / 1000 */
    Stall1Power, /* row 10 `StallForce1`, OD / 80 */
    Stall2Time,  /* row 36 `StallTime2` in ms */
    Stall2Power, /* row 11 `StallForce2` */
    Stall3Time,  /* row 37 `StallTime3` in ms */
    Stall3Power, /* row 12 `StallForce3` */
    SoftStart,   /* row 25 `SlowStart`, LS */
};
constexpr int PANEL_ENTRY_COUNT = 16;

/* The parameter panel's four check boxes: the three stall-protection levels and the direction
 * (row 31 `ArmDir`, register family RS). */
enum class PanelCheck : int { Level1, Level2, Level3, Direction };
constexpr int PANEL_CHECK_COUNT = 4;

/* The four text fields of the servo information panel. */
enum class InfoField : int { Type, Year, Month, Day };
constexpr int INFO_FIELD_COUNT = 4;

/* A running periodic timer (the register read and write sequencers); null for none. */
typedef void* protocol_timer_t;
/* Called on each period with the timer that fired (so the callback can delete it). */
typedef void (*protocol_timer_cb)(protocol_timer_t timer);

struct ScreenPort {
    /* Prompts: one text in (copied), a non-blocking box out (null when none could be made). */
    prompt_box_t (*show_prompt)(const char* text);
    prompt_box_t (*show_prompt_alert)(const char* text);
    prompt_box_t (*show_error)(const char* text);
    void (*prompt_close)(prompt_box_t box);

    /* Parameter panel. Setting an entry runs the entry's own change check on the whole text. */
    void (*panel_set_text)(PanelEntry entry, const char* text);
    int (*panel_get_text)(PanelEntry entry, char* out, size_t cap); /* length, -1 when none */
    void (*panel_set_checked)(PanelCheck check, bool checked);      /* no change handler runs */
    bool (*panel_get_checked)(PanelCheck check);
    void (*panel_set_check_enabled)(PanelCheck check, bool enabled);
    void (*panel_show_level)(int level, bool shown); /* the six widgets of stall level 1..3 */
    void (*panel_redraw)();

    /* Information fields. Setting a date field runs its change check. */
    int (*info_field_get)(InfoField field, char* out, size_t cap); /* length, -1 when unavailable */
    void (*info_field_set)(InfoField field, const char* text);

    /* Port panel and the language button. */
    void (*port_list_set_options)(const char* options); /* '\n'-separated; selection back to 0 */
    int (*port_list_selected)();
    void (*port_list_select)(int index); /* limited to the last option */
    int (*port_list_option_count)();
    void (*port_list_selected_text)(char* buf, int size);
    void (*port_ui_opened)();                   /* button #E7C129, list disabled and grey */
    void (*port_ui_closed)();                   /* button #FFFFFF, list enabled */
    void (*port_button_set_caption)(const char* text);
    void (*relabel_port_panel)();               /* port caption and button caption, by language */
    void (*lang_button_set_disabled)(bool disabled);

    /* Sequencing timers, run by the tick: the first call comes with the next tick. */
    protocol_timer_t (*timer_start)(uint32_t period_ms, protocol_timer_cb cb);
    void (*timer_delete)(protocol_timer_t timer);
};

/* Installs the port (copied; null members stay no-ops); null uninstalls. */
void screen_port_set(const ScreenPort* port);

/* ---- the core's calls, through the installed port (prompts: common/prompt.h) ---- */

void panel_set_text(PanelEntry entry, const char* text);
int panel_get_text(PanelEntry entry, char* out, size_t cap);
void panel_set_checked(PanelCheck check, bool checked);
bool panel_get_checked(PanelCheck check);
void panel_set_check_enabled(PanelCheck check, bool enabled);
void panel_show_level(int level, bool shown);
void panel_redraw();

int info_field_get(InfoField field, char* out, size_t cap);
void info_field_set(InfoField field, const char* text);

void port_list_set_options(const char* options);
int port_list_selected();
void port_list_select(int index);
int port_list_option_count();
void port_list_selected_text(char* buf, int size);
void port_ui_opened();
void port_ui_closed();
void port_button_set_caption(const char* text);
void relabel_port_panel();
void lang_button_set_disabled(bool disabled);

protocol_timer_t protocol_timer_start(uint32_t period_ms, protocol_timer_cb cb);
void protocol_timer_delete(protocol_timer_t timer);
