// SPDX-License-Identifier: LGPL-2.1-or-later
#include "transfer_memory.h"

#include <atomic>
#include <utility>

namespace tavo::virtualusb {
namespace {

// A kernel adds its records of the transfer, and of each piece of its buffer: on a 64-bit one,
// about so many bytes. Therefore a transfer as long as the limit does not pass.
constexpr std::uint64_t kTransferRecord = 336;
constexpr std::uint64_t kPieceRecord = 32;
constexpr std::uint64_t kPieceSize = 16 << 10;

std::uint64_t occupiedBy(std::uint64_t length) {
    const std::uint64_t pieces = length <= kPieceSize ? 0 : (length - 1) / kPieceSize + 1;
    return kTransferRecord + length + pieces * kPieceRecord;
}

} // namespace

struct TransferMemory::Account {
    explicit Account(std::uint64_t bytes) : limit(bytes) {}

    const std::uint64_t limit;
    std::atomic<std::uint64_t> used{0};
};

struct TransferMemory::Share {
    Share(std::shared_ptr<Account> from, std::uint64_t taken)
        : account(std::move(from)), amount(taken) {}
    ~Share() { account->used -= amount; }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    const std::shared_ptr<Account> account;
    const std::uint64_t amount;
};

TransferMemory::TransferMemory(std::uint64_t limit) : account(std::make_shared<Account>(limit)) {}

std::shared_ptr<const void> TransferMemory::reserve(std::size_t length) {
    const std::uint64_t amount = occupiedBy(length);
    const std::uint64_t used = account->used += amount;
    auto share = std::make_shared<const Share>(account, amount);
    return account->limit == 0 || used <= account->limit ? share : nullptr;
}

} // namespace tavo::virtualusb
