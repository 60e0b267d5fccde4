/* Figures for the parameter model: how many packs, unpacks, imports and exports of both text
 * formats run per second. Everything here runs on the UI thread on a click, so each should stay
 * far below a millisecond. The panel, prompts and dialogs are the recording stand-ins of the
 * core tests, so only the parameter code itself is measured. */
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/param_actions.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/core/fake_panel.h"
#include "tests/fakes/core/fake_prompt.h"
#include "common/debug_log.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

void quiet(const char*) {}

template <typename F> void measure(const char* what, int rounds, F&& op) {
    op(); /* warm the caches and the files */
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        op();
        if ((i & 63) == 0) fake_prompts().clear();
    }
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    printf("%-34s %10.0f ops/s  %8.3f ms/op\n", what, rounds / s, 1000.0 * s / rounds);
}

} // namespace

int main() {
    dbg_log_set_sink(quiet); /* the conversions log every value; the log is not what is measured */
    params_load_defaults();
    int32_t shown[PARAM_COUNT];
    memcpy(shown, params_state().defaultValues, sizeof shown);
    update_par(shown, PARAM_COUNT);
    params_set_working(shown);

    char tmpl[] = "/tmp/servo_bench_XXXXXX";
    if (mkdtemp(tmpl) == nullptr) return 1;
    const std::string cb = std::string(tmpl) + "/configbuffer.txt";
    const std::string jvn = std::string(tmpl) + "/jvn.txt";

    measure("pack (getParametersFromUI+pack)", 20000, [] {
        getParametersFromUI();
        params_prepare_write(4 * PARAM_COUNT);
    });
    measure("unpack + update_par (params_show_block)", 20000, [] { params_show_block(params_state().parmeterBuff); });

    params_set_source(PARAM_SOURCE_BLOCK);
    fake_file_dialog().next_path = cb;
    measure("save ConfigBuffer (pack + write)", 2000, [] { param_action_save(); });
    measure("import ConfigBuffer", 2000, [&] { params_import_path(cb.c_str()); });

    params_set_source(PARAM_SOURCE_REGISTER);
    fake_file_dialog().next_path = jvn;
    measure("save JVN", 2000, [] { param_action_save(); });
    measure("import JVN", 2000, [&] { params_import_path(jvn.c_str()); });

    /* Reference: the same file written with nothing else around it, to tell the file system's own
     * cost (creating and truncating a file) from ours. */
    measure("reference: bare 36-line file write", 2000, [&] {
        FILE* f = fopen(cb.c_str(), "wb");
        if (f == nullptr) return;
        for (int k = 0; k < CONFIGBUFFER_LINES; ++k)
            fprintf(f, "ConfigBuffer[%d] = %d;\n", k, k);
        fclose(f);
    });

    const std::string rm = std::string("rm -rf '") + tmpl + "'";
    return system(rm.c_str()) == 0 ? 0 : 1;
}
