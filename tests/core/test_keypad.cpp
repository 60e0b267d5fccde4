/* Keypad translation and the poll rules: one report per new press, repeat only for Backspace
 * and the arrows, nothing while another window has the focus. */
#include "app/keypad.h"

#include <gtest/gtest.h>

#include <set>

namespace {

struct FakeKeyboard {
    std::set<int> down;
    std::set<int> tapped; /* pressed and released since the last query: reported once */
    bool focus = true;
    bool caps = false;
    bool shift = false;
    int queries = 0;
};
FakeKeyboard kb;

const KeyboardPort port = {
    [] { return true; },
    [] { return kb.focus; },
    [](int vk) {
        ++kb.queries;
        const bool tapped = kb.tapped.erase(vk) != 0;
        return tapped || kb.down.count(vk) != 0;
    },
    [] { return kb.caps; },
    [] { return kb.shift; },
};

class KeypadTest : public ::testing::Test {
protected:
    void SetUp() override {
        kb = FakeKeyboard{};
        state = KeypadState{};
    }
    KeypadReport poll() {
        now += 33; /* LVGL reads its input devices every 33 ms */
        return keypad_poll(state, now, port);
    }
    KeypadState state{};
    uint32_t now = 1000;
};

} // namespace

TEST(KeypadTranslate, letters_follow_exactly_one_of_shift_and_caps_lock) {
    const int a = 27, z = 52;
    EXPECT_EQ(keypad_translate(a, false, false), static_cast<uint32_t>('a'));
    EXPECT_EQ(keypad_translate(a, true, false), static_cast<uint32_t>('A'));
    EXPECT_EQ(keypad_translate(a, false, true), static_cast<uint32_t>('A'));
    EXPECT_EQ(keypad_translate(a, true, true), static_cast<uint32_t>('a'));
    EXPECT_EQ(keypad_translate(z, true, false), static_cast<uint32_t>('Z'));
}

TEST(KeypadTranslate, digits_control_keys_and_punctuation_rows) {
    EXPECT_EQ(keypad_translate(0, false, false), static_cast<uint32_t>('0'));  /* numeric pad */
    EXPECT_EQ(keypad_translate(19, true, false), static_cast<uint32_t>('9')); /* top row ignores Shift */
    EXPECT_EQ(keypad_translate(20, false, false), KEYCODE_BACKSPACE);
    EXPECT_EQ(keypad_translate(21, false, false), KEYCODE_ENTER);
    EXPECT_EQ(keypad_translate(22, false, false), static_cast<uint32_t>(' '));
    EXPECT_EQ(keypad_translate(74, false, false), static_cast<uint32_t>(' '));
    EXPECT_EQ(keypad_translate(23, false, false), KEYCODE_LEFT);
    EXPECT_EQ(keypad_translate(24, false, false), KEYCODE_UP);
    EXPECT_EQ(keypad_translate(25, false, false), KEYCODE_RIGHT);
    EXPECT_EQ(keypad_translate(26, false, false), KEYCODE_DOWN);
    const char plain[] = "/`[\\]-=';,.";
    const char shifted[] = "?~{|}_+\":<>";
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(keypad_translate(53 + i, false, false), static_cast<uint32_t>(static_cast<uint8_t>(plain[i]))) << i;
        EXPECT_EQ(keypad_translate(53 + i, true, false), static_cast<uint32_t>(static_cast<uint8_t>(shifted[i]))) << i;
    }
    for (int idx = 64; idx <= 73; ++idx) EXPECT_EQ(keypad_translate(idx, false, false), 0u) << idx;
}

TEST(KeypadTranslate, scan_table_holds_the_windows_virtual_keys) {
    EXPECT_EQ(keyScanTable[0], 0x60);
    EXPECT_EQ(keyScanTable[10], 0x30);
    EXPECT_EQ(keyScanTable[27], 0x41);
    EXPECT_EQ(keyScanTable[53], 0xBF);
    EXPECT_EQ(keyScanTable[63], 0xBE);
    EXPECT_EQ(keyScanTable[64], 0x31);
    EXPECT_EQ(keyScanTable[73], 0x30);
    EXPECT_EQ(keyScanTable[74], 0x20);
}

