/* Parameter text import: both formats, the per-line messages, counters that persist across
 * imports, damaged and unusual files. */
#include "common/lang.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "tests/fakes/common/fake_file_dialog.h"
#include "tests/fakes/common/log_capture.h"
#include "tests/fakes/core/fake_panel.h"
#include "tests/fakes/core/fake_prompt.h"
#include "tests/support/files.h"

#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class Import : public ::testing::Test {
  protected:
    void SetUp() override {
        params_reset();
        params_import_reset();
        fake_panel_reset();
        fake_prompts().clear();
        fake_file_dialog_reset();
        lang_reset();
        params_load_defaults();
    }
    /* Writes a file into the test folder; returns its path. */
    std::string file(const std::string& name, const std::string& content) { return write_file(dir / name, content); }
    int import(const std::string& name, const std::string& content) {
        return params_import_path(file(name, content).c_str());
    }

    TempDir dir;
    LogCapture log;
};

} // namespace

TEST_F(Import, configbuffer_files_fill_the_block_and_the_panel_past_comments) {
    EXPECT_EQ(import("a.txt", "# saved by hand\n\n   // note\nConfigBuffer[1] = 65;\n"), PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[0], 65);
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "65");
    EXPECT_EQ(parameterSource, PARAM_SOURCE_BLOCK);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"导入成功!"});

    EXPECT_EQ(params_import_path(data_file("configbuffer_defaults.txt").c_str()), PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[19], 0x73);
    EXPECT_EQ(parmeterBuff[34], 0x13);
    EXPECT_EQ(g_param_image[27], 0x31);
    EXPECT_EQ(fake_entry(PanelEntry::MaxPulse), "2000");
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "300");
    EXPECT_TRUE(fake_checked(PanelCheck::Level1));
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
}

TEST_F(Import, bad_configbuffer_lines_are_reported_one_by_one_with_their_numbers) {
    ui_language_chinese = 0;
    EXPECT_EQ(import("b.txt", "ConfigBuffer[0] = 64;\n"   /* good, never used */
                              "ConfigBuffer[36] = 1;\n"   /* 2 */
                              "ConfigBuffer[3] = 256;\n"  /* 3 */
                              "ConfigBuffer[3] = -1;\n"   /* 4 */
                              "ConfigBuffer[-1] = 1;\n"   /* 5 */
                              "KP:65\n"                   /* 6 */
                              "ConfigBuffer[4]=7\n"       /* good: blanks may be missing, so may ';' */
                              "ConfigBuffer[ 5] =  9 ;\n" /* good */
                              "ConfigBuffer [5] = 1;\n"), /* 9: a blank before '[' */
              PARAM_FILE_OK);
    const std::vector<std::string> expected = {
        "Import failed! \nLine 2: Index out of range", "Import failed! \nLine 3: Value overflow",
        "Import failed! \nLine 4: Value overflow",     "Import failed! \nLine 5: Index out of range",
        "Import failed! \nLine 6: Format error",       "Import failed! \nLine 9: Format error",
        "Successfully imported!",
    };
    EXPECT_EQ(prompt_texts(), expected);
    EXPECT_EQ(parmeterBuff[3], 7);
    EXPECT_EQ(parmeterBuff[4], 9);
    EXPECT_EQ(params_import_byte(0), 64);
    EXPECT_EQ(params_import_good_lines(), 3);
}

TEST_F(Import, unknown_first_significant_line_stops_as_line_one_without_change) {
    parmeterBuff[0] = 12;
    EXPECT_EQ(import("c.txt", "\n# a\n\n  \nGain 65\nConfigBuffer[1] = 65;\n"), PARAM_FILE_UNKNOWN_FORMAT);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"导入失败! \n第 1 行 未知内容格式"});
    EXPECT_EQ(parmeterBuff[0], 12);
    EXPECT_EQ(parameterSource, PARAM_SOURCE_NONE);
    EXPECT_EQ(params_import_line_count(), 5);
}

TEST_F(Import, line_numbers_continue_from_one_import_to_the_next) {
    ui_language_chinese = 0;
    const std::string path = file("d.txt", "ConfigBuffer[1] = 1;\nConfigBuffer[99] = 1;\nConfigBuffer[2] = 2;\n");
    params_import_path(path.c_str());
    params_import_path(path.c_str());
    EXPECT_EQ(prompt_texts()[0], "Import failed! \nLine 2: Index out of range");
    EXPECT_EQ(prompt_texts()[2], "Import failed! \nLine 5: Index out of range");
}

