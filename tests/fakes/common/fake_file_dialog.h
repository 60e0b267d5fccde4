#pragma once
#include "tests/fakes/common/fake_platform.h" /* the name the benches include */
