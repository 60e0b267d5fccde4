#pragma once

#include "common/prompt.h"

#include <cstdint>
#include <string>
#include <vector>

/* One prompt shown by the code under test; the box handle is its 1-based position. */
struct FakePrompt {
    enum Kind { Prompt, Alert, Error } kind;
    std::string text;
    bool closed;
};

std::vector<FakePrompt>& fake_prompts();

/* The texts of the prompts shown so far, in order. */
inline std::vector<std::string> prompt_texts() {
    std::vector<std::string> out;
    for (const FakePrompt& p : fake_prompts())
        out.push_back(p.text);
    return out;
}
