// SPDX-License-Identifier: LGPL-2.1-or-later
#include "output_files.h"

#include <filesystem>
#include <optional>

#include <sys/statvfs.h>

#include "atomic_file.h"
#include "failure.h"
#include "text.h"

namespace tavocam {
namespace {

namespace fs = std::filesystem;

void checkTarget(const std::string& path, bool overwrite) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (status.type() == fs::file_type::none)
        throw Failure(kCannotWrite,
                      text("cannot write ", path, ": ", error.message(), "; choose another name"));
    if (status.type() == fs::file_type::not_found)
        return;
    if (!overwrite)
        throw Failure(kCannotWrite, text(path, " exists: choose another name or add --overwrite"));
    if (!fs::is_regular_file(path, error))
        throw Failure(
            kCannotWrite,
            text(path, " is not a regular file and is not replaced: choose another name"));
}

// Where a file of that name will be written.
std::string targetOf(const std::string& path, bool overwrite) {
    return overwrite ? followLinks(path) : path;
}

void checkPath(const std::string& path, bool overwrite) {
    std::error_code error;
    if (path.empty() || path.back() == '/' || fs::is_directory(path, error))
        throw Failure(kCannotWrite, text("\"", path, "\" is no file name: name a file to write"));
    const std::string target = targetOf(path, overwrite);
    const std::string directory = directoryOf(target);
    if (!fs::is_directory(directory, error))
        throw Failure(kCannotWrite, text("cannot write ", path, ": there is no directory ",
                                         directory, "; create it first"));
    checkTarget(target, overwrite);
    if (const std::error_code refusal = probeDirectory(target))
        throw Failure(kCannotWrite, text("cannot write into the directory ", directory, ": ",
                                         refusal.message(), "; choose another one or change this"));
}

// The same for every way to write a path whose directory exists.
fs::path uniqueName(const std::string& path, bool overwrite) {
    const std::string target = targetOf(path, overwrite);
    std::error_code error;
    const fs::path directory = fs::canonical(directoryOf(target), error);
    if (error)
        throw Failure(kCannotWrite, text("cannot write ", path, ": ", error.message(),
                                         "; choose another directory"));
    return directory / fs::path(target).filename();
}

// Another free name for a frame: beside the wished one or, when that disk fails, in the directory
// for temporary files.
std::optional<std::string> rescue(const std::string& path, std::span<const std::byte> content) {
    constexpr int kMostNames = 99;
    std::error_code unused;
    const fs::path wished(path);
    for (const fs::path& directory :
         {fs::path(directoryOf(path)), fs::temp_directory_path(unused)}) {
        for (int number = 1; number <= kMostNames && !directory.empty(); ++number) {
            const fs::path name =
                text(wished.stem().string(), "-", number, wished.extension().string());
            const std::string candidate = (directory / name).string();
            const std::error_code error = writeWhole(candidate, content, false);
            if (!error)
                return candidate;
            if (error != std::errc::file_exists)
                break;
        }
    }
    return std::nullopt;
}

} // namespace

void checkOutputs(const OutputRequest& outputs) {
    checkPath(outputs.fits, outputs.overwrite);
    if (!outputs.preview)
        return;
    checkPath(*outputs.preview, outputs.overwrite);
    if (uniqueName(outputs.fits, outputs.overwrite) ==
        uniqueName(*outputs.preview, outputs.overwrite))
        throw Failure(kUsage, "the frame and its preview have the same name: choose two");
}

void checkRoom(const OutputRequest& outputs, std::uint64_t bytes) {
    const std::string path = targetOf(outputs.fits, outputs.overwrite);
    struct statvfs disk {};
    if (statvfs(directoryOf(path).c_str(), &disk) != 0)
        return; // no reason to refuse; writing will tell
    const std::uint64_t available = std::uint64_t{disk.f_bavail} * disk.f_frsize;
    if (available < bytes)
        throw Failure(kCannotWrite, text("the disk of ", path, " is full: the frame needs ", bytes,
                                         " bytes and ", available, " are left; make room first"));
}

void writeOutputs(const OutputRequest& outputs, std::span<const std::byte> fits,
                  std::span<const std::byte> preview) {
    if (const auto error = writeWhole(outputs.fits, fits, outputs.overwrite)) {
        const auto saved = rescue(outputs.fits, fits);
        throw Failure(kCannotWrite,
                      text("cannot write ", outputs.fits, ": ", error.message(), "; ",
                           saved ? text("the frame was saved as ", *saved, " instead")
                                 : "the frame is lost: make room or change the directory"));
    }
    if (!outputs.preview)
        return;
    if (const auto error = writeWhole(*outputs.preview, preview, outputs.overwrite))
        throw Failure(kCannotWrite,
                      text("cannot write the preview ", *outputs.preview, ": ", error.message(),
                           "; the frame itself is in ", outputs.fits));
}

} // namespace tavocam
