/**
 * The four parameter actions under the parameter panel: 0 read from the servo, 1 write to the
 * servo, 2 import a text file, 3 save a text file. The screen's one clicked handler finds the
 * button and calls param_action_clicked with its index.
 */
#pragma once

#include <cstdint>

enum ParamAction : int {
    PARAM_ACTION_READ = 0,
    PARAM_ACTION_WRITE = 1,
    PARAM_ACTION_IMPORT = 2,
    PARAM_ACTION_SAVE = 3,
};

/* Runs the action of button index (0..3): 0 and 1 start the servo transactions of
 * protocol/param_transaction.h, 2 imports, 3 saves; other indices are ignored. */
void param_action_clicked(int index);

/* Import: the text import with its dialog. Returns a ParamFileResult. */
int param_action_import();

/* Save by parameter source: 0 refuses with an error prompt, 1 packs the panel into the block
 * frame and saves it as ConfigBuffer, 2 saves the panel's register-family values as JVN.
 * Returns a ParamFileResult. */
int param_action_save();

/* Fills the 14 lines of the register family's text file (file order) from the panel, in wire
 * units. */
void param_action_fill_save_record(int32_t* record);
