#pragma once

#include <string>

#include <sys/types.h>

// True when another copy of this program runs for the same user; that copy has then been
// asked to show itself through a wake-up file and SIGUSR2.
bool findRunningInstance(const char* programPath);

// The user's home directory from the password database (never the environment).
// Returns 0 or an error number; home is left alone for an unknown user.
int homeDirectory(uid_t uid, std::string& home);

// "<home>/.wardletNotify<pid>": its existence asks copy pid to show its status window.
std::string wakeUpFile(const std::string& home, pid_t pid);
