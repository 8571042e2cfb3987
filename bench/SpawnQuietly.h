#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <fcntl.h>

#include <string>
#include <vector>

extern char **environ;

// Starts a program with its output thrown away, as `> /dev/null 2>&1` would, in the given environment (this
// process's when null). Returns its process id, or -1 when it could not be started.
inline pid_t spawnQuietly(const std::vector<std::string> &command, char **environment = nullptr)
{
    std::vector<char *> argv;
    for (const std::string &each : command)
        argv.push_back(const_cast<char *>(each.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t pid = 0;
    const int spawned
        = posix_spawn(&pid, argv.front(), &actions, nullptr, argv.data(), environment ? environment : environ);
    posix_spawn_file_actions_destroy(&actions);
    return spawned == 0 ? pid : -1;
}
