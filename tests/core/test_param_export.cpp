/* Parameter text export and the save action: both formats byte for byte, the dialogs' two
 * flavours, the messages and the current directory. */
#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/param_actions.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/common/log_capture.h"
#include "tests/fakes/core/fake_panel.h"
#include "tests/fakes/core/fake_prompt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string data_file(const char* name) {
    std::string dir = __FILE__;
    return dir.substr(0, dir.rfind('/')) + "/../data/" + name;
}

class Export : public ::testing::Test {
  protected:
    void SetUp() override {
        params_reset();
        params_import_reset();
        fake_panel_reset();
        fake_prompts().clear();
        fake_file_dialog_reset();
        lang_reset();
        params_load_defaults();
        char tmpl[] = "/tmp/servo_export_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        ASSERT_NE(getcwd(start_dir, sizeof start_dir), nullptr);
    }
    void TearDown() override {
        if (chdir(start_dir) != 0) ADD_FAILURE() << "could not return to " << start_dir;
        const std::string cmd = "rm -rf '" + dir + "'";
        if (system(cmd.c_str()) != 0) ADD_FAILURE() << "could not remove " << dir;
    }
    std::string cwd() const {
        char now[4096];
        return getcwd(now, sizeof now) != nullptr ? now : "";
    }
    /* The panel as the servo's defaults show it, with parameterValues holding them. */
    void show_defaults() {
        memcpy(parameterValues, defaultValues, sizeof parameterValues);
        update_par(parameterValues, PARAM_COUNT);
    }
    std::string dir;
    char start_dir[4096];
    LogCapture log;
};

const char* const JVN_SAMPLE = "KP:65\nKD:50\nLP:4000\nMP:8000\nOD:400\nOT:300000\nMD:8000\nDZ:3\nLA:596\nMA:3500\n"
                               "CA:2048\nLD:0\nRS:1\nLS:1\n";

} // namespace

TEST_F(Export, save_without_a_source_refuses_before_any_dialog) {
    EXPECT_EQ(param_action_save(), PARAM_FILE_NO_SOURCE);
    ASSERT_EQ(fake_prompts().size(), 1u);
    EXPECT_EQ(fake_prompts()[0].kind, FakePrompt::Error);
    EXPECT_EQ(fake_prompts()[0].text, "保存参数失败，请先读取或导入参数!!");
    EXPECT_TRUE(fake_file_dialog().calls.empty());
}

TEST_F(Export, block_family_save_writes_the_hand_worked_defaults_file) {
    show_defaults();
    parameterSource = PARAM_SOURCE_BLOCK;
    const std::string path = dir + "/out.txt";
    fake_file_dialog().next_path = path;
    fake_file_dialog().move_to = dir;
    EXPECT_EQ(param_action_save(), PARAM_FILE_OK);
    EXPECT_EQ(read_all(path), read_all(data_file("configbuffer_defaults.txt")));
    ASSERT_EQ(fake_file_dialog().calls.size(), 1u);
    EXPECT_FALSE(fake_file_dialog().calls[0].overwrite_prompt);
    EXPECT_EQ(fake_prompts().back().text, "保存参数成功!\n文件路径: " + path);
    EXPECT_EQ(cwd(), start_dir);
    EXPECT_TRUE(log.contains("save_count:46"));
    EXPECT_TRUE(log.contains("sendBuff[37] = 118"));
    EXPECT_TRUE(log.contains("ConfigBuffer[35] = 19 "));
}

TEST_F(Export, configbuffer_file_round_trips_through_import_and_save) {
    /* A block with every kept field set and the irregular bytes in shapes that survive repacking. */
    uint8_t frame[CONFIGBUFFER_LINES] = {64, 100,  20,   15,   160,  5,    220, 3,   232,  12,   0,    8,
                                         0,  1,    44,   50,   0x7D, 0x21, 0,   200, 0xA6, 0xC7, 0xE4, 150,
                                         12, 0xB3, 0xF2, 0x34, 0xED, 0x97, 40,  20,  10,   0x2B, 100,  0x1F};
    const std::string in = dir + "/in.txt", out = dir + "/out.txt";
    ASSERT_EQ(params_export_configbuffer_path(in.c_str(), frame), PARAM_FILE_OK);
    ASSERT_EQ(params_import_path(in.c_str()), PARAM_FILE_OK);
    fake_file_dialog().next_path = out;
    ASSERT_EQ(param_action_save(), PARAM_FILE_OK);
    EXPECT_EQ(read_all(out), read_all(in));
}

TEST_F(Export, configbuffer_overwrites_and_reports_failure_with_an_error_box) {
    const uint8_t frame[CONFIGBUFFER_LINES] = {64};
    const std::string path = dir + "/exists.txt";
    FILE* f = fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    fputs("old content that is longer than nothing\n", f);
    fclose(f);
    EXPECT_EQ(params_export_configbuffer_path(path.c_str(), frame), PARAM_FILE_OK);
    const std::string written = read_all(path);
    EXPECT_EQ(written.substr(0, 22), "ConfigBuffer[0] = 64;\n");
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 36);
    EXPECT_EQ(written.find('\r'), std::string::npos);

    fake_file_dialog().next_path = dir + "/no/such/dir.txt";
    fake_file_dialog().move_to = dir;
    EXPECT_EQ(params_export_configbuffer(frame), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(fake_prompts().back().kind, FakePrompt::Error);
    EXPECT_EQ(fake_prompts().back().text, "保存参数失败!");
    EXPECT_EQ(cwd(), start_dir); /* restored on this path too */
}