TEST_F(Import, no_valid_data_only_until_some_import_had_a_good_line) {
    ui_language_chinese = 0;
    const std::string empty = file("e.txt", "# nothing\n");
    EXPECT_EQ(params_import_path(empty.c_str()), PARAM_FILE_NO_DATA);
    EXPECT_EQ(import("f.txt", "ConfigBuffer[1] = 300;\n"), PARAM_FILE_NO_DATA);
    EXPECT_EQ(prompt_texts().back(), "Import failed! \nLine 0: No valid data");
    EXPECT_EQ(import("g.txt", "KP:5\n"), PARAM_FILE_OK);
    fake_prompts().clear();
    EXPECT_EQ(params_import_path(empty.c_str()), PARAM_FILE_OK); /* the count of good lines never resets */
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"Successfully imported!"});
}

TEST_F(Import, key_file_puts_wire_values_on_the_panel) {
    EXPECT_EQ(import("h.txt", "KP:70\r\nKD:40\nLP:4003\nMP:8000\nOD:-81\nOT:250000\nMD:8079\nDZ:4\nLA:500\nMA:3600\n"
                              "CA:2048\nLD:7\nRS:1\nLS:12 trailing words\n"),
              PARAM_FILE_OK);
    const std::pair<PanelEntry, const char*> shown[] = {
        {PanelEntry::Gain, "70"},         {PanelEntry::Damping, "40"},       {PanelEntry::MinPulse, "1000"},
        {PanelEntry::MaxPulse, "2000"},   {PanelEntry::Stall1Power, "-1"},   {PanelEntry::Stall1Time, "250"},
        {PanelEntry::OutputPower, "100"}, {PanelEntry::Deadband, "4"},       {PanelEntry::MinAngle, "500"},
        {PanelEntry::MaxAngle, "3600"},   {PanelEntry::MidAngle, "2048"},    {PanelEntry::SoftStart, "12"},
    };
    for (const auto& [entry, text] : shown)
        EXPECT_EQ(fake_entry(entry), text) << static_cast<int>(entry);
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(fake_panel().redraws, 1);
    EXPECT_EQ(parameterSource, PARAM_SOURCE_REGISTER);

    fake_prompts().clear();
    ui_language_chinese = 0;
    EXPECT_EQ(import("i.txt", "KP:abc\nOT:999\nRS:2\nConfigBuffer[1] = 1;\n"), PARAM_FILE_OK);
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "0");
    EXPECT_FALSE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "70"); /* kept from the earlier import */
    EXPECT_EQ(prompt_texts()[0], "Import failed! \nLine 15: Parse value failed");
    EXPECT_EQ(prompt_texts()[1], "Import failed! \nLine 18: Unknown keyword");
}

TEST_F(Import, key_mode_needs_kp_somewhere_in_its_first_line) {
    EXPECT_EQ(import("j.txt", "OT:999\nKP:1\n"), PARAM_FILE_UNKNOWN_FORMAT);
    fake_prompts().clear();
    EXPECT_EQ(import("k.txt", "xx KP: 3\nKD:9\n"), PARAM_FILE_OK);
    EXPECT_EQ(prompt_texts()[0], "导入失败! \n第 2 行 未知关键字"); /* it does not begin with a key */
    EXPECT_EQ(fake_entry(PanelEntry::Damping), "9");
}

