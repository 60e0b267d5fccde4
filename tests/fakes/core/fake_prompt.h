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
