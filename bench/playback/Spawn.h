#pragma once

// Starts a program for the playback benchmarks, its standard output (and, unless asked to
// keep them, its errors) discarded, without waiting for it.

#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <unistd.h> // environ
#include <vector>

// The process id, or 0 when the program could not be started. Found on PATH.
inline pid_t spawnQuietly(const std::vector<std::string>& command, bool keepErrors = false) {
    std::vector<char*> argv;
    for (const std::string& arg : command)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    if (!keepErrors)
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return spawned == 0 ? pid : 0;
}
