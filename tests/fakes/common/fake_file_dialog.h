#pragma once

#include <string>
#include <vector>

/* A file dialog that answers with the path the test set (empty = the user cancels). */
struct FakeFileDialogCall {
    enum Kind { Open, Save } kind;
    bool overwrite_prompt;
};

struct FakeFileDialog {
    std::string next_path; /* empty: cancel */
    std::vector<FakeFileDialogCall> calls;
    std::string move_to; /* when set, answering changes the current directory there, as some
                            platforms' dialogs do */
};

FakeFileDialog& fake_file_dialog();
void fake_file_dialog_reset();
