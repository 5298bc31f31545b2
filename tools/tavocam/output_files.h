// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_OUTPUT_FILES_H
#define TAVOCAM_OUTPUT_FILES_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "arguments.h"

namespace tavocam {

// Throws Failure when a file could not be written later, so that no exposure is lost to it.
void checkOutputs(const OutputRequest& outputs);

// Throws Failure when the disk of the frame's file has no room for that many bytes.
void checkRoom(const OutputRequest& outputs, std::uint64_t bytes);

// Writes the frame's file and, when asked for, its preview. A frame that cannot have its name is
// saved under another one; Failure then tells which.
void writeOutputs(const OutputRequest& outputs, std::span<const std::byte> fits,
                  std::span<const std::byte> preview);

} // namespace tavocam

#endif
