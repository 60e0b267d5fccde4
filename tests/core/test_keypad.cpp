/* Keypad translation and the poll rules: one report per new press, repeat only for Backspace
 * and the arrows, nothing while another window has the focus. */
#include "app/keypad.h"

#include <gtest/gtest.h>

#include <set>

namespace {

struct FakeKeyboard {
    std::set<int> down;   /* virtual-key codes held */
    std::set<int> tapped; /* pressed and released since the last query: reported once */
    bool focus = true, caps = false, shift = false;
    int queries = 0;
};
FakeKeyboard kb;

const KeyboardPort port = {
    [] { return true; },
    [] { return kb.focus; },
    [](int vk) {
        ++kb.queries;
        return kb.tapped.erase(vk) != 0 || kb.down.count(vk) != 0;
    },
    [] { return kb.caps; },
    [] { return kb.shift; },
};

class KeypadTest : public ::testing::Test {
  protected:
    void SetUp() override { kb = FakeKeyboard{}; }
    KeypadReport poll() {
        now += 33; /* LVGL reads its input devices every 33 ms */
        return keypad_poll(state, now, port);
    }
    KeypadState state{};
    uint32_t now = 1000;
};

} // namespace

TEST(KeypadTranslate, keys_by_scan_index_with_shift_and_caps_lock) {
    /* Index, key plain, key with Shift. 0 is on the numeric pad, 19 on the top row (which ignores
     * Shift), 64 and 73 are the top row's shadow entries. */
    /* clang-format off */
    const uint32_t keys[][3] = {
        {27, 'a', 'A'}, {52, 'z', 'Z'}, {0, '0', '0'}, {19, '9', '9'}, {22, ' ', ' '}, {74, ' ', ' '}, {64, 0, 0},
        {73, 0, 0}, {20, KEYCODE_BACKSPACE, KEYCODE_BACKSPACE}, {21, KEYCODE_ENTER, KEYCODE_ENTER},
        {23, KEYCODE_LEFT, KEYCODE_LEFT}, {24, KEYCODE_UP, KEYCODE_UP}, {25, KEYCODE_RIGHT, KEYCODE_RIGHT},
        {26, KEYCODE_DOWN, KEYCODE_DOWN}};
    /* clang-format on */
    for (const auto& k : keys) {
        EXPECT_EQ(keypad_translate(static_cast<int>(k[0]), false, false), k[1]) << "index " << k[0];
        EXPECT_EQ(keypad_translate(static_cast<int>(k[0]), true, false), k[2]) << "index " << k[0] << " with Shift";
    }
    EXPECT_EQ(keypad_translate(27, false, true), static_cast<uint32_t>('A')) << "Caps Lock";
    EXPECT_EQ(keypad_translate(27, true, true), static_cast<uint32_t>('a')) << "Caps Lock and Shift";
    const char plain[] = "/`[\\]-=';,.", shifted[] = "?~{|}_+\":<>";
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(keypad_translate(53 + i, false, false), static_cast<uint8_t>(plain[i])) << 53 + i;
        EXPECT_EQ(keypad_translate(53 + i, true, false), static_cast<uint8_t>(shifted[i])) << 53 + i;
    }
}

TEST_F(KeypadTest, a_new_press_is_reported_once_and_a_held_letter_never_repeats) {
    kb.down = {0x41};
    KeypadReport r = poll();
    EXPECT_TRUE(r.pressed);
    EXPECT_EQ(r.key, static_cast<uint32_t>('a'));
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(poll().pressed) << i;
    kb.down.clear();
    EXPECT_FALSE(poll().pressed);
    kb.shift = true; /* released and pressed again: a new press, Shift and Caps Lock taken from the port */
    kb.down = {0x41};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('A'));
    kb.down.clear();
    poll();
    kb.caps = true;
    kb.down = {0x41};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('a'));
}

TEST_F(KeypadTest, held_backspace_and_arrows_repeat_every_poll_from_the_third) {
    for (const auto& [vk, key] : {std::pair<int, uint32_t>{0x08, KEYCODE_BACKSPACE}, {0x27, KEYCODE_RIGHT}}) {
        kb.down = {vk};
        EXPECT_EQ(poll().key, key);   /* 1: new press */
        EXPECT_FALSE(poll().pressed); /* 2: starts repeating, nothing reported */
        for (int i = 0; i < 5; ++i) {
            const KeypadReport r = poll();
            EXPECT_TRUE(r.pressed) << vk << " poll " << i + 3;
            EXPECT_EQ(r.key, key);
        }
        kb.down.clear();
        poll();
    }
}

TEST_F(KeypadTest, keys_come_one_per_poll_in_scan_order_each_followed_by_a_release_and_none_is_lost) {
    kb.down = {0x42, 0x35}; /* B and 5: the digit comes first in the table */
    EXPECT_EQ(poll().key, static_cast<uint32_t>('5'));
    kb.down.erase(0x35);
    EXPECT_FALSE(poll().pressed) << "LVGL needs the release to see the next key as a new one";
    EXPECT_EQ(poll().key, static_cast<uint32_t>('b'));
    kb.down.clear();
    poll();
    kb.down = {0x35};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('5'));
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(poll().key, 0u) << "the digit's second table entry is a press without a key code";
    kb.down.clear();
    poll();

    /* Taps (press and release between two polls): typed quickly or two in one interval. */
    std::string typed;
    for (int vk : {0x34, 0x32, 0x38, 0x31}) {
        kb.tapped.insert(vk);
        for (int i = 0; i < 3; ++i) {
            const KeypadReport r = poll();
            if (r.pressed) typed += static_cast<char>(r.key);
        }
    }
    EXPECT_EQ(typed, "4281");
    kb.tapped = {0x41, 0x42};
    EXPECT_EQ(poll().key, static_cast<uint32_t>('a'));
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(poll().key, static_cast<uint32_t>('b'));
}

TEST_F(KeypadTest, focus_loss_reports_nothing_and_forgets_held_keys) {
    kb.down = {0x41};
    EXPECT_TRUE(poll().pressed);
    kb.focus = false;
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(kb.queries, 28); /* the first poll scanned up to A; the unfocused poll asks nothing */
    for (const KeyRecord& k : state.keyState)
        EXPECT_EQ(k.pressed, 0);
    kb.focus = true;
    EXPECT_TRUE(poll().pressed); /* the still-held key counts as new once the window has the focus */
}
