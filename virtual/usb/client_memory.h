// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Memory of the program that made an ioctl call. Reading it copies it over; what is changed in the
// copy is written back by umockdev when the call is completed.
#pragma once

#include "object_ref.h"

#include <umockdev.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <type_traits>

namespace tavo::virtualusb {

class ClientMemory {
public:
    // The argument of the client's current call: the value itself, a number or a pointer.
    static ClientMemory argument(UMockdevIoctlClient* client);

    // Where this is in the client.
    std::uint64_t address() const { return memory.get()->client_addr; }
    std::size_t size() const { return static_cast<std::size_t>(memory.get()->data_len); }
    std::span<std::uint8_t> bytes() const { return {memory.get()->data, size()}; }

    // What the pointer at `offset` points to; nullopt when it is null or cannot be read. Only
    // while the client is in a call. Asked twice for one offset, the first answer is given again.
    std::optional<ClientMemory> follow(std::size_t offset, std::size_t length) const;

    // Makes the pointer at `offset`, never followed before, point to other memory of the client.
    bool pointAt(std::size_t offset, const ClientMemory& target) const;

    // REQUIRES: T at `offset` lies within size().
    template <class T>
    T read(std::size_t offset = 0) const {
        static_assert(std::is_trivially_copyable_v<T>);
        T value; // no braces: kernel structures may end in an array of unknown size
        std::memcpy(&value, memory.get()->data + offset, sizeof value);
        return value;
    }
    template <class T>
    void write(const T& value, std::size_t offset = 0) const {
        static_assert(std::is_trivially_copyable_v<T>);
        std::memcpy(memory.get()->data + offset, &value, sizeof value);
    }

private:
    explicit ClientMemory(ObjectRef<UMockdevIoctlData> data) : memory(std::move(data)) {}

    ObjectRef<UMockdevIoctlData> memory;
};

} // namespace tavo::virtualusb
