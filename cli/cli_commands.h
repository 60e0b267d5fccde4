/**
 * The commands of servo_cli (cli/main.cpp parses the command line into CliOptions and calls
 * one). Each returns its exit code (CliExit) and writes its results to standard output, its
 * progress and the window's messages to standard error.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct CliOptions {
    std::string port;           /* --port: any serial device path; empty: the only USB adapter */
    uint32_t timeout_ms = 500;  /* --timeout: for every answer */
    bool json = false;          /* --json: one JSON object per result */
    bool verbose = false;       /* --verbose: diagnostic lines, frames as hex, on standard error */
    bool verify = true;         /* params write: read back and compare (--no-verify: not) */
    std::string out;            /* params read --out */
    std::string type, date;     /* info write --type, --date */
    std::string reference, log; /* production --reference, --log */
    std::vector<std::string> args; /* the command's own arguments (files) */
};

int cmd_ports(const CliOptions& o);
int cmd_info_read(const CliOptions& o);
int cmd_info_write(const CliOptions& o);
int cmd_params_read(const CliOptions& o);
int cmd_params_write(const CliOptions& o);
int cmd_params_verify(const CliOptions& o);
int cmd_convert(const CliOptions& o);
int cmd_production(const CliOptions& o);
