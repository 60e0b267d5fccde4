#pragma once

#include <cstddef>
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

/* The two dialogs as the platform port takes them. */
bool fake_file_dialog_open_txt(char* out, size_t cap);
bool fake_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt);
