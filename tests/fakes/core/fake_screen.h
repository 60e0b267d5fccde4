#pragma once

/* Puts the recording screen of the core tests back (a test that installed another screen ends
 * with it), with the headless parameter panel in place of the recording one if asked. */
void fake_screen_install(bool headless_panel = false);
