/* Parameter text export and the save action: both formats byte for byte, the dialogs' two
 * flavours, the messages and the current directory. */
#include "params/register_family.h"
#include "protocol/param_actions.h"
#include "tests/core/core_test_support.h"
#include "tests/support/files.h"

#include <filesystem>

namespace {

class Export : public CoreFixture {
  protected:
    void SetUp() override {
        CoreFixture::SetUp();
        params_load_defaults();
        fake_file_dialog().move_to = dir.path; /* the dialog moves the current directory */
    }
    void TearDown() override {
        std::filesystem::current_path(start_dir);
        CoreFixture::TearDown();
    }
    static std::string cwd() { return std::filesystem::current_path().string(); }
    TempDir dir;
    const std::string start_dir = cwd();
};

} // namespace

TEST_F(Export, save_without_a_source_refuses_before_any_dialog) {
    EXPECT_EQ(param_action_save(), PARAM_FILE_NO_SOURCE);
    EXPECT_EQ(prompt_texts(), std::vector<std::string>{"保存参数失败，请先读取或导入参数!!"});
    EXPECT_TRUE(fake_file_dialog().calls.empty());
}

TEST_F(Export, configbuffer_overwrites_and_reports_failure_with_an_error_box) {
    const uint8_t frame[CONFIGBUFFER_LINES] = {64};
    const std::string path = write_file(dir / "exists.txt", std::string(2000, 'x'));
    EXPECT_EQ(params_export_configbuffer_path(path.c_str(), frame), PARAM_FILE_OK);
    const std::string written = read_file(path);
    EXPECT_EQ(written.substr(0, 22), "ConfigBuffer[0] = 64;\n");
    EXPECT_EQ(written.substr(written.size() - 22), "ConfigBuffer[35] = 0;\n");
    EXPECT_EQ(written.find_first_of("x\r"), std::string::npos);
    fake_file_dialog().next_path = dir / "no/such/dir.txt";
    EXPECT_EQ(params_export_configbuffer(frame), PARAM_FILE_OPEN_FAILED);
    EXPECT_EQ(fake_file_dialog().calls, std::vector<std::string>{"save"}) << "no overwrite question for this format";
    EXPECT_EQ(fake_prompts().back().text, "保存参数失败!");
    EXPECT_EQ(cwd(), start_dir); /* restored on this path too */
}

TEST_F(Export, jvn_save_checks_the_extension_and_restores_the_directory_only_on_success) {
    lang_set_chinese(0);
    const int32_t record[REG_FILE_LINES] = {};
    struct Case {
        const char* name; /* "" = cancelled */
        int result;
        std::string message; /* "" = none */
    };
    const Case cases[] = {
        {"Upper.TXT", PARAM_FILE_OK, "JVN parameters saved!\nPath: " + dir / "Upper.TXT"},
        {"params.dat", PARAM_FILE_BAD_EXTENSION, "Must save as TXT file!"},
        {"missing/x.txt", PARAM_FILE_OPEN_FAILED, "Failed to create file: " + dir / "missing/x.txt"},
        {"", PARAM_FILE_CANCELLED, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fake_prompts().clear();
        fake_file_dialog().next_path = *c.name ? dir / c.name : "";
        EXPECT_EQ(params_export_jvn(record), c.result);
        EXPECT_EQ(prompt_texts(), c.message.empty() ? std::vector<std::string>{} : std::vector{c.message});
        EXPECT_EQ(cwd(), c.result == PARAM_FILE_OK ? start_dir : dir.path);
        EXPECT_EQ(fake_file_dialog().calls.back(), "save, confirm overwrite");
        std::filesystem::current_path(start_dir);
    }
}

TEST_F(Export, paths_with_spaces_cjk_and_percent_signs_are_shown_as_they_are) {
    lang_set_chinese(0);
    const uint8_t frame[CONFIGBUFFER_LINES] = {64};
    const std::string path = dir / "参数 文件 %s%n%d.txt";
    EXPECT_EQ(params_export_configbuffer_path(path.c_str(), frame), PARAM_FILE_OK);
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::u8path(path))) << "saved under its own name";
    EXPECT_EQ(fake_prompts().back().text, "Save Parameter successfully!\nFile Path: " + path);
    EXPECT_EQ(params_import_path(path.c_str()), PARAM_FILE_OK);
    const int32_t record[REG_FILE_LINES] = {}; /* a name that is not UTF-8 is shown with a replacement */
    EXPECT_EQ(params_export_jvn_path((dir / "bad\xFF name.txt").c_str(), record), PARAM_FILE_OK);
    EXPECT_EQ(fake_prompts().back().text, "JVN parameters saved!\nPath: " + dir / "bad\xEF\xBF\xBD name.txt");
    const std::string longer = dir / (std::string(500, 'a') + ".txt"); /* a name too long for the system */
    EXPECT_EQ(params_export_configbuffer_path(longer.c_str(), frame), PARAM_FILE_OPEN_FAILED);
}
