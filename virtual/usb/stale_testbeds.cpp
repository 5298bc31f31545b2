// SPDX-License-Identifier: LGPL-2.1-or-later
#include "stale_testbeds.h"

#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavo::virtualusb {
namespace {

constexpr std::string_view kPrefix = "umockdev.";
constexpr const char* kMark = "/tavo-virtual.lock";
// Of a testbed that is being removed: programs that live on it find it no more. It is cleaned up
// like others, should the one that removes it die meanwhile.
constexpr const char* kEnded = ".ended";

bool isOwnDirectory(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid();
}

bool isAbandoned(const std::string& directory) {
    const int mark = open((directory + kMark).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (mark < 0)
        return false;
    const bool free = flock(mark, LOCK_EX | LOCK_NB) == 0;
    close(mark);
    return free;
}

} // namespace

int ownTestbed(const std::string& directory) {
    // Locked before it has its name: nobody may find it unlocked.
    const std::string unnamed = directory + "/.lock";
    const int mark = open(unnamed.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (mark < 0)
        return -1;
    if (flock(mark, LOCK_EX | LOCK_NB) == 0 &&
        rename(unnamed.c_str(), (directory + kMark).c_str()) == 0)
        return mark;
    close(mark);
    return -1;
}

bool replaceTestbed(const std::string& directory) {
    const std::string former = directory + kEnded;
    if (rename(directory.c_str(), former.c_str()) != 0)
        return false;
    const int file = open(directory.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        rename(former.c_str(), directory.c_str());
        return false;
    }
    close(file);
    std::error_code ignored;
    std::filesystem::remove_all(former, ignored);
    return true;
}

void removeStaleTestbeds(const std::string& parent) {
    // Another program may be removing the same ones: what has gone already is no fault.
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
        const std::string& path = entry.path().native();
        if (entry.path().filename().native().starts_with(kPrefix) && isOwnDirectory(path) &&
            isAbandoned(path) && rename(path.c_str(), (path + kEnded).c_str()) == 0)
            std::filesystem::remove_all(path + kEnded, ignored);
    }
}

} // namespace tavo::virtualusb
