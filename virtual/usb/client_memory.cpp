// SPDX-License-Identifier: LGPL-2.1-or-later
#include "client_memory.h"

#include <utility>

namespace tavo::virtualusb {

ClientMemory ClientMemory::argument(UMockdevIoctlClient* client) {
    return ClientMemory(ObjectRef<UMockdevIoctlData>::share(umockdev_ioctl_client_get_arg(client)));
}

std::optional<ClientMemory> ClientMemory::follow(std::size_t offset, std::size_t length) const {
    if (offset + sizeof(void*) > size() || length == 0)
        return std::nullopt;
    GError* error = nullptr;
    auto target = ObjectRef<UMockdevIoctlData>::adopt(
        umockdev_ioctl_data_resolve(memory.get(), offset, length, &error));
    if (error) {
        g_error_free(error);
        return std::nullopt;
    }
    if (!target || target.get()->client_addr == 0)
        return std::nullopt;
    ClientMemory result(std::move(target));
    return result.size() == length ? std::optional(result) : std::nullopt;
}

bool ClientMemory::pointAt(std::size_t offset, const ClientMemory& target) const {
    return umockdev_ioctl_data_set_ptr(memory.get(), offset, target.memory.get());
}

} // namespace tavo::virtualusb
