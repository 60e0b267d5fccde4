#pragma once
#include "tests/fakes/core/fake_screen.h" /* the name the fuzzers and benches include */
