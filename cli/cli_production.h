/**
 * One production cycle for the servo on the open port: the reference written the way its
 * family takes it, read back and compared. Shared by `servo_cli production` and the bench.
 */
#pragma once

#include "cli/cli_servo.h"

#include <cstdint>
#include <string>
#include <vector>

struct CycleResult {
    bool pass = false;
    Family family = Family::None;
    std::string type, date;           /* the servo information (block family) */
    std::vector<std::string> differing; /* field names, or why the cycle failed */
    uint32_t duration_ms = 0;
};

/* Runs a cycle from a fresh program state: import the reference, read the servo information
 * (block family: register-family servos have none), write, read back, compare. */
CycleResult production_cycle(const char* reference, uint32_t timeout_ms);
