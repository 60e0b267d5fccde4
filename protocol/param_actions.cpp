#include "protocol/param_actions.h"

#include "common/debug_log.h"
#include "common/lang.h"
#include "common/prompt.h"
#include "params/panel_fields.h"
#include "params/param_files.h"
#include "params/param_values.h"
#include "protocol/frames.h"
#include "protocol/param_transaction.h"

#include <cstring>

namespace {

/* Shown value times a wire factor, cut to 32 bits as the servo's registers take it. */
int32_t scaled(int32_t shown, int factor) {
    const int64_t v = static_cast<int64_t>(shown) * factor;
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v)));
}

int save_block_family() {
    memset(paramArray, 0, sizeof paramArray);
    const int count = getParametersFromUI();
    dbg_log("save_count:%d \n", count);
    params_prepare_write(4 * count);
    uint8_t frame[FRAME_PARAM_BLOCK_LEN];
    if (buildWriteFrame(parmeterBuff, frame, sizeof frame) < 0) return PARAM_FILE_WRITE_FAILED;
    dbg_log("\n[DEBUG] save_parmeterBuff: \n");
    for (size_t i = 0; i < sizeof frame; ++i)
        dbg_log("sendBuff[%d] = %d\n", static_cast<int>(i), frame[i]);
    return params_export_configbuffer(frame + 1); /* from the command byte on */
}

} // namespace

void param_action_fill_save_record(int32_t* record) {
    if (record == nullptr) return;
    memset(record, 0, sizeof(int32_t) * JVN_KEY_COUNT);
    record[JVN_KP] = panel_get_int(PanelEntry::Gain);
    record[JVN_KD] = panel_get_int(PanelEntry::Damping);
    record[JVN_LP] = scaled(panel_get_int(PanelEntry::MinPulse), JVN_PULSE_SCALE);
    record[JVN_MP] = scaled(panel_get_int(PanelEntry::MaxPulse), JVN_PULSE_SCALE);
    record[JVN_OD] = scaled(panel_get_int(PanelEntry::Stall1Power), JVN_POWER_SCALE);
    record[JVN_OT] = scaled(panel_get_int(PanelEntry::Stall1Time), JVN_TIME_SCALE);
    record[JVN_MD] = scaled(panel_get_int(PanelEntry::OutputPower), JVN_POWER_SCALE);
    record[JVN_DZ] = panel_get_int(PanelEntry::Deadband);
    record[JVN_LA] = panel_get_int(PanelEntry::MinAngle);
    record[JVN_MA] = panel_get_int(PanelEntry::MaxAngle);
    record[JVN_CA] = panel_get_int(PanelEntry::MidAngle);
    record[JVN_LD] = 0; /* no panel field: always saved as 0 */
    record[JVN_RS] = panel_get_checked(PanelCheck::Direction) ? 1 : 0;
    record[JVN_LS] = panel_get_int(PanelEntry::SoftStart);
}

int param_action_import() {
    return params_import_run();
}

int param_action_save() {
    switch (parameterSource) {
    case PARAM_SOURCE_BLOCK:
        return save_block_family();
    case PARAM_SOURCE_REGISTER: {
        int32_t record[JVN_KEY_COUNT];
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
