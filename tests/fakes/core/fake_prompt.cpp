/* Recording prompts for the core tests. */
#include "common/screen_port.h"
#include "tests/fakes/core/fake_prompt.h"

std::vector<FakePrompt>& fake_prompts() {
    static std::vector<FakePrompt> prompts;
    return prompts;
}

namespace {
prompt_box_t record(FakePrompt::Kind kind, const char* text) {
    fake_prompts().push_back({kind, text ? text : "", false});
    return reinterpret_cast<prompt_box_t>(static_cast<uintptr_t>(fake_prompts().size()));
}
} // namespace

prompt_box_t fake_show_prompt(const char* text) { return record(FakePrompt::Prompt, text); }
prompt_box_t fake_show_prompt_alert(const char* text) { return record(FakePrompt::Alert, text); }
prompt_box_t fake_show_error(const char* text) { return record(FakePrompt::Error, text); }

void fake_prompt_close(prompt_box_t box) {
    const uintptr_t n = reinterpret_cast<uintptr_t>(box);
    if (n >= 1 && n <= fake_prompts().size()) fake_prompts()[n - 1].closed = true;
}

void fake_prompt_fill_port(ScreenPort& port) {
    port.show_prompt = fake_show_prompt;
    port.show_prompt_alert = fake_show_prompt_alert;
    port.show_error = fake_show_error;
    port.prompt_close = fake_prompt_close;
}
