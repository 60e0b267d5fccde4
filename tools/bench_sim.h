/* The servo simulator for the benches that trade with it: started on a pseudo-terminal of its
 * own, whose path it prints as its first line. */
#pragma once

#include <poll.h>
#include <spawn.h>
#include <unistd.h>

#include <string>

extern char** environ;

/* Starts `program --family family`; returns its pid (-1 on failure) and the pty path. */
inline pid_t bench_start_sim(const char* program, const char* family, std::string& path) {
    int out[2];
    if (pipe(out) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string prog = program, opt = "--family", fam = family;
    char* argv[] = {&prog[0], &opt[0], &fam[0], nullptr};
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, program, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string line;
    while (rc == 0 && line.find('\n') == std::string::npos) {
        pollfd p = {out[0], POLLIN, 0};
        char buf[256];
        const ssize_t n = poll(&p, 1, 5000) > 0 ? read(out[0], buf, sizeof buf) : 0;
        if (n <= 0) break;
        line.append(buf, static_cast<size_t>(n));
    }
    close(out[0]);
    path = line.substr(0, line.find('\n'));
    return rc == 0 ? pid : -1;
}
