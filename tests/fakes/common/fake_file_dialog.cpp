/* Recording file dialogs for tests: they return the path the test set. */
#include "tests/fakes/common/fake_file_dialog.h"

#include "params/file_dialog.h"

#include <cstring>
#include <unistd.h>

FakeFileDialog& fake_file_dialog() {
    static FakeFileDialog state;
    return state;
}

void fake_file_dialog_reset() {
    fake_file_dialog() = FakeFileDialog{};
}

namespace {
bool answer(char* out, size_t cap) {
    const std::string& path = fake_file_dialog().next_path;
    if (!fake_file_dialog().move_to.empty() && chdir(fake_file_dialog().move_to.c_str()) != 0) return false;
    if (out == nullptr || cap == 0 || path.empty() || path.size() + 1 > cap) return false;
    memcpy(out, path.c_str(), path.size() + 1);
    return true;
}
} // namespace

bool fake_file_dialog_open_txt(char* out, size_t cap) {
    fake_file_dialog().calls.push_back({FakeFileDialogCall::Open, false});
    return answer(out, cap);
}

bool fake_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    fake_file_dialog().calls.push_back({FakeFileDialogCall::Save, overwrite_prompt});
    return answer(out, cap);
}