TEST_F(KeypadTest, a_new_press_is_reported_once_then_released) {
    kb.down = {0x41};
    KeypadReport r = poll();
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.key, static_cast<uint32_t>('a'));
    /* Held letter: never repeated. */
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(poll().pressed) << i;
    kb.down.clear();
    EXPECT_FALSE(poll().pressed);
    kb.down = {0x41};
    EXPECT_TRUE(poll().pressed); /* released and pressed again: a new press */
}

TEST_F(KeypadTest, quick_typing_between_polls_loses_no_key) {
    /* A tap (press and release between two polls) right after each reported key: every one is
     * typed, with a release reported between. */
    std::string typed;
    for (int vk : {0x34, 0x32, 0x38, 0x31}) {
        kb.tapped.insert(vk);
        for (int i = 0; i < 3; ++i) {
            const KeypadReport r = poll();
            if (r.pressed) typed += static_cast<char>(r.key);
        }
    }
    EXPECT_EQ(typed, "4281");

    /* Two taps inside one poll interval: both arrive, in scan order, with a release between. */
    kb.tapped = {0x41, 0x42};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('a'));
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(poll().key, static_cast<uint32_t>('b'));
}

TEST_F(KeypadTest, shift_a_gives_upper_case_and_caps_lock_inverts_it) {
    kb.shift = true;
    kb.down = {0x41};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('A'));
    kb.down.clear();
    poll();
    kb.caps = true;
    kb.down = {0x41};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('a'));
    EXPECT_EQ(state.caps, 1);
}

TEST_F(KeypadTest, held_backspace_repeats_every_poll_from_the_third) {
    kb.down = {0x08};
    EXPECT_TRUE(poll().pressed);  /* 1: new press */
    EXPECT_FALSE(poll().pressed); /* 2: starts repeating, nothing reported */
    for (int i = 0; i < 5; ++i) {
        KeypadReport r = poll();
        EXPECT_TRUE(r.pressed) << i;
        EXPECT_EQ(r.key, KEYCODE_BACKSPACE);
    }
}

TEST_F(KeypadTest, held_arrow_repeats_with_its_own_code) {
    kb.down = {0x27};
    EXPECT_EQ(poll().key, KEYCODE_RIGHT);
    poll();
    KeypadReport r = poll();
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.key, KEYCODE_RIGHT);
}

TEST_F(KeypadTest, keys_pressed_together_come_one_at_a_time_each_followed_by_a_release) {
    kb.down = {0x42, 0x31}; /* B and 1: the digit comes first in the table */
    KeypadReport r = poll();
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.key, static_cast<uint32_t>('1'));
    kb.down.erase(0x31);
    EXPECT_FALSE(poll().pressed); /* LVGL needs the release to see the next key as a new one */
    r = poll();
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.key, static_cast<uint32_t>('b'));
}

TEST_F(KeypadTest, top_row_digit_is_typed_once_and_its_shadow_entry_gives_no_key) {
    kb.down = {0x35};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('5'));
    EXPECT_FALSE(poll().pressed);
    /* The second table entry of the same key is a new press without a key code. */
    KeypadReport r = poll();
    EXPECT_EQ(r.key, 0u);
}

TEST_F(KeypadTest, focus_loss_reports_nothing_and_forgets_held_keys) {
    kb.down = {0x41};
    EXPECT_TRUE(poll().pressed);
    kb.focus = false;
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(kb.queries, 28); /* the first poll scanned up to A; the unfocused poll asks nothing */
    for (const KeyRecord& k : state.keyState) EXPECT_EQ(k.pressed, 0);
    kb.focus = true;
    EXPECT_TRUE(poll().pressed); /* the still-held key counts as new once the window has the focus */
}
