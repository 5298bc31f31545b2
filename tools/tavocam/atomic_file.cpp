// SPDX-License-Identifier: LGPL-2.1-or-later
#include "atomic_file.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>

#include <fcntl.h>
#include <unistd.h>

#include "interrupt.h"
#include "text.h"

namespace tavocam {
namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

// A file under a name of its own in the target's directory; gone with the object unless it was
// given its final name.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& directory) {
        std::random_device random;
        // A name that is taken only means another try.
        for (int attempt = 0; attempt < 100 && descriptor < 0; ++attempt) {
            name = text(directory, "/.tavocam-", std::hex, random());
            descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            openError = descriptor < 0 ? lastError() : std::error_code();
            if (descriptor < 0 && errno != EEXIST)
                break;
        }
    }
    ~TemporaryFile() {
        if (descriptor >= 0)
            ::close(descriptor);
        if (!openError && !renamed)
            unlink(name.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::error_code error() const { return openError; }

    std::error_code write(std::span<const std::byte> content) {
        while (!content.empty()) {
            const ssize_t written = ::write(descriptor, content.data(), content.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                return lastError();
            content = content.subspan(static_cast<std::size_t>(written));
        }
        return {};
    }

    // Network file systems report a full disk only here.
    std::error_code finish() {
        if (fsync(descriptor) != 0)
            return lastError();
        const int closing = descriptor;
        descriptor = -1;
        return ::close(closing) == 0 ? std::error_code() : lastError();
    }

    // Only ever another file: run by root, a rename would do away with a device just as well.
    std::error_code replace(const std::string& path) {
        std::error_code unused;
        const auto status = std::filesystem::status(path, unused);
        if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
            return std::make_error_code(std::errc::file_exists);
        renamed = std::rename(name.c_str(), path.c_str()) == 0;
        return renamed ? std::error_code() : lastError();
    }

    // Network file systems have no exclusive rename but hard links; some others the reverse.
    std::error_code moveTo(const std::string& path) {
        renamed = renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0;
        if (renamed || errno == EEXIST)
            return renamed ? std::error_code() : lastError();
        return link(name.c_str(), path.c_str()) == 0 ? std::error_code() : lastError();
    }

private:
    std::string name;
    int descriptor = -1;
    std::error_code openError;
    bool renamed = false;
};

// Makes the new name itself survive a power cut. Not every file system can, and the file is
// complete either way.
void syncDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    ::close(descriptor);
}

} // namespace

std::string directoryOf(const std::string& path) {
    const std::string directory = std::filesystem::path(path).parent_path().string();
    return directory.empty() ? "." : directory;
}

std::string followLinks(const std::string& path) {
    constexpr int kMostLinks = 40; // as the kernel has it
    std::filesystem::path name(path);
    std::error_code error;
    for (int links = 0; links < kMostLinks; ++links) {
        const auto next = std::filesystem::read_symlink(name, error);
        if (error)
            break;
        name = name.parent_path() / next;
    }
    return name.string();
}

std::error_code writeWhole(const std::string& wished, std::span<const std::byte> content,
                           bool overwrite) {
    const SignalsDeferred deferred; // a temporary file must not stay behind
    // A rename replaces a link itself, and only within one file system.
    const std::string path = overwrite ? followLinks(wished) : wished;
    TemporaryFile file(directoryOf(path));
    std::error_code error = file.error();
    if (!error)
        error = file.write(content);
    if (!error)
        error = file.finish();
    if (!error)
        error = overwrite ? file.replace(path) : file.moveTo(path);
    if (!error)
        syncDirectory(directoryOf(path));
    return error;
}

std::error_code probeDirectory(const std::string& path) {
    const SignalsDeferred deferred;
    return TemporaryFile(directoryOf(path)).error();
}

} // namespace tavocam
