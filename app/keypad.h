/**
 * Keypad translation: polls the physical keyboard through a small platform port and turns the
 * 75 keys of keyScanTable into LVGL key codes, one new press per poll.
 *
 * Plain C++ over plain data so that the rules (Shift and Caps Lock, held keys, repeat of
 * Backspace and the arrows, focus loss) are tested without a window.
 */
#pragma once

#include <cstdint>

constexpr int KEY_SCAN_COUNT = 75;

/* LVGL's control key codes, named here so this file needs no LVGL header. */
constexpr uint32_t KEYCODE_BACKSPACE = 8;
constexpr uint32_t KEYCODE_ENTER = 10;
constexpr uint32_t KEYCODE_UP = 17;
constexpr uint32_t KEYCODE_DOWN = 18;
constexpr uint32_t KEYCODE_RIGHT = 19;
constexpr uint32_t KEYCODE_LEFT = 20;

/* Held time before a key counts as repeating, and the interval of the repeat stamp. */
constexpr uint32_t KEY_REPEAT_DELAY_MS = 20;

/* Virtual-key codes of the polled keys, by index (Windows numbering). */
extern const uint8_t keyScanTable[KEY_SCAN_COUNT];

/* What the keypad needs from the platform. key_down may report a press that was released
 * since the last poll (a latch), once. */
struct KeyboardPort {
    bool (*window_known)();   /* the main window exists */
    bool (*has_focus)();      /* the main window has the keyboard focus */
    bool (*key_down)(int vk); /* the key with this virtual-key code is down now */
    bool (*caps_lock_on)();   /* Caps Lock is toggled on */
    bool (*shift_down)();     /* a Shift key is held */
};

struct KeyRecord {
    uint8_t pressed;
    uint32_t press_tick;
    uint8_t repeating;
};

/* keyState with the shared repeat stamp and the sampled Caps Lock. */
struct KeypadState {
    KeyRecord keyState[KEY_SCAN_COUNT];
    uint32_t lastRepeatTick;
    uint8_t caps;
    uint8_t releasing; /* the last poll reported a new press: this one reports the release */
};

struct KeypadReport {
    bool pressed; /* report pressed (else released) */
    uint32_t key; /* LVGL key code, 0 when none */
};

/* Runs one poll at library tick `now`; returns what to report to LVGL. */
KeypadReport keypad_poll(KeypadState& state, uint32_t now, const KeyboardPort& port);

/* Key code of a new press of entry idx with the given Shift / Caps Lock state; 0 for none. */
uint32_t keypad_translate(int idx, bool shift, bool caps);
