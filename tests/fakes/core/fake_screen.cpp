/* The recording screen of the core tests and benches: every call of the screen port goes to the
 * fakes beside this file. Installed before main runs, so a test needs no set-up for it. */
#include "tests/fakes/core/fake_screen.h"

#include "common/screen_port.h"
#include "params/panel_model.h"

void fake_panel_fill_port(ScreenPort& port);
void fake_port_panel_fill_port(ScreenPort& port);
void fake_info_fields_fill_port(ScreenPort& port);
void fake_prompt_fill_port(ScreenPort& port);
void fake_protocol_timers_fill_port(ScreenPort& port);

void fake_screen_install(bool headless_panel) {
    ScreenPort port = {};
    fake_panel_fill_port(port);
    fake_port_panel_fill_port(port);
    fake_info_fields_fill_port(port);
    fake_prompt_fill_port(port);
    fake_protocol_timers_fill_port(port);
    if (headless_panel) panel_model_fill_port(port);
    screen_port_set(&port);
}

namespace {
const bool g_installed = (fake_screen_install(), true);
} // namespace
