#pragma once

#include <string>

/* The port panel as the core tests see it: what was last set, and how often. */
struct FakePortPanel {
    std::string options = " ";
    int selected = 0;
    enum Look { Unset, Opened, Closed } look = Unset;
    std::string caption = "#000000 打开端口#";
    std::string port_label = "串  口";
    bool lang_disabled = false;
    int set_options_calls = 0;
    int relabel_calls = 0;
};

FakePortPanel& fake_port_panel();
void fake_port_panel_reset();

/* Number of options of a drop-down option text (a trailing newline adds an empty option). */
int fake_port_panel_option_count(const std::string& options);
