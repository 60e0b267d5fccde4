/* Parameter text export: the ConfigBuffer file for the block family, the JVN file for the
 * register family. Both are written in binary mode: LF line ends, no byte-order mark. */
#include "common/debug_log.h"
#include "common/file_open.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "common/text_format.h"
#include "params/file_dialog.h"
#include "params/param_files.h"
#include "params/register_family.h"

#include <cstdio>

int params_export_configbuffer_path(const char* path, const uint8_t* frame_from_cmd) {
    if (path == nullptr || frame_from_cmd == nullptr) return PARAM_FILE_OPEN_FAILED;
    FileReplace file;
    if (!file_replace_begin(path, &file)) {
        dbg_log("[Error] save: cannot create \"%s\"\n", path);
        show_error(lang_text("Save Parameter Failed!", "保存参数失败!"));
        return PARAM_FILE_OPEN_FAILED;
    }
    dbg_log("[Debug] szFile :%s\n", path);
    dbg_log("\nSaveParameters :\n");
    bool written = true;
    for (int k = 0; k < CONFIGBUFFER_LINES; ++k) {
        const int value = frame_from_cmd[k];
        if (fprintf(file.f, "ConfigBuffer[%d] = %d;\n", k, value) < 0) written = false;
        dbg_log("ConfigBuffer[%d] = %d ", k, value);
    }
    if (!file_replace_commit(&file, written)) { /* the old file, if any, is untouched */
        dbg_log("[Error] save: writing \"%s\" failed\n", path);
        show_error(lang_text("Save Parameter Failed!", "保存参数失败!"));
        return PARAM_FILE_WRITE_FAILED;
    }
    char shown[PARAM_FILE_MESSAGE_SIZE];
    text_sanitize_utf8(shown, sizeof shown, path); /* the path as a message may show it */
    char msg[PARAM_FILE_MESSAGE_SIZE];
    text_format(msg, sizeof msg,
                lang_text("Save Parameter successfully!\nFile Path: %s", "保存参数成功!\n文件路径: %s"), shown);
    show_prompt(msg);
    return PARAM_FILE_OK;
}

int params_export_configbuffer(const uint8_t* frame_from_cmd) {
    file_dialog_save_cwd();
    char path[FILE_DIALOG_PATH_CAP];
    if (!file_dialog_save_txt(path, sizeof path, false)) return PARAM_FILE_CANCELLED;
    const int result = params_export_configbuffer_path(path, frame_from_cmd);
    file_dialog_restore_cwd();
    return result;
}

int params_export_jvn_path(const char* path, const int32_t* record) {
    if (path == nullptr || record == nullptr) return PARAM_FILE_OPEN_FAILED;
    if (!params_path_has_txt_extension(path)) {
        show_prompt(lang_text("Must save as TXT file!", "必须保存为TXT文件!"));
        return PARAM_FILE_BAD_EXTENSION;
    }
    char shown[PARAM_FILE_MESSAGE_SIZE];
    text_sanitize_utf8(shown, sizeof shown, path); /* the path as a message may show it */
    char msg[PARAM_FILE_MESSAGE_SIZE];
    FileReplace file;
    if (!file_replace_begin(path, &file)) {
        text_format(msg, sizeof msg, lang_text("Failed to create file: %s", "无法创建文件: %s"), shown);
        show_prompt(msg);
        return PARAM_FILE_OPEN_FAILED;
    }
    bool written = true;
    for (int k = 0; k < REG_FILE_LINES; ++k)
        if (fprintf(file.f, "%s:%d\n", register_file_key(k), static_cast<int>(record[k])) < 0) written = false;
    if (!file_replace_commit(&file, written)) {
        dbg_log("[Error] save: writing \"%s\" failed\n", path);
        text_format(msg, sizeof msg, lang_text("Failed to create file: %s", "无法创建文件: %s"), shown);
        show_prompt(msg);
        return PARAM_FILE_WRITE_FAILED;
    }
    text_format(msg, sizeof msg, lang_text("JVN parameters saved!\nPath: %s", "JVN参数保存成功!\n路径: %s"), shown);
    show_prompt(msg);
    return PARAM_FILE_OK;
}

int params_export_jvn(const int32_t* record) {
    file_dialog_save_cwd();
    char path[FILE_DIALOG_PATH_CAP];
    if (!file_dialog_save_txt(path, sizeof path, true)) return PARAM_FILE_CANCELLED;
    const int result = params_export_jvn_path(path, record);
    if (result == PARAM_FILE_OK) file_dialog_restore_cwd(); /* the failure paths leave it as the dialog left it */
    return result;
}
