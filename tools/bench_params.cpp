/* Figures for the parameter model as the program pays them on a click: packing the panel,
 * showing a block, saving and importing both text formats. The panel is the program's own LVGL
 * panel on a display without a window (the screen is built as at start), the prompts are its real
 * message boxes, and the files live on a tmpfs (/dev/shm) so that a disk's own latency does not
 * hide ours. Each figure is the time of one operation: min / median / max over 7 runs of 200. */
#include "common/debug_log.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/param_actions.h"
#include "tests/fakes/common/fake_platform.h"
#include "ui/screen.h"

#include "lvgl.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int RUNS = 7;
constexpr int OPS_PER_RUN = 200;
constexpr double GOAL_MS = 1.0; /* a click's work stays far below a frame */

void quiet(const char*) {}

uint32_t tick() {
    return static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

void flush(lv_display_t* disp, const lv_area_t*, uint8_t*) { lv_display_flush_ready(disp); }

/* The message boxes the operations left on the screen, as a user would close them. */
void close_prompts() {
    lv_obj_t* screen = lv_screen_active();
    for (int32_t i = static_cast<int32_t>(lv_obj_get_child_count(screen)) - 1; i >= 0; --i) {
        lv_obj_t* child = lv_obj_get_child(screen, i);
        if (lv_obj_check_type(child, &lv_msgbox_class)) lv_obj_delete(child);
    }
}

template <typename F> void measure(const char* what, F&& op) {
    op(); /* warm the caches and the files */
    close_prompts();
    std::vector<double> per_op;
    for (int r = 0; r < RUNS; ++r) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < OPS_PER_RUN; ++i)
            op();
        per_op.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count() /
                         OPS_PER_RUN);
        close_prompts();
    }
    std::sort(per_op.begin(), per_op.end());
    printf("%-44s %7.3f / %7.3f / %7.3f ms   (goal < %.1f ms)\n", what, per_op.front(), per_op[per_op.size() / 2],
           per_op.back(), GOAL_MS);
}

} // namespace

int main(int, char** argv) {
    dbg_log_set_sink(quiet); /* the conversions log every value; the log is not what is measured */

    /* The picture the screen build opens lies beside the program, in the build folder. */
    std::string dir = argv[0];
    dir = dir.find('/') == std::string::npos ? "." : dir.substr(0, dir.rfind('/'));
    if (chdir((dir + "/..").c_str()) != 0 || access(UI_CONFIG_PICTURE_FILE, R_OK) != 0) {
        fprintf(stderr, "bench_params: %s not found beside the build's servo_tool\n", UI_CONFIG_PICTURE_FILE);
        return 1;
    }

    lv_init();
    lv_tick_set_cb(tick);
    lv_display_t* display = lv_display_create(UI_SCREEN_WIDTH, UI_SCREEN_HEIGHT);
    lv_display_set_color_format(display, LV_COLOR_FORMAT_XRGB8888);
    std::vector<uint8_t> frame(static_cast<size_t>(UI_SCREEN_WIDTH) * UI_SCREEN_HEIGHT * 4 + 16);
    lv_display_set_buffers(display, frame.data(), nullptr, static_cast<uint32_t>(frame.size() - 16),
                           LV_DISPLAY_RENDER_MODE_FULL);
    lv_display_set_flush_cb(display, flush);
    if (!main_ui_build()) return 1;

    const bool tmpfs = access("/dev/shm", W_OK) == 0;
    char tmpl[64];
    snprintf(tmpl, sizeof tmpl, "%s/servo_bench_XXXXXX", tmpfs ? "/dev/shm" : "/tmp");
    if (mkdtemp(tmpl) == nullptr) return 1;
    const std::string cb = std::string(tmpl) + "/configbuffer.txt";
    const std::string jvn = std::string(tmpl) + "/jvn.txt";
    printf("parameter model on the program's panel, files in %s (%s)\n", tmpl, tmpfs ? "tmpfs" : "not a tmpfs");
    printf("%-44s %7s / %7s / %7s\n", "one operation", "min", "median", "max");

    measure("pack (getParametersFromUI + prepare write)", [] {
        getParametersFromUI();
        params_prepare_write(4 * PARAM_COUNT);
    });
    measure("show a block (unpack + update_par)", [] { params_show_block(params_state().parmeterBuff); });

    params_set_source(PARAM_SOURCE_BLOCK);
    fake_file_dialog().next_path = cb;
    measure("save ConfigBuffer (pack + write + prompt)", [] { param_action_save(); });
    measure("import ConfigBuffer (+ panel + prompt)", [&] { params_import_path(cb.c_str()); });

    params_set_source(PARAM_SOURCE_REGISTER);
    fake_file_dialog().next_path = jvn;
    measure("save JVN (panel + write + prompt)", [] { param_action_save(); });
    measure("import JVN (+ panel + prompt)", [&] { params_import_path(jvn.c_str()); });

    /* Reference: the same file written with nothing else around it, to tell the file system's own
     * cost (creating and replacing a file) from ours. */
    measure("reference: bare 36-line file write", [&] {
        FILE* f = fopen(cb.c_str(), "wb");
        if (f == nullptr) return;
        for (int k = 0; k < CONFIGBUFFER_LINES; ++k)
            fprintf(f, "ConfigBuffer[%d] = %d;\n", k, k);
        fclose(f);
    });

    const std::string rm = std::string("rm -rf '") + tmpl + "'";
    return system(rm.c_str()) == 0 ? 0 : 1;
}
