/* The window's input between polls. Keypad: translation, one report per new press, repeat only for
 * Backspace and the arrows, nothing while another window has the focus. Pointer: quick clicks
 * survive, a flood of changes does not overflow. */
#include "app/keypad.h"
#include "app/pointer_input.h"

#include <gtest/gtest.h>

#include <set>

namespace {

bool poll_pressed(PointerInput& p) {
    int32_t x = 0, y = 0;
    bool pressed = false;
    pointer_input_poll(p, &x, &y, &pressed);
    return pressed;
}

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

TEST(KeypadTranslate, shift_and_caps_lock_change_letters_and_shift_alone_punctuation) {
    /* Scan indices: 27 'a', 53 '/', 19 the top row's '9', 20 Backspace. */
    const struct {
        int index;
        bool shift, caps;
        uint32_t key;
    } cases[] = {
        {27, false, false, 'a'}, {27, true, false, 'A'}, {27, false, true, 'A'}, {27, true, true, 'a'},
        {53, false, true, '/'},  {53, true, false, '?'}, {19, true, false, '9'}, {20, true, true, KEYCODE_BACKSPACE}};
    for (const auto& c : cases)
        EXPECT_EQ(keypad_translate(c.index, c.shift, c.caps), c.key) << c.index << " " << c.shift << c.caps;
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
    EXPECT_FALSE(poll().pressed) << "a held letter does not repeat";
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
    const int queries = kb.queries;
    EXPECT_FALSE(poll().pressed);
    EXPECT_EQ(kb.queries, queries) << "nothing is asked while another window has the focus";
    kb.focus = true;
    EXPECT_TRUE(poll().pressed); /* the still-held key counts as new once the window has the focus */
}

TEST(PointerInput, quick_clicks_between_two_polls_each_give_a_press_then_a_release) {
    PointerInput p;
    for (int i = 0; i < 5; ++i) {
        pointer_input_button(p, true);
        pointer_input_button(p, false);
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(poll_pressed(p)) << "click " << i;
        EXPECT_FALSE(poll_pressed(p)) << "click " << i;
    }
    EXPECT_FALSE(poll_pressed(p));
}

TEST(PointerInput, a_flood_of_changes_keeps_the_oldest_and_ends_in_the_current_state) {
    PointerInput p;
    for (int i = 0; i < 3 * POINTER_QUEUE_SIZE; ++i)
        pointer_input_button(p, i % 2 == 0);
    for (int i = 0; i < POINTER_QUEUE_SIZE; ++i)
        EXPECT_EQ(poll_pressed(p), i % 2 == 0) << i;
    EXPECT_FALSE(poll_pressed(p)); /* the last change was a release */
}
