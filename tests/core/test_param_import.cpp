/* Parameter text import: both formats, the per-line messages, damaged and unusual files. */
#include "tests/core/core_test_support.h"
#include "tests/support/files.h"

#include <filesystem>

namespace {

class Import : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        params_load_defaults();
    }
    std::string file(const std::string& name, const std::string& content) { return write_file(dir / name, content); }
    int import(const std::string& name, const std::string& content) {
        return params_import_path(file(name, content).c_str());
    }
    TempDir dir;
};

} // namespace

TEST_F(Import, each_file_gets_its_result_and_messages_line_by_line) {
    struct Case {
        const char* name;
        std::string content;
        int chinese;
        int result;
        std::vector<std::string> prompts;
    };
    const std::string bad = "Import failed! \nLine ";
    /* clang-format off */
    const Case cases[] = {
        {"comments.txt", "# saved by hand\n\n   // note\nConfigBuffer[1] = 65;\n", 1, PARAM_FILE_OK, {"导入成功!"}},
        {"bad_lines.txt",
         "ConfigBuffer[0] = 64;\n"   /* good, never used */
         "ConfigBuffer[36] = 1;\n"   /* 2 */
         "ConfigBuffer[3] = 256;\n"  /* 3 */
         "ConfigBuffer[3] = -1;\n"   /* 4 */
         "ConfigBuffer[-1] = 1;\n"   /* 5 */
         "KP:65\n"                   /* 6 */
         "ConfigBuffer[4]=7\n"       /* good: blanks may be missing, so may ';' */
         "ConfigBuffer[ 5] =  9 ;\n" /* good */
         "ConfigBuffer [5] = 1;\n"   /* 9: a blank before '[' */
         "ConfigBuffer[6] = 4294967361;\n",
         0,
         PARAM_FILE_OK,
         {bad + "2: Index out of range", bad + "3: Value overflow", bad + "4: Value overflow",
          bad + "5: Index out of range", bad + "6: Format error", bad + "9: Format error", bad + "10: Value overflow",
          "Successfully imported!"}},
        {"unknown.txt", "\n# a\n\n  \nGain 65\nConfigBuffer[1] = 65;\n", 1, PARAM_FILE_UNKNOWN_FORMAT,
         {"导入失败! \n第 1 行 未知内容格式"}},
        {"kp_inside.txt", "xx KP: 3\nKD:9\n", 1, PARAM_FILE_OK, {"导入失败! \n第 1 行 未知关键字", "导入成功!"}},
        {"bad_keys.txt", "KP:abc\nOT:999\nRS:2\nConfigBuffer[1] = 1;\n", 0, PARAM_FILE_OK,
         {bad + "1: Parse value failed", bad + "4: Unknown keyword", "Successfully imported!"}},
        {"no_good.txt", "ConfigBuffer[1] = 300;\n", 0, PARAM_FILE_NO_DATA,
         {bad + "1: Value overflow", bad + "0: No valid data"}},
        {"a.dat", "KP:1\n", 0, PARAM_FILE_BAD_EXTENSION, {"File type error! Please select a txt file."}},
        {"zero.txt", std::string("ConfigBuffer[1] = 8;\0garbage\n", 30), 0, PARAM_FILE_OK, {"Successfully imported!"}},
    };
    /* clang-format on */
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        params_import_reset();
        fake_prompts().clear();
        lang_set_chinese(c.chinese);
        EXPECT_EQ(import(c.name, c.content), c.result);
        EXPECT_EQ(prompt_texts(), c.prompts);
    }
    EXPECT_EQ(params_state().parmeterBuff[0], 8) << "the NUL ended the line";
    EXPECT_FALSE(params_path_has_txt_extension((dir / "x.txt.bak").c_str()));
    EXPECT_FALSE(params_path_has_txt_extension("/a.txt/file"));
}

