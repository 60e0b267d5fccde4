#include "protocol/param_actions.h"

#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "params/panel_fields.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "params/register_family.h"
#include "protocol/frames.h"
#include "protocol/param_transaction.h"

#include <cstring>

namespace {

int save_block_family() {
    const int count = getParametersFromUI();
    dbg_log("save_count:%d \n", count);
    params_prepare_write(4 * count);
    uint8_t frame[FRAME_PARAM_BLOCK_LEN];
    if (buildWriteFrame(params_state().parmeterBuff, frame, sizeof frame) < 0) return PARAM_FILE_WRITE_FAILED;
    dbg_log("\n[DEBUG] save_parmeterBuff: \n");
    for (size_t i = 0; i < sizeof frame; ++i)
        dbg_log("sendBuff[%d] = %d\n", static_cast<int>(i), frame[i]);
    return params_export_configbuffer(frame + 1); /* from the command byte on */
}

} // namespace

void param_action_fill_save_record(int32_t* record) {
    if (record == nullptr) return;
    for (int line = 0; line < REG_FILE_LINES; ++line) {
        const int v = register_value_at_line(line);
        record[line] = v == REG_VALUE_NONE ? 0 : register_value_wire(v, register_value_shown(v)); /* LD: always 0 */
    }
}

int param_action_import() {
    return params_import_run();
}

int param_action_save() {
    switch (params_state().parameterSource) {
    case PARAM_SOURCE_BLOCK:
        return save_block_family();
    case PARAM_SOURCE_REGISTER: {
        int32_t record[REG_FILE_LINES];
        param_action_fill_save_record(record);
        return params_export_jvn(record);
    }
    default:
        show_error(
            lang_text("Save failed, please read or import parameters first!!", "保存参数失败，请先读取或导入参数!!"));
        return PARAM_FILE_NO_SOURCE;
    }
}

void param_action_clicked(int index) {
    switch (index) {
    case PARAM_ACTION_READ:
        param_transaction_read();
        break;
    case PARAM_ACTION_WRITE:
        param_transaction_write();
        break;
    case PARAM_ACTION_IMPORT:
        param_action_import();
        break;
    case PARAM_ACTION_SAVE:
        param_action_save();
        break;
    default:
        break;
    }
}
