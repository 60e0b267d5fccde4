#include "protocol/param_actions_lvgl.h"

#include "protocol/param_actions.h"
#include "ui/screen.h"

void action_button_event_cb(lv_event_t* e) {
    if (lv_event_get_code(e) != LV_EVENT_CLICKED) return;
    const lv_obj_t* target = static_cast<const lv_obj_t*>(lv_event_get_target(e));
    for (int i = 0; i < UI_ACTION_BUTTON_COUNT; ++i) {
        if (target == ui_action_buttons[i]) {
            param_action_clicked(i);
            return;
        }
    }
}