TEST_F(Import, a_file_that_is_not_imported_changes_nothing) {
    const uint8_t before[PARAM_IMAGE_SIZE] = {12};
    params_take_block(before, PARAM_IMAGE_SIZE);
    EXPECT_EQ(import("c.txt", "\n# a\n\n  \nGain 65\nConfigBuffer[1] = 65;\n"), PARAM_FILE_UNKNOWN_FORMAT);
    EXPECT_EQ(params_state().parmeterBuff[0], 12);
    EXPECT_EQ(params_state().parameterSource, PARAM_SOURCE_NONE);
    EXPECT_EQ(params_import_path((dir / "missing.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    ASSERT_TRUE(std::filesystem::create_directory(dir / "folder.txt"));
    EXPECT_EQ(params_import_path((dir / "folder.txt").c_str()), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(prompt_texts().back(), "无法打开文件！");
    EXPECT_EQ(params_state().parmeterBuff[0], 12);
}

TEST_F(Import, key_file_puts_wire_values_on_the_panel) {
    EXPECT_EQ(import("h.txt", "KP:70\r\nKD:40\nLP:4003\nMP:8000\nOD:-81\nOT:250000\nMD:8079\nDZ:4\nLA:500\nMA:3600\n"
                              "CA:2048\nLD:7\nRS:1\nLS:12 trailing words\n"),
              PARAM_FILE_OK);
    const std::pair<PanelEntry, const char*> shown[] = {
        {PanelEntry::Gain, "70"},        {PanelEntry::MinPulse, "1000"},   {PanelEntry::Stall1Power, "-1"},
        {PanelEntry::Stall1Time, "250"}, {PanelEntry::OutputPower, "100"}, {PanelEntry::SoftStart, "12"}};
    for (const auto& [entry, text] : shown)
        EXPECT_EQ(fake_entry(entry), text) << static_cast<int>(entry);
    EXPECT_TRUE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(fake_panel().redraws, 1);
    EXPECT_EQ(params_state().parameterSource, PARAM_SOURCE_REGISTER);
    EXPECT_EQ(import("i.txt", "KP:abc\nOT:999\nRS:2\nKD:99999999999\n"), PARAM_FILE_OK);
    EXPECT_EQ(fake_entry(PanelEntry::Stall1Time), "0");
    EXPECT_FALSE(fake_checked(PanelCheck::Direction));
    EXPECT_EQ(fake_entry(PanelEntry::Gain), "70") << "kept from the earlier import";
    EXPECT_EQ(fake_entry(PanelEntry::Damping), "2147483647") << "held at the limit";
}

TEST_F(Import, byte_order_marks_and_utf16_text_are_read) {
    EXPECT_EQ(import("bom8.txt", "\xEF\xBB\xBF"
                                 "ConfigBuffer[1] = 33;\n"),
              PARAM_FILE_OK);
    EXPECT_EQ(params_state().parmeterBuff[0], 33);
    std::string le = "\xFF\xFE", be = "\xFE\xFF";
    for (char16_t u : std::u16string(u"ConfigBuffer[2] = 44;\r\n# 注释\r\nConfigBuffer[3] = 55;\r\n")) {
        le += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
        be += {static_cast<char>(u >> 8), static_cast<char>(u & 0xFF)};
    }
    EXPECT_EQ(import("le.txt", le), PARAM_FILE_OK);
    EXPECT_EQ(params_state().parmeterBuff[1], 44);
    EXPECT_EQ(params_state().parmeterBuff[2], 55);
    const uint8_t zero[PARAM_IMAGE_SIZE] = {};
    params_take_block(zero, PARAM_IMAGE_SIZE);
    EXPECT_EQ(import("be.txt", be), PARAM_FILE_OK);
    EXPECT_EQ(params_state().parmeterBuff[1], 44);
}

TEST_F(Import, damaged_files_end_without_harm_and_with_few_boxes) {
    std::string many = "ConfigBuffer[1] = 1;\n";
    for (int i = 0; i < 50; ++i)
        many += "ConfigBuffer[1] = 999;\n";
    EXPECT_EQ(import("many.txt", many), PARAM_FILE_OK);
    EXPECT_EQ(fake_prompts().size(), static_cast<size_t>(IMPORT_MAX_ERROR_PROMPTS + 1));
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
    EXPECT_EQ(import("endless.txt", endless), PARAM_FILE_OK);
}

TEST_F(Import, dialog_action_restores_the_directory_only_on_success) {
    const std::filesystem::path start = std::filesystem::current_path();
    fake_file_dialog().move_to = dir.path;
    fake_file_dialog().next_path = file("ok.txt", "KP:1\n");
    EXPECT_EQ(params_import_run(), PARAM_FILE_OK);
    EXPECT_EQ(std::filesystem::current_path(), start);
    fake_file_dialog().next_path = file("bad.dat", "KP:1\n");
    EXPECT_EQ(params_import_run(), PARAM_FILE_BAD_EXTENSION);
    EXPECT_EQ(std::filesystem::current_path(), dir.path);
    std::filesystem::current_path(start);
    fake_prompts().clear();
    fake_file_dialog().next_path.clear(); /* cancelled: nothing is shown */
    EXPECT_EQ(params_import_run(), PARAM_FILE_CANCELLED);
    EXPECT_TRUE(fake_prompts().empty());
    EXPECT_EQ(fake_file_dialog().calls.back(), "open");
    std::filesystem::current_path(start); /* the folder goes with the test */
}
