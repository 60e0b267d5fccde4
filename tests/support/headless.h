/**
 * A window-less LVGL display for tests: 970 x 660 XRGB8888, rendered in full-screen mode into
 * memory, with a pointer the test moves and clicks, and a clock the test advances.
 */
#pragma once

#include "lvgl.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

/* Initialises LVGL and the headless display once per process, then gives the test a fresh
 * empty active screen (the previous one is deleted). */
void headless_new_screen();

/* Advances the test clock by ms in 5 ms steps, running LVGL's timer handler at each step. */
void headless_run(uint32_t ms);

/* Presses and releases the pointer at the centre of an object, giving LVGL time to see both. */
void headless_click_obj(lv_obj_t* obj);

/* Text of a label, or of the first label among obj's children (depth-first); "" when none. */
std::string headless_label_text(lv_obj_t* obj);

/* The message boxes on the active screen, oldest first; a box's title and text; all their texts. */
std::vector<lv_obj_t*> headless_msgboxes();
std::string headless_msgbox_title(lv_obj_t* box);
std::string headless_msgbox_text(lv_obj_t* box);
std::vector<std::string> headless_msgbox_texts();

/* The program's main screen built on a fresh screen, with parameters, protocol, ports, language
 * and the recording platform back at their start. */
class ScreenFixture : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
};
