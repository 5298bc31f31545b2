// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The memory that the kernel's USB file system lets all transfers of a host occupy together
// (usbfs_memory_mb). A transfer holds its share until the program has reaped it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tavo::virtualusb {

inline constexpr std::uint64_t kDefaultTransferMemory = std::uint64_t{16} << 20; // of the kernel

class TransferMemory {
public:
    // In bytes; 0: as much as anyone wants.
    explicit TransferMemory(std::uint64_t limit);

    // What a transfer of so many bytes occupies, given back when the last copy of the result goes,
    // be it after this object; null when the limit does not allow it.
    std::shared_ptr<const void> reserve(std::size_t length);

private:
    struct Account;
    struct Share;

    std::shared_ptr<Account> account;
};

} // namespace tavo::virtualusb
