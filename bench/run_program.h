#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

/// Runs a program found on the path with its output thrown away. True if it ended with status 0.
inline bool run_program(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = 0;
    const bool ran =
        ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
        ::waitpid(child, &status, 0) == child;
    posix_spawn_file_actions_destroy(&actions);
    return ran && status == 0;
}
