#include "app/keypad.h"

#include "common/debug_log.h"

#include <cstring>

const uint8_t keyScanTable[KEY_SCAN_COUNT] = {
    /* 0..9: numeric pad 0..9 */
    0x60, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69,
    /* 10..19: top-row 0..9 */
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39,
    /* 20..22: Backspace, Enter, Space */
    0x08, 0x0D, 0x20,
    /* 23..26: Left, Up, Right, Down */
    0x25, 0x26, 0x27, 0x28,
    /* 27..52: A..Z */
    0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4D,
    0x4E, 0x4F, 0x50, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A,
    /* 53..63: / ` [ \ ] - = ' ; , . */
    0xBF, 0xC0, 0xDB, 0xDC, 0xDD, 0xBD, 0xBB, 0xDE, 0xBA, 0xBC, 0xBE,
    /* 64..73: top-row 1..9, 0 again (shadowed by 10..19, which are scanned first) */
    0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x30,
    /* 74: Space again */
    0x20,
};

namespace {
constexpr char PUNCT_PLAIN[] = "/`[\\]-=';,.";
constexpr char PUNCT_SHIFT[] = "?~{|}_+\":<>";
constexpr uint32_t ARROW_KEYS[4] = {KEYCODE_LEFT, KEYCODE_UP, KEYCODE_RIGHT, KEYCODE_DOWN};

bool is_repeatable(int idx) { return idx == 20 || (idx >= 23 && idx <= 26); }
} // namespace

uint32_t keypad_translate(int idx, bool shift, bool caps) {
    if (idx >= 0 && idx <= 9) return '0' + idx;
    if (idx >= 10 && idx <= 19) return '0' + (idx - 10);
    if (idx == 20) return KEYCODE_BACKSPACE;
    if (idx == 21) return KEYCODE_ENTER;
    if (idx == 22 || idx == 74) return ' ';
    if (idx >= 23 && idx <= 26) return ARROW_KEYS[idx - 23];
    if (idx >= 27 && idx <= 52) return (shift != caps ? 'A' : 'a') + (idx - 27);
    if (idx >= 53 && idx <= 63) return static_cast<uint8_t>((shift ? PUNCT_SHIFT : PUNCT_PLAIN)[idx - 53]);
    return 0; /* 64..73 and anything else */
}

KeypadReport keypad_poll(KeypadState& st, uint32_t now, const KeyboardPort& port) {
    st.caps = port.caps_lock_on() ? 1 : 0;
    const bool shift = port.shift_down();

    if (port.window_known() && !port.has_focus()) {
        /* Keys are polled globally; typing into another window must not reach us. */
        memset(st.keyState, 0, sizeof st.keyState);
        st.releasing = 0;
        return {false, 0};
    }

    /* NOTE: every new press is reported for exactly one poll and released on the next. LVGL
     * takes two pressed polls in a row for one held key, so a second key typed within one poll
     * of the first would be lost; it waits, unread (its latch kept), until the poll after. */
    const bool releasing = st.releasing != 0;
    st.releasing = 0;

    for (int idx = 0; idx < KEY_SCAN_COUNT; ++idx) {
        KeyRecord& k = st.keyState[idx];
        if (releasing && !k.pressed) continue;
        const bool down = port.key_down(keyScanTable[idx]);
        if (down && !k.pressed) {
            k.pressed = 1;
            k.press_tick = now;
            k.repeating = 0;
            const uint32_t key = keypad_translate(idx, shift, st.caps != 0);
            if (key != 0)
                dbg_log("[Information] Key pressed: idx=%d, key=0x%X (%c), shift=%d, caps=%d\n", idx,
                        static_cast<unsigned>(key), static_cast<char>(key), shift ? 1 : 0, st.caps);
            st.releasing = 1;
            return {true, key};
        }
        if (down && k.pressed) {
            if (now - k.press_tick > KEY_REPEAT_DELAY_MS) {
                if (!k.repeating) {
                    k.repeating = 1;
                    st.lastRepeatTick = now;
                }
                if (!releasing && now - st.lastRepeatTick > KEY_REPEAT_DELAY_MS) {
                    st.lastRepeatTick = now;
                    if (is_repeatable(idx)) return {true, keypad_translate(idx, false, false)};
                    return {false, 0};
                }
            }
        } else if (!down && k.pressed) {
            k.pressed = 0;
            k.repeating = 0;
        }
    }
    return {false, 0};
}