TEST_F(Export, register_family_save_writes_wire_values_from_the_panel) {
    show_defaults();
    fake_entry(PanelEntry::Stall1Power) = "5";
    parameterSource = PARAM_SOURCE_REGISTER;
    const std::string path = dir + "/jvn.txt";
    fake_file_dialog().next_path = path;
    fake_file_dialog().move_to = dir;
    EXPECT_EQ(param_action_save(), PARAM_FILE_OK);
    EXPECT_EQ(read_all(path), JVN_SAMPLE);
    EXPECT_TRUE(fake_file_dialog().calls[0].overwrite_prompt);
    EXPECT_EQ(fake_prompts().back().text, "JVN参数保存成功!\n路径: " + path);
    EXPECT_EQ(cwd(), start_dir);

    int32_t record[JVN_KEY_COUNT];
    fake_checked(PanelCheck::Direction) = false;
    fake_entry(PanelEntry::Stall1Time) = "x";
    param_action_fill_save_record(record);
    EXPECT_EQ(record[JVN_RS], 0);
    EXPECT_EQ(record[JVN_OT], 0);
    EXPECT_EQ(record[JVN_LD], 0);
}

TEST_F(Export, jvn_file_round_trips_through_import) {
    const std::string path = dir + "/jvn.txt";
    int32_t record[JVN_KEY_COUNT] = {65, 50, 4000, 8000, 400, 300000, 8000, 3, 596, 3500, 2048, 7, 1, 1};
    ASSERT_EQ(params_export_jvn_path(path.c_str(), record), PARAM_FILE_OK);
    fake_panel_reset();
    ASSERT_EQ(params_import_path(path.c_str()), PARAM_FILE_OK);
    param_action_fill_save_record(record);
    const int32_t expected[JVN_KEY_COUNT] = {65, 50, 4000, 8000, 400, 300000, 8000, 3, 596, 3500, 2048, 0, 1, 1};
    for (int k = 0; k < JVN_KEY_COUNT; ++k)
        EXPECT_EQ(record[k], expected[k]) << jvn_key_names[k];
}

TEST_F(Export, jvn_path_checks_the_extension_and_restores_only_on_success) {
    ui_language_chinese = 0;
    const int32_t record[JVN_KEY_COUNT] = {};
    fake_file_dialog().move_to = dir;
    fake_file_dialog().next_path = dir + "/Upper.TXT";
    EXPECT_EQ(params_export_jvn(record), PARAM_FILE_OK);
    EXPECT_EQ(cwd(), start_dir);

    fake_file_dialog().next_path = dir + "/params.dat";
    EXPECT_EQ(params_export_jvn(record), PARAM_FILE_BAD_EXTENSION);
    EXPECT_EQ(fake_prompts().back().text, "Must save as TXT file!");
    EXPECT_EQ(fake_prompts().back().kind, FakePrompt::Prompt);
    EXPECT_EQ(cwd(), dir);
    ASSERT_EQ(chdir(start_dir), 0);

    fake_file_dialog().next_path = dir + "/missing/x.txt";
    EXPECT_EQ(params_export_jvn(record), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(fake_prompts().back().text, "Failed to create file: " + dir + "/missing/x.txt");
    EXPECT_EQ(cwd(), dir);
    ASSERT_EQ(chdir(start_dir), 0);

    const size_t shown = fake_prompts().size();
    fake_file_dialog().next_path.clear();
    EXPECT_EQ(params_export_jvn(record), PARAM_FILE_CANCELLED);
    EXPECT_EQ(fake_prompts().size(), shown);
}

TEST_F(Export, paths_with_spaces_cjk_and_percent_signs_are_shown_as_they_are) {
    ui_language_chinese = 0;
    const uint8_t frame[CONFIGBUFFER_LINES] = {64};
    const std::string path = dir + "/参数 文件 %s%n%d.txt";
    EXPECT_EQ(params_export_configbuffer_path(path.c_str(), frame), PARAM_FILE_OK);
    EXPECT_EQ(fake_prompts().back().text, "Save Parameter successfully!\nFile Path: " + path);
    EXPECT_EQ(params_import_path(path.c_str()), PARAM_FILE_OK);

    const std::string odd = dir + "/bad\xFF name.txt"; /* not UTF-8: shown with a replacement */
    const int32_t record[JVN_KEY_COUNT] = {};
    EXPECT_EQ(params_export_jvn_path(odd.c_str(), record), PARAM_FILE_OK);
    EXPECT_EQ(fake_prompts().back().text, "JVN parameters saved!\nPath: " + dir + "/bad\xEF\xBF\xBD name.txt");

    const std::string longer = dir + "/" + std::string(200, 'a') + std::string(300, 'b') + ".txt";
    EXPECT_EQ(params_export_configbuffer_path(longer.c_str(), frame), PARAM_FILE_OPEN_FAILED); /* name too long */
}
