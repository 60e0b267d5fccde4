#pragma once

#include <string>

/* The port panel as the core tests see it: what was last set. */
struct FakePortPanel {
    std::string options = " ";
    int selected = 0;
    enum Look { Unset, Opened, Closed } look = Unset;
    std::string caption = "#000000 打开端口#";
    bool lang_disabled = false;
};

FakePortPanel& fake_port_panel();
void fake_port_panel_reset();
