/* The recording file dialogs (fake_platform.h); the benches link them alone. */
#include "tests/fakes/common/fake_platform.h"

#include <cstring>
#include <unistd.h>

namespace {
bool answer(const char* call, char* out, size_t cap) {
    FakeFileDialog& d = fake_file_dialog();
    d.calls.push_back(call);
    if (!d.move_to.empty() && chdir(d.move_to.c_str()) != 0) return false;
    if (out == nullptr || d.next_path.empty() || d.next_path.size() + 1 > cap) return false;
    memcpy(out, d.next_path.c_str(), d.next_path.size() + 1);
    return true;
}
} // namespace

bool fake_file_dialog_open_txt(char* out, size_t cap) { return answer("open", out, cap); }

bool fake_file_dialog_save_txt(char* out, size_t cap, bool overwrite_prompt) {
    return answer(overwrite_prompt ? "save, confirm overwrite" : "save", out, cap);
}
