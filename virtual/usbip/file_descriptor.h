// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <utility>

#include <unistd.h>

namespace tavo::usbip {

// An open file of this process, closed when it goes.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int owned) : number(owned) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (number >= 0)
            close(number);
    }

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

private:
    int number = -1;
};

} // namespace tavo::usbip