TEST_F(Import, extension_and_open_failures) {
    ui_language_chinese = 0;
    EXPECT_EQ(import("a.dat", "KP:1\n"), PARAM_FILE_BAD_EXTENSION);
    EXPECT_EQ(params_import_path((dir / "missing.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    ASSERT_EQ(mkdir((dir / "folder.txt").c_str(), 0700), 0);
    EXPECT_EQ(params_import_path((dir / "folder.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"File type error! Please select a txt file.",
                                                        "Could not open file!", "Could not open file!"}));
    EXPECT_EQ(import("UPPER.TXT", "KP:1\n"), PARAM_FILE_OK);
    EXPECT_FALSE(params_path_has_txt_extension((dir / "x.txt.bak").c_str()));
    EXPECT_FALSE(params_path_has_txt_extension("/a.txt/file"));
}

TEST_F(Import, byte_order_marks_and_utf16_text_are_read) {
    EXPECT_EQ(import("bom8.txt", "\xEF\xBB\xBF"
                                 "ConfigBuffer[1] = 33;\n"),
              PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[0], 33);

    std::string le = "\xFF\xFE", be = "\xFE\xFF";
    for (char16_t u : std::u16string(u"ConfigBuffer[2] = 44;\r\n# 注释\r\nConfigBuffer[3] = 55;\r\n")) {
        le += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
        be += {static_cast<char>(u >> 8), static_cast<char>(u & 0xFF)};
    }
    EXPECT_EQ(import("le.txt", le), PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[1], 44);
    EXPECT_EQ(parmeterBuff[2], 55);
    parmeterBuff[1] = 0;
    EXPECT_EQ(import("be.txt", be), PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[1], 44);
}

TEST_F(Import, long_lines_are_read_in_pieces_of_299_characters) {
    ui_language_chinese = 0;
    EXPECT_EQ(import("long.txt", "ConfigBuffer[1] = 1;\n" + std::string(400, 'x') + "\n" + std::string(299, ' ') +
                                     "ConfigBuffer[2] = 2;\n"),
              PARAM_FILE_OK);
    /* Line 2 is x 299, line 3 the other 101; line 4 the 299 blanks, line 5 the rest. */
    EXPECT_EQ(prompt_texts(), (std::vector<std::string>{"Import failed! \nLine 2: Format error",
                                                        "Import failed! \nLine 3: Format error",
                                                        "Successfully imported!"}));
    EXPECT_EQ(parmeterBuff[1], 2);
    EXPECT_EQ(params_import_line_count(), 5);
}

TEST_F(Import, damaged_files_end_without_harm_and_with_few_boxes) {
    std::string many = "ConfigBuffer[1] = 1;\n";
    for (int i = 0; i < 50; ++i)
        many += "ConfigBuffer[1] = 999;\n";
    EXPECT_EQ(import("many.txt", many), PARAM_FILE_OK);
    EXPECT_EQ(fake_prompts().size(), static_cast<size_t>(IMPORT_MAX_ERROR_PROMPTS + 1));
    EXPECT_TRUE(log.contains("line 51: Value overflow"));

    std::string binary(10 * 1024 * 1024, '\0');
    uint32_t seed = 12345;
    for (char& c : binary)
        c = static_cast<char>((seed = seed * 1103515245u + 12345u) >> 24);
    binary[0] = 'Z'; /* a significant first byte */
    fake_prompts().clear();
    EXPECT_EQ(import("bin.txt", binary), PARAM_FILE_UNKNOWN_FORMAT);
    EXPECT_EQ(fake_prompts().size(), 1u);

    std::string endless; /* no line end at all */
    while (endless.size() < 2 * 1024 * 1024)
        endless += "ConfigBuffer[1] = 1;";
    fake_prompts().clear();
    const int32_t lines_before = params_import_line_count();
    EXPECT_EQ(import("endless.txt", endless), PARAM_FILE_OK);
    EXPECT_LE(fake_prompts().size(), static_cast<size_t>(IMPORT_MAX_ERROR_PROMPTS + 1));
    EXPECT_EQ(params_import_line_count() - lines_before,
              1 + static_cast<int>((endless.size() - 1) / IMPORT_LINE_CHARS));

    EXPECT_EQ(import("nul.txt", std::string("ConfigBuffer[1] = 8;\0garbage\n", 30)), PARAM_FILE_OK);
    EXPECT_EQ(parmeterBuff[0], 8);
}

TEST_F(Import, numbers_beyond_int32_are_held_at_its_limits) {
    ui_language_chinese = 0;
    import("big.txt", "ConfigBuffer[1] = 4294967361;\n");
    EXPECT_EQ(prompt_texts()[0], "Import failed! \nLine 1: Value overflow");
    import("bigk.txt", "KP:99999999999\nKD:-99999999999\n");
    EXPECT_EQ(params_import_key(JVN_KP), INT32_MAX);
    EXPECT_EQ(params_import_key(JVN_KD), INT32_MIN);
}

TEST_F(Import, dialog_action_restores_the_directory_only_on_success) {
    char start[4096], now[4096];
    ASSERT_NE(getcwd(start, sizeof start), nullptr);
    fake_file_dialog().move_to = dir.path;
    fake_file_dialog().next_path = file("ok.txt", "KP:1\n");
    EXPECT_EQ(params_import_run(), PARAM_FILE_OK);
    EXPECT_STREQ(getcwd(now, sizeof now), start);

    fake_file_dialog().next_path = file("bad.dat", "KP:1\n");
    EXPECT_EQ(params_import_run(), PARAM_FILE_BAD_EXTENSION);
    EXPECT_STREQ(getcwd(now, sizeof now), dir.path.c_str());
    ASSERT_EQ(chdir(start), 0);

    fake_prompts().clear();
    fake_file_dialog().next_path.clear(); /* cancelled: nothing is shown */
    EXPECT_EQ(params_import_run(), PARAM_FILE_CANCELLED);
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(fake_file_dialog().calls.back().kind, FakeFileDialogCall::Open);
}
