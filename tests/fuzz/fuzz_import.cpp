/* The parameter text import with any file content: it never crashes, its messages stay whole
 * UTF-8 within their buffer and in number, what it puts on the panel is numbers, and a clean file
 * of either format imported afterwards gives exactly its values. */
#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "tests/fakes/core/fake_screen.h"
#include "tests/fuzz/fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

std::string g_dir;

std::string write_file(const char* name, const std::string& text) {
    const std::string path = g_dir + "/" + name;
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr || fwrite(text.data(), 1, text.size(), f) != text.size() || fclose(f) != 0)
        fuzz_fail("cannot write", path);
    return path;
}

std::string g_clean_configbuffer, g_clean_jvn;

/* Byte k of the clean ConfigBuffer file; its line 0 is the write command. */
int clean_byte(int k) {
    return k == 0 ? 64 : (k * 7 + 3) % 256;
}

void check_import(const std::string& path, bool must_succeed) {
    const size_t prompts = fuzz_prompt_count();
    const int r = params_import_path(path.c_str());
    FUZZ_CHECK(must_succeed ? r == PARAM_FILE_OK
                            : r == PARAM_FILE_OK || r == PARAM_FILE_OPEN_FAILED || r == PARAM_FILE_UNKNOWN_FORMAT ||
                                  r == PARAM_FILE_NO_DATA,
               std::to_string(r));
    /* One message per bad line up to the limit, then the closing one. */
    FUZZ_CHECK(fuzz_prompt_count() - prompts <= static_cast<size_t>(IMPORT_MAX_ERROR_PROMPTS) + 1,
               std::to_string(fuzz_prompt_count() - prompts));
    if (r == PARAM_FILE_OK) {
        FUZZ_CHECK(params_state().parameterSource == PARAM_SOURCE_BLOCK ||
                       params_state().parameterSource == PARAM_SOURCE_REGISTER,
                   "");
        FUZZ_CHECK(fuzz_prompt_shown_since(prompts, "Successfully imported!", "导入成功!"), "");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* tmp = getenv("TMPDIR");
    std::string templ = std::string(tmp != nullptr ? tmp : "/tmp") + "/fuzz-import-XXXXXX";
    if (mkdtemp(&templ[0]) == nullptr) fuzz_fail("mkdtemp", templ);
    g_dir = templ;
    std::string cb = "# clean block\n";
    for (int k = 0; k < CONFIGBUFFER_LINES; ++k)
        cb += "ConfigBuffer[" + std::to_string(k) + "] = " + std::to_string(clean_byte(k)) + ";\n";
    g_clean_configbuffer = write_file("clean_cb.txt", cb);
    g_clean_jvn = write_file("clean_jvn.txt", "KP:65\nKD:30\nLP:2000\nMP:10000\nOD:400\nOT:3000\nMD:8000\nDZ:3\n"
                                              "LA:100\nMA:3000\nCA:2048\nLD:0\nRS:1\nLS:10\n");
    atexit([] {
        for (const std::string& path : {g_dir + "/input.txt", g_clean_configbuffer, g_clean_jvn})
            unlink(path.c_str());
        rmdir(g_dir.c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_new_run();
    /* The first byte picks the language and how often the file is imported (the counters carry
     * over from one import to the next). */
    const uint8_t options = size > 0 ? data[0] : 0;
    lang_set_chinese(options & 1);
    const std::string path = write_file("input.txt", size > 0 ? std::string(data + 1, data + size) : "");
    for (int i = 0; i <= (options >> 1 & 1); ++i)
        check_import(path, false);
    check_import(g_clean_configbuffer, true);
    for (int k = 1; k < CONFIGBUFFER_LINES; ++k)
        FUZZ_CHECK(params_state().parmeterBuff[k - 1] == clean_byte(k), "byte " + std::to_string(k - 1));
    FUZZ_CHECK(params_state().parameterSource == PARAM_SOURCE_BLOCK, "");
    check_import(g_clean_jvn, true);
    const EntryTexts expected = {
        {PanelEntry::Gain, "65"},         {PanelEntry::Damping, "30"},    {PanelEntry::MinPulse, "500"},
        {PanelEntry::MaxPulse, "2500"},   {PanelEntry::Stall1Power, "5"}, {PanelEntry::Stall1Time, "3"},
        {PanelEntry::OutputPower, "100"}, {PanelEntry::Deadband, "3"},    {PanelEntry::MinAngle, "100"},
        {PanelEntry::MaxAngle, "3000"},   {PanelEntry::MidAngle, "2048"}, {PanelEntry::SoftStart, "10"},
    };
    fuzz_check_entries(expected);
    FUZZ_CHECK(fake_checked(PanelCheck::Direction) && params_state().parameterSource == PARAM_SOURCE_REGISTER, "");
    return 0;
}
