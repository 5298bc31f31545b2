// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_ATOMIC_FILE_H
#define TAVOCAM_ATOMIC_FILE_H

#include <cstddef>
#include <span>
#include <string>
#include <system_error>

namespace tavocam {

// Writes a file whole or not at all: under another name in the same directory, out to the disk,
// and only then to its own name. Without overwrite an existing file wins, also one that appears in
// the last moment, and the error is std::errc::file_exists; so it is with overwrite for anything
// that is not a regular file. With overwrite a symbolic link stays and the file it leads to is
// written.
std::error_code writeWhole(const std::string& path, std::span<const std::byte> content,
                           bool overwrite);

// The name that a path leads to through symbolic links, also when there is no such file. A path
// that cannot be followed is returned as far as it could be.
std::string followLinks(const std::string& path);

// Whether a file can be made in the directory of a path, found out by making one.
std::error_code probeDirectory(const std::string& path);

// The directory part of a path, "." when there is none.
std::string directoryOf(const std::string& path);

} // namespace tavocam

#endif
